#include "cli/FileOptions.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <thread>

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

void FileOptions::AddTo(CLI::App& command) {
  command
      .add_option("FILES", files, "IN OUT, or inputs (files, folders) and -o; - is standard input or output")
      ->required();
  command.add_option("-o,--output", folder, "folder for the outputs; the files keep their names");
  command.add_flag("-y,--overwrite", overwrite, "replace files that exist");
  command.add_option("-j,--jobs", jobs, "files that are rendered at the same time (all cores)");
  command.add_flag("-q,--quiet", quiet, "print failures and warnings only");
  constexpr const char* kPart = "Which part";
  command.add_option("--start", start, "where in the input to begin: seconds or minutes:seconds")
      ->group(kPart);
  command.add_option("--duration", duration, "how much of the input to take")->group(kPart);
  command
      .add_option(
          "--tail", tail,
          "how long to ring on behind the input: auto (until it stays below -90 dB, a minute at most) or "
          "seconds")
      ->group(kPart)
      ->capture_default_str();
  command.add_option("--channels", channels, "input channels to take, such as 1,2 or 3")->group(kPart);
  command.add_flag("--stereo", stereo, "two channels out of a mono input")->group(kPart);
  command
      .add_flag("--damaged", damaged,
                "of a file that ends before its time, or is damaged, take what is there")
      ->group(kPart);
  constexpr const char* kForm = "Form of the output";
  command.add_option("-f,--format", format, "samples as 16, 24, 32 (bits) or float (as the input's)")
      ->group(kForm);
  command.add_option("-t,--type", type, "kind of file in place of the ending's: " + WritableEndings())
      ->group(kForm);
  command
      .add_option("-n,--normalize", normalize, "bring the output to a peak (-1dB) or a loudness (-14LUFS)")
      ->group(kForm);
  command.add_flag("--no-dither", noDither, "plain rounding to 16 bit")->group(kForm);
  command
      .add_option("--raw-input", rawInput,
                  "the input has no header: RATE,CHANNELS,FORMAT such as 48000,2,float")
      ->group(kForm);
  command.add_option("--block", block, "frames handed over at a time; the result is the same for any")
      ->group(kForm)
      ->check(CLI::Range(1, 1 << 20))
      ->capture_default_str();
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
