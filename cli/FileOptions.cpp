#include "cli/FileOptions.h"

#include <fmt/format.h>

#include <charconv>
#include <thread>

#include "cli/CommandLine.h"
#include "cli/Failure.h"
#include "cli/Numbers.h"

namespace Vantora::cli {
namespace {

std::vector<int> ParseChannels(const std::string& text) {
  std::vector<int> channels;
  for (size_t at = 0; at <= text.size();) {
    const size_t comma = std::min(text.find(',', at), text.size());
    int channel = 0;
    const auto [end, error] = std::from_chars(text.data() + at, text.data() + comma, channel);
    if (error != std::errc{} || end != text.data() + comma || channel < 1) {
      throw UsageError(
          fmt::format("--channels: '{}' isn't a list of one or two channel numbers from 1 on", text));
    }
    channels.push_back(channel);
    at = comma + 1;
  }
  if (channels.size() > 2) throw UsageError("--channels: the effect has two channels at most");
  return channels;
}

}  // namespace

void FileOptions::AddTo(Command command) {
  command
      .AddOption("FILES", files, "IN OUT, or inputs (files, folders) and -o; - is standard input or output")
      .Required();
  command.AddOption("-o,--output", folder, "folder for the outputs; the files keep their names");
  command.AddFlag("-y,--overwrite", overwrite, "replace files that exist");
  command.AddFlag("--skip-existing", skipExisting, "leave out files whose output is there already")
      .Excludes("--overwrite");
  command.AddOption("-j,--jobs", jobs, "files that are rendered at the same time (all cores)");
  command.AddFlag("-q,--quiet", quiet, "print failures and warnings only");
  command.AddOption("--report", report,
                    "write what was done to this file as JSON: lengths, levels, counts, SHA-256, versions");
  constexpr const char* kPart = "Which part";
  command.AddOption("--start", start, "where in the input to begin: seconds or minutes:seconds").Group(kPart);
  command.AddOption("--duration", duration, "how much of the input to take").Group(kPart);
  command
      .AddOption(
          "--tail", tail,
          "how long to ring on behind the input: auto (until it stays below -90 dB, a minute at most) or "
          "seconds")
      .Group(kPart)
      .ShowStart();
  command.AddOption("--channels", channels, "input channels to take, such as 1,2 or 3").Group(kPart);
  command
      .AddOption("--split", split,
                 "pairs: of files with more than two channels, render each pair to a file of its own")
      .Group(kPart)
      .OneOf({std::string("pairs")});
  command.AddFlag("--stereo", stereo, "two channels out of a mono input").Group(kPart);
  command.AddFlag("--mono", mono, "one channel out of a mono input, also where the sound would be wide")
      .Group(kPart)
      .Excludes("--stereo");
  command
      .AddFlag("--damaged", damaged, "of a file that ends before its time, or is damaged, take what is there")
      .Group(kPart);
  constexpr const char* kForm = "Form of the output";
  command.AddOption("-f,--format", format, "samples as 16, 24, 32 (bits) or float (as the input's)")
      .Group(kForm);
  command.AddOption("-t,--type", type, "kind of file in place of the ending's: " + WritableEndings())
      .Group(kForm);
  command
      .AddOption("-n,--normalize", normalize,
                 "bring the output to a peak (-1dB), a true peak (-1dBTP) or a loudness (-14LUFS)")
      .Group(kForm);
  command.AddOption("--limit", limit, "hold peaks below this level, such as -1dB, with a limiter at the end")
      .Group(kForm);
  command.AddFlag("--no-dither", noDither, "plain rounding to 16 bit").Group(kForm);
  command
      .AddOption("--raw-input", rawInput,
                 "the input has no header: RATE,CHANNELS,FORMAT such as 48000,2,float")
      .Group(kForm);
  command.AddOption("--block", block, "frames handed over at a time; the result is the same for any")
      .Group(kForm)
      .Range(1, 1 << 20)
      .ShowStart();
}

RenderSettings FileOptions::Settings() const {
  RenderSettings settings;
  if (!start.empty()) settings.startSeconds = ParseSeconds("--start", start);
  if (!duration.empty()) {
    settings.durationSeconds = ParseSeconds("--duration", duration);
    if (*settings.durationSeconds <= 0.0) throw UsageError("--duration: nothing would be left");
  }
  if (tail != "auto") settings.tail = {false, ParseSeconds("--tail", tail)};
  if (!channels.empty()) settings.channels = ParseChannels(channels);
  settings.stereo = stereo;
  if (!rawInput.empty()) settings.rawInput = ParseRawLayout(rawInput);
  settings.type = type;
  if (!format.empty()) {
    settings.sample = ParseSampleFormat(format);
    if (!settings.sample)
      throw UsageError(fmt::format("--format: '{}' isn't one of 16, 24, 32, float", format));
  }
  settings.dither = !noDither;
  settings.overwrite = overwrite;
  settings.takesDamaged = damaged;
  settings.measure = !quiet;
  if (!normalize.empty()) settings.normalize = NormalizeTarget::Parse(normalize);
  if (!limit.empty()) {
    const NormalizeTarget ceiling = NormalizeTarget::Parse(limit, "--limit");
    if (ceiling.isLoudness || ceiling.isTruePeak) {
      throw UsageError(fmt::format("--limit: '{}' isn't a peak such as -1dB", limit));
    }
    settings.limit = ceiling.level;
  }
  settings.digests = !report.empty();
  if (!report.empty()) settings.measure = true;
  settings.pieceFrames = block;
  return settings;
}

BatchSettings FileOptions::Batch(const CommandContext& context,
                                 std::vector<std::pair<std::string, std::string>> about) const {
  BatchSettings batch;
  batch.parallel = Jobs();
  batch.quiet = quiet;
  batch.skipExisting = skipExisting;
  batch.report = report;
  batch.about = {{"program", "prismel " PRISMEL_VERSION}, {"command", context.commandLine}};
  for (auto& fact : about) batch.about.push_back(std::move(fact));
  return batch;
}

std::vector<FilePair> FileOptions::Pairs() const {
  const auto pairs = PairFiles(files, folder, type);
  return split.empty() ? pairs : SplitIntoChannelPairs(pairs);
}

unsigned FileOptions::Jobs() const {
  return jobs > 0 ? jobs : std::max(1u, std::thread::hardware_concurrency());
}

}  // namespace Vantora::cli
