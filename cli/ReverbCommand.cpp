#include <fmt/format.h>

#include <memory>

#include "cli/Assignment.h"
#include "cli/CommandContext.h"
#include "cli/CommandLine.h"
#include "cli/Failure.h"
#include "cli/FileOptions.h"
#include "cli/offline/PacedReverb.h"
#include "cli/offline/RenderJobs.h"

namespace Vantora::cli {
namespace {

struct ReverbOptions {
  FileOptions files;
  std::string impulse;
  std::vector<std::string> assignments;
  bool isRealTime = false;
};

/// "Wet (0 to 1), IRGain (-40 dB to 40 dB), ...".
std::string ListKnobs() {
  const offline::ModuleKnobs knobs = offline::ReverbKnobs();
  std::string text;
  for (size_t i = 0; i < knobs.Size(); ++i) {
    text += fmt::format("{}{} ({})", i == 0 ? "" : ", ", knobs.Name(i), knobs.RangeText(i));
  }
  return text;
}

offline::ReverbSettings::Value ParseKnob(const std::string& text) {
  const Assignment assignment = Assignment::Parse(text);
  return AsUsage([&assignment]() -> offline::ReverbSettings::Value {
    const offline::ModuleKnobs knobs = offline::ReverbKnobs();
    const size_t index = knobs.Find(assignment.name);
    return {static_cast<uint32_t>(index), knobs.Parse(index, assignment.value)};
  });
}

void Run(const ReverbOptions& options, CommandContext& context) {
  RenderSettings settings = options.files.Settings();
  // The tail's end is known here: the impulse's. No other limit is needed.
  constexpr double kLongerThanAnyImpulse = 1e6;  // seconds
  if (settings.tail.automatic) settings.tail.seconds = kLongerThanAnyImpulse;

  offline::ReverbSettings reverb;
  reverb.impulse = options.impulse;
  for (const std::string& text : options.assignments) reverb.values.push_back(ParseKnob(text));

  const std::vector<FilePair> pairs =
      PairFiles(options.files.files, options.files.folder, options.files.type);
  context.status = RunRenderJobs(pairs, settings, options.files.Jobs(), options.files.quiet,
                                 [&]() -> std::unique_ptr<offline::Effect> {
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
      .Group(kGroup)
      .Required();
  command
      .AddOption("-p,--set", options->assignments,
                 "NAME=VALUE, any number of times; Wet is 0.5 unless set. " + ListKnobs())
      .Group(kGroup)
      .OnePerUse();
  command
      .AddFlag("--realtime", options->isRealTime,
               "as in a live host: blocks of 64 at the pace of the sound, with worker threads")
      .Group(kGroup);
  command.OnRun([options, &context] { Run(*options, context); });
}

}  // namespace Vantora::cli
