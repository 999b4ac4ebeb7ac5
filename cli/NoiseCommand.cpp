#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cmath>
#include <memory>

#include "basictools/FlushDenormals.h"
#include "cli/CommandContext.h"
#include "cli/Failure.h"
#include "cli/Numbers.h"
#include "cli/audio/AudioReader.h"
#include "cli/audio/AudioWriter.h"
#include "cli/modules/ModuleEffect.h"
#include "cli/modules/ModuleSettings.h"
#include "dsp/effects/NoiseGenerator.h"

namespace Vantora::cli {
namespace {

struct NoiseOptions {
  std::string path, kind = "white", seconds = "10", format = "24", type;
  uint32_t seed = 1;
  int rate = 48000, channels = 1;
  double gainDb = -12.0;
  std::vector<std::string> assignments;
  bool overwrite = false;
};

std::vector<std::string> Colours() {
  std::vector<std::string> names;
  for (const std::string_view name : dsp::NoiseGenerator::kTypeNames) {
    names.emplace_back(name);
    names.back()[0] = static_cast<char>(names.back()[0] + ('a' - 'A'));
  }
  return names;
}

std::unique_ptr<dsp::NoiseGenerator> MakeGenerator(const NoiseOptions& options, int channel) {
  // 0 would take the clock; another channel is another generator.
  const uint32_t seed = std::max(1u, options.seed + static_cast<uint32_t>(channel));
  auto generator = std::make_unique<dsp::NoiseGenerator>("", seed);
  ModuleSettings settings = ModuleSettings::Of(
      *generator, {{"", "colour", Colours()}, {"", "of the variable colour: 0 brown to 1 violet"}});
  settings.Set("NoiseType=" + options.kind);
  settings.SetAll(options.assignments);
  generator->Init(ModuleBlockSize(options.rate), static_cast<float>(options.rate));
  return generator;
}

void Run(const NoiseOptions& options) {
  const double seconds = ParseSeconds("--seconds", options.seconds);
  const auto sample = ParseSampleFormat(options.format);
  if (!sample) throw UsageError(fmt::format("--format: '{}' isn't one of 16, 24, 32, float", options.format));
  std::vector<std::unique_ptr<dsp::NoiseGenerator>> generators;
  for (int c = 0; c < options.channels; ++c) generators.push_back(MakeGenerator(options, c));

  const auto frames = static_cast<uint64_t>(std::llround(seconds * options.rate));
  AudioWriter::Settings settings;
  settings.format =
      ChooseOutputFormat(options.path, options.type.empty() && options.path == "-" ? "wav" : options.type,
                         std::nullopt, *sample);
  settings.rate = options.rate;
  settings.channels = options.channels;
  settings.mostFrames = frames;
  settings.overwrite = options.overwrite;
  PendingFile::CleanUpOnSignals();
  AudioWriter writer(options.path, settings);

  const auto gain = static_cast<float>(std::pow(10.0, options.gainDb / 20.0));
  const uint32_t blockSize = ModuleBlockSize(options.rate);
  std::vector<float> block(blockSize);
  std::vector<float> interleaved(blockSize * generators.size());
  const FlushDenormals guard;
  for (uint64_t at = 0; at < frames; at += blockSize) {
    for (size_t c = 0; c < generators.size(); ++c) {
      std::array<float*, 1> inputs{nullptr}, outputs{block.data()};
      dsp::ProcessContext context;
      context.inputs = inputs.data();
      context.inputCount = 1;
      context.outputs = outputs.data();
      context.outputCount = 1;
      context.sampleCount = blockSize;
      generators[c]->Process(context);
      for (uint32_t i = 0; i < blockSize; ++i) interleaved[i * generators.size() + c] = gain * block[i];
    }
    writer.Write(interleaved.data(), std::min<uint64_t>(blockSize, frames - at));
  }
  writer.Finish();
}

}  // namespace

void AddNoiseCommand(CLI::App& app, CommandContext&) {
  auto options = std::make_shared<NoiseOptions>();
  CLI::App* command = app.add_subcommand("noise", "Write noise of one of six colours to a file");
  command->add_option("OUT", options->path, "the file to write; - is standard output")->required();
  command->add_option("--type", options->kind, "violet, white, pink, brown, dark or variable")
      ->check(CLI::IsMember(Colours(), CLI::ignore_case))
      ->capture_default_str();
  command->add_option("--seconds", options->seconds, "length: seconds or minutes:seconds")
      ->capture_default_str();
  command->add_option("--seed", options->seed, "the same seed gives the same noise")
      ->check(CLI::Range(1u, 4294967295u))
      ->capture_default_str();
  command->add_option("--rate", options->rate, "Hz")
      ->check(CLI::Range(AudioReader::kMinRate, AudioReader::kMaxRate))
      ->capture_default_str();
  command->add_option("--channels", options->channels, "1 or 2, unlike each other")
      ->check(CLI::Range(1, 2))
      ->capture_default_str();
  command->add_option("--gain", options->gainDb, "dB; violet and brown reach beyond full scale at 0")
      ->check(CLI::Range(-120.0, 24.0))
      ->capture_default_str();
  command->add_option("-f,--format", options->format, "samples as 16, 24, 32 or float")
      ->capture_default_str();
  command->add_option("--file-type", options->type,
                      "kind of file in place of the ending's: " + WritableEndings());
  command->add_option("-p,--set", options->assignments, "NAME=VALUE: NoiseColor=0.3 for the variable colour")
      ->allow_extra_args(false);
  command->add_flag("-y,--overwrite", options->overwrite, "replace a file that exists");
  command->callback([options] { Run(*options); });
}

}  // namespace Vantora::cli
