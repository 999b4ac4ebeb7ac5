#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <memory>

#include "cli/Assignment.h"
#include "cli/CommandContext.h"
#include "cli/Failure.h"
#include "cli/FileOptions.h"
#include "cli/Numbers.h"
#include "cli/offline/RenderJobs.h"
#include "cli/offline/ReverbEffect.h"

namespace Vantora::cli {
namespace {

struct ReverbOptions {
  FileOptions files;
  std::string impulse;
  std::vector<std::string> assignments;
  bool isRealTime = false;
};

bool IsSameName(const std::string& a, const std::string& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

/// "Wet (0 to 1), IRGain (-40 to 40), ...".
std::string ListKnobs() {
  std::string text;
  for (const dsp::ParamRecord& knob : dsp::ConvolutionReverb::DeclareParams()) {
    text += fmt::format("{}{} ({:g} to {:g})", text.empty() ? "" : ", ", knob.GetName(), knob.GetMinimum(),
                        knob.GetMaximum());
  }
  return text;
}

ReverbSettings::Value ParseKnob(const std::string& text) {
  const Assignment assignment = Assignment::Parse(text);
  const std::vector<dsp::ParamRecord> knobs = dsp::ConvolutionReverb::DeclareParams();
  const auto knob = std::find_if(knobs.begin(), knobs.end(), [&](const dsp::ParamRecord& record) {
    return IsSameName(record.GetName(), assignment.name);
  });
  if (knob == knobs.end()) {
    throw UsageError(fmt::format("--set: there is no '{}'; the reverb has {}", assignment.name, ListKnobs()));
  }
  const auto value = static_cast<float>(ParseNumber("--set " + knob->GetName(), assignment.value));
  if (value < knob->GetMinimum() || value > knob->GetMaximum()) {
    throw UsageError(fmt::format("--set: {} goes from {:g} to {:g}", knob->GetName(), knob->GetMinimum(),
                                 knob->GetMaximum()));
  }
  return {static_cast<uint32_t>(knob - knobs.begin()), value};
}

void Run(const ReverbOptions& options, CommandContext& context) {
  RenderSettings settings = options.files.Settings();
  // The tail's end is known here: the impulse's. No other limit is needed.
  constexpr double kLongerThanAnyImpulse = 1e6;  // seconds
  if (settings.tail.automatic) settings.tail.seconds = kLongerThanAnyImpulse;

  ReverbSettings reverb;
  reverb.impulse = options.impulse;
  reverb.isRealTime = options.isRealTime;
  reverb.values.push_back({dsp::ConvolutionReverb::kWet, 0.5f});
  for (const std::string& text : options.assignments) reverb.values.push_back(ParseKnob(text));

  const std::vector<FilePair> pairs =
      PairFiles(options.files.files, options.files.folder, options.files.type);
  context.status = RunRenderJobs(pairs, settings, options.files.Jobs(), options.files.quiet,
                                 [&] { return std::make_unique<ReverbEffect>(reverb); });
}

}  // namespace

void AddReverbCommand(CLI::App& app, CommandContext& context) {
  auto options = std::make_shared<ReverbOptions>();
  CLI::App* command = app.add_subcommand("reverb", "Run audio files through the convolution reverb");
  options->files.AddTo(*command);
  constexpr const char* kGroup = "Sound";
  command
      ->add_option("-i,--impulse", options->impulse,
                   "mono or stereo sound file to convolve with, up to 100 s")
      ->group(kGroup)
      ->required();
  command
      ->add_option("-p,--set", options->assignments,
                   "NAME=VALUE, any number of times; Wet is 0.5 unless set. " + ListKnobs())
      ->group(kGroup)
      ->allow_extra_args(false);
  command
      ->add_flag("--realtime", options->isRealTime,
                 "as in a live host: blocks of 64 at the pace of the sound, with worker threads")
      ->group(kGroup);
  command->callback([options, &context] { Run(*options, context); });
}

}  // namespace Vantora::cli
