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
  command.AddOption("-j,--jobs", jobs, "files that are rendered at the same time (all cores)");
  command.AddFlag("-q,--quiet", quiet, "print failures and warnings only");
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
  command.AddFlag("--stereo", stereo, "two channels out of a mono input").Group(kPart);
  command
      .AddFlag("--damaged", damaged, "of a file that ends before its time, or is damaged, take what is there")
      .Group(kPart);
  constexpr const char* kForm = "Form of the output";
  command.AddOption("-f,--format", format, "samples as 16, 24, 32 (bits) or float (as the input's)")
      .Group(kForm);
  command.AddOption("-t,--type", type, "kind of file in place of the ending's: " + WritableEndings())
      .Group(kForm);
  command.AddOption("-n,--normalize", normalize, "bring the output to a peak (-1dB) or a loudness (-14LUFS)")
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
  settings.pieceFrames = block;
  return settings;
}

unsigned FileOptions::Jobs() const {
  return jobs > 0 ? jobs : std::max(1u, std::thread::hardware_concurrency());
}

}  // namespace Vantora::cli
