#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <memory>
#include <vector>

#include "cli/CommandContext.h"
#include "cli/CommandLine.h"
#include "cli/Console.h"
#include "cli/Failure.h"
#include "cli/FileOptions.h"
#include "cli/Knobs.h"
#include "cli/ModuleSound.h"
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
  ModuleSound sound;
  std::string impulse;
  bool isRealTime = false, normalizeImpulse = false;
};

/// What is told of an impulse before it is used.
struct ImpulseFacts {
  double seconds = 0.0;
  size_t channels = 0;
  double energy = 0.0;  ///< sum of squares of what leads to one output, of the louder one
  /// Of four channels: what the left and what the right input sounds like on both sides.
  std::shared_ptr<dsp::Impulse> left, right;
};

constexpr int kTrueStereo = 4;  // channels: left to left, left to right, right to left, right to right

/// Nothing of what can't be read: the reverb says why it can't use it.
ImpulseFacts LookAtImpulse(const std::string& path) try {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) return {};  // opening a pipe would wait for its writer
  AudioReader reader(path);
  const auto channels = static_cast<size_t>(reader.Channels());
  std::vector<float> piece(4096 * channels);
  std::vector<double> energies(channels, 0.0);
  ImpulseFacts facts;
  if (channels == kTrueStereo) {
    facts.left = std::make_shared<dsp::Impulse>();
    facts.right = std::make_shared<dsp::Impulse>();
    facts.left->fileRate = facts.right->fileRate = static_cast<float>(reader.Rate());
  }
  const auto longest =
      static_cast<uint64_t>(dsp::kLongestImpulseSeconds) * static_cast<uint64_t>(reader.Rate());
  uint64_t frames = 0;
  while (const uint64_t count = reader.Read(piece.data(), 4096)) {
    for (size_t i = 0; i < count * channels; ++i) {
      energies[i % channels] += static_cast<double>(piece[i]) * static_cast<double>(piece[i]);
    }
    for (uint64_t i = 0; facts.left && i < count && frames + i < longest; ++i) {
      const float* frame = piece.data() + i * channels;
      facts.left->left.push_back(frame[0]);
      facts.left->right.push_back(frame[1]);
      facts.right->left.push_back(frame[2]);
      facts.right->right.push_back(frame[3]);
    }
    frames += count;
  }
  facts.seconds = static_cast<double>(frames) / reader.Rate();
  facts.channels = channels;
  facts.energy = facts.left ? std::max(energies[0] + energies[2], energies[1] + energies[3])
                            : *std::max_element(energies.begin(), energies.end());
  return facts;
} catch (const Failure&) {
  return {};
}

/// Gain that brings a white signal's level behind the impulse to the one before it, within the knob's range.
float UnitGainDb(const ImpulseFacts& facts) {
  const double decibels = facts.energy > 0.0 ? -10.0 * std::log10(facts.energy) : 0.0;
  return static_cast<float>(std::clamp(decibels, -40.0, 40.0));
}

void Run(const ReverbOptions& options, CommandContext& context) {
  const offline::ModuleKnobs knobs = offline::ReverbKnobs();
  const auto writes = options.sound.Writes(knobs);
  if (options.sound.list) {
    PrintKnobs(knobs);
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
  for (const host::ParameterWrite& write : writes) {
    reverb.values.push_back({write.index, knobs[write.index].ToValue(write.normalized)});
  }
  reverb.moves = options.sound.Moves(knobs);
  std::error_code none;  // opening a pipe would wait for its writer
  const ImpulseFacts facts = std::filesystem::is_regular_file(options.impulse, none)
                                 ? LookAtImpulse(options.impulse)
                                 : ImpulseFacts{};
  if (facts.channels == 3 || facts.channels > kTrueStereo) {
    throw Failure(fmt::format("{}: has {} channels; an impulse has one, two or, for true stereo, four",
                              options.impulse, facts.channels));
  }
  // What is wrong with it is told once, and not of every input.
  dsp::Impulse probe;
  std::string problem;
  const bool isShort = options.impulse.size() <= dsp::ConvolutionReverb::kLongestPath;
  if (isShort && !facts.left && !dsp::ReadImpulseFile(options.impulse, probe, problem)) {
    throw Failure(fmt::format("{}: {}", options.impulse, problem));
  }
  probe = {};
  if (facts.seconds > dsp::kLongestImpulseSeconds) {
    Tell("prismel: {}: has {}; only the first {} s are used\n", options.impulse, DurationText(facts.seconds),
         dsp::kLongestImpulseSeconds);
  }
  if (facts.left) {
    reverb.samples = facts.left;
    reverb.rightSamples = facts.right;
  }
  if (options.normalizeImpulse) {
    // In front: what the user sets counts.
    reverb.values.insert(reverb.values.begin(), {dsp::ConvolutionReverb::kIRGain, UnitGainDb(facts)});
  }

  context.status = RunRenderJobs(options.files.Pairs(), settings,
                                 options.files.Batch(context, {{"impulse", options.impulse}}),
                                 [&](const FilePair&) -> std::shared_ptr<offline::Effect> {
                                   if (options.isRealTime) return std::make_shared<PacedReverb>(reverb);
                                   return std::make_shared<offline::ReverbEffect>(reverb);
                                 });
}

}  // namespace

void AddReverbCommand(Command app, CommandContext& context) {
  auto options = std::make_shared<ReverbOptions>();
  const Command command = app.AddCommand("reverb", "Run audio files through the convolution reverb");
  options->files.AddTo(command);
  constexpr const char* kGroup = "Sound";
  command
      .AddOption("-i,--impulse", options->impulse,
                 "sound file to convolve with, up to 100 s: mono, stereo, or true stereo in four channels: "
                 "left to left, left to right, right to left, right to right")
      .Group(kGroup);
  command.OptionNamed("FILES").Required(false);
  command
      .AddFlag("--normalize-impulse", options->normalizeImpulse,
               "bring the impulse to the level at which noise comes out as loud as it goes in; IRGain, where "
               "it is set, counts in place of that")
      .Group(kGroup);
  options->sound.AddTo(command, "Wet=0.3, PreDelayMs=20ms, IRGain=-6dB");
  command
      .AddFlag("--realtime", options->isRealTime,
               "as in a live host: blocks of 64 at the pace of the sound, with worker threads")
      .Group(kGroup);
  command.OnRun([options, &context] { Run(*options, context); });
}

}  // namespace Vantora::cli
