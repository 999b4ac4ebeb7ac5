#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "cli/Assignment.h"
#include "cli/CommandContext.h"
#include "cli/CommandLine.h"
#include "cli/Console.h"
#include "cli/Failure.h"
#include "cli/Numbers.h"
#include "cli/audio/AudioReader.h"
#include "cli/audio/AudioWriter.h"
#include "host/files/NewFile.h"
#include "offline/NoiseStream.h"

namespace Vantora::cli {
namespace {

struct NoiseOptions {
  std::string path, color = "white", duration = "10", format = "24", type;
  uint32_t seed = 1;
  int rate = 48000;
  bool stereo = false;
  double gainDb = -12.0;
  std::vector<std::string> assignments;
  bool overwrite = false;
};

offline::NoiseStream MakeNoise(const NoiseOptions& options) {
  offline::NoiseSettings settings;
  settings.color = options.color;
  settings.seed = options.seed;
  settings.rate = options.rate;
  settings.channels = options.stereo ? 2 : 1;
  settings.gainDb = options.gainDb;
  for (const std::string& text : options.assignments) {
    const Assignment assignment = Assignment::Parse(text);
    settings.knobs.emplace_back(assignment.name, assignment.value);
  }
  return AsUsage([&settings] { return offline::NoiseStream(settings); });
}

void Run(const NoiseOptions& options) {
  const double seconds = ParseSeconds("--duration", options.duration);
  const auto sample = ParseSampleFormat(options.format);
  if (!sample) throw UsageError(fmt::format("--format: '{}' isn't one of 16, 24, 32, float", options.format));
  offline::NoiseStream noise = MakeNoise(options);

  const auto frames = static_cast<uint64_t>(std::llround(seconds * options.rate));
  AudioWriter::Settings settings;
  settings.format =
      ChooseOutputFormat(options.path, options.type.empty() && options.path == "-" ? "wav" : options.type,
                         std::nullopt, *sample);
  settings.rate = options.rate;
  settings.channels = options.stereo ? 2 : 1;
  settings.leastFrames = settings.mostFrames = frames;
  settings.overwrite = options.overwrite;
  if (options.path != "-") {
    const auto folder = std::filesystem::path(options.path).parent_path();
    host::NewFile::RemoveAbandoned(folder.empty() ? "." : folder);
  }
  PendingFile::CleanUpOnSignals();
  AudioWriter writer(options.path, settings);

  const uint32_t blockSize = noise.BlockSize();
  const auto channels = size_t{options.stereo ? 2u : 1u};
  std::vector<float> interleaved(blockSize * channels);
  for (uint64_t at = 0; at < frames; at += blockSize) {
    const float* const* block = noise.Next();
    for (size_t c = 0; c < channels; ++c) {
      for (uint32_t i = 0; i < blockSize; ++i) interleaved[i * channels + c] = block[c][i];
    }
    writer.Write(interleaved.data(), std::min<uint64_t>(blockSize, frames - at));
  }
  writer.Finish();
  if (const uint64_t clipped = writer.ClippedSamples(); clipped > 0) {
    Tell(
        "prismel: {}: {} of {} samples were clipped at full scale; a lower --gain or --format float keeps "
        "them\n",
        options.path == "-" ? "standard output" : options.path, clipped, frames * channels);
  }
}

}  // namespace

void AddNoiseCommand(Command app, CommandContext&) {
  auto options = std::make_shared<NoiseOptions>();
  const Command command = app.AddCommand("noise", "Write noise of one of six colours to a file");
  command.AddOption("OUT", options->path, "the file to write; - is standard output").Required();
  command.AddOption("--color", options->color, "violet, white, pink, brown, dark or variable")
      .OneOf(offline::NoiseStream::Colors(), true)
      .ShowStart();
  command.AddOption("--duration", options->duration, "length: seconds or minutes:seconds").ShowStart();
  command.AddOption("--seed", options->seed, "the same seed gives the same noise")
      .Range(1u, 4294967295u)
      .ShowStart();
  command.AddOption("--rate", options->rate, "Hz")
      .Range(AudioReader::kMinRate, AudioReader::kMaxRate)
      .ShowStart();
  command.AddFlag("--stereo", options->stereo, "two channels, unlike each other");
  command.AddOption("--gain", options->gainDb, "dB; violet and brown reach beyond full scale at 0")
      .Range(-120.0, 24.0)
      .ShowStart();
  command.AddOption("-f,--format", options->format, "samples as 16, 24, 32 or float").ShowStart();
  command.AddOption("-t,--type", options->type,
                    "kind of file in place of the ending's: " + WritableEndings());
  command.AddOption("-p,--set", options->assignments, "NAME=VALUE: NoiseColor=0.3 for the variable colour")
      .OnePerUse();
  command.AddFlag("-y,--overwrite", options->overwrite, "replace a file that exists");
  command.OnRun([options] { Run(*options); });
}

}  // namespace Vantora::cli
