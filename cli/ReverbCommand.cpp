#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <memory>
#include <vector>

#include "cli/Assignment.h"
#include "cli/CommandContext.h"
#include "cli/CommandLine.h"
#include "cli/Console.h"
#include "cli/Failure.h"
#include "cli/FileOptions.h"
#include "cli/Knobs.h"
#include "cli/Numbers.h"
#include "cli/audio/AudioReader.h"
#include "cli/offline/PacedReverb.h"
#include "cli/offline/RenderJobs.h"
#include "dsp/convolution/ImpulseFile.h"
#include "tools/Resources.h"

namespace Vantora::cli {
namespace {

struct ReverbOptions {
  FileOptions files;
  std::string impulse;
  std::vector<std::string> assignments;
  bool isRealTime = false, list = false, normalizeImpulse = false;
};

offline::ReverbSettings::Value ParseKnob(const std::string& text) {
  const Assignment assignment = Assignment::Parse(text);
  return AsUsage([&assignment]() -> offline::ReverbSettings::Value {
    const offline::ModuleKnobs knobs = offline::ReverbKnobs();
    const size_t index = knobs.Find(assignment.name);
    return {static_cast<uint32_t>(index), knobs.Parse(index, assignment.value)};
  });
}

/// What is told of an impulse before it is used.
struct ImpulseFacts {
  double seconds = 0.0;
  double energy = 0.0;  ///< sum of squares, of the louder channel
};

/// Nothing of what can't be read: the reverb says why it can't use it.
ImpulseFacts LookAtImpulse(const std::string& path) try {
  AudioReader reader(path);
  const auto channels = static_cast<size_t>(reader.Channels());
  std::vector<float> piece(4096 * channels);
  std::vector<double> energies(channels, 0.0);
  uint64_t frames = 0;
  while (const uint64_t count = reader.Read(piece.data(), 4096)) {
    for (size_t i = 0; i < count * channels; ++i) {
      energies[i % channels] += static_cast<double>(piece[i]) * static_cast<double>(piece[i]);
    }
    frames += count;
  }
  return {static_cast<double>(frames) / reader.Rate(), *std::max_element(energies.begin(), energies.end())};
} catch (const Failure&) {
  return {};
}

/// Gain that brings a white signal's level behind the impulse to the one before it, within the knob's range.
float UnitGainDb(const ImpulseFacts& facts) {
  const double decibels = facts.energy > 0.0 ? -10.0 * std::log10(facts.energy) : 0.0;
  return static_cast<float>(std::clamp(decibels, -40.0, 40.0));
}

void Run(const ReverbOptions& options, CommandContext& context) {
  if (options.list) {
    PrintKnobs(offline::ReverbKnobs());
    Print("Wet is 0.5 where it isn't set.\n");
    return;
  }
  if (options.impulse.empty()) throw UsageError("--impulse: give a sound file to convolve with");
  // Without it the log would tell of an error in every run.
  std::error_code error;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
  Resources::Instance().SetResourcesFolder((program.parent_path() / "share" / "prismel").string());
  RenderSettings settings = options.files.Settings();
  // The tail's end is known here: the impulse's. No other limit is needed.
  constexpr double kLongerThanAnyImpulse = 1e6;  // seconds
  if (settings.tail.automatic) settings.tail.seconds = kLongerThanAnyImpulse;

  offline::ReverbSettings reverb;
  reverb.impulse = options.impulse;
  for (const std::string& text : options.assignments) reverb.values.push_back(ParseKnob(text));
  const ImpulseFacts facts = LookAtImpulse(options.impulse);
  if (facts.seconds > dsp::kLongestImpulseSeconds) {
    Tell("prismel: {}: has {}; only the first {} s are used\n", options.impulse, DurationText(facts.seconds),
         dsp::kLongestImpulseSeconds);
  }
  if (options.normalizeImpulse) {
    // In front: what the user sets counts.
    reverb.values.insert(reverb.values.begin(), {dsp::ConvolutionReverb::kIRGain, UnitGainDb(facts)});
  }

  context.status = RunRenderJobs(options.files.Pairs(), settings,
                                 options.files.Batch(context, {{"impulse", options.impulse}}),
                                 [&](const FilePair&) -> std::unique_ptr<offline::Effect> {
                                   if (options.isRealTime) return std::make_unique<PacedReverb>(reverb);
                                   return std::make_unique<offline::ReverbEffect>(reverb);
                                 });
}

}  // namespace

void AddReverbCommand(Command app, CommandContext& context) {
  auto options = std::make_shared<ReverbOptions>();
  const Command command = app.AddCommand("reverb", "Run audio files through the convolution reverb");
  options->files.AddTo(command);
  constexpr const char* kGroup = "Sound";
  command
      .AddOption("-i,--impulse", options->impulse, "mono or stereo sound file to convolve with, up to 100 s")
      .Group(kGroup);
  command.OptionNamed("FILES").Required(false);
  command
      .AddFlag("--normalize-impulse", options->normalizeImpulse,
               "bring the impulse to the level at which noise comes out as loud as it goes in; IRGain, where "
               "it is set, counts in place of that")
      .Group(kGroup);
  command.AddFlag("--params", options->list, "list the parameters and do nothing else").Group(kGroup);
  command
      .AddOption(
          "-p,--set", options->assignments,
          "NAME=VALUE, any number of times: Wet=0.3, PreDelayMs=20ms, IRGain=-6dB; --params lists them")
      .Group(kGroup)
      .OnePerUse();
  command
      .AddFlag("--realtime", options->isRealTime,
               "as in a live host: blocks of 64 at the pace of the sound, with worker threads")
      .Group(kGroup);
  command.OnRun([options, &context] { Run(*options, context); });
}

}  // namespace Vantora::cli
