#include <CLI/CLI.hpp>
#include <memory>

#include "cli/CommandContext.h"
#include "cli/FileOptions.h"
#include "cli/modules/ModuleEffect.h"
#include "cli/modules/ModuleSettings.h"
#include "cli/offline/RenderJobs.h"
#include "dsp/effects/Reverb.h"

namespace Vantora::cli {
namespace {

struct PlateOptions {
  FileOptions files;
  std::vector<std::string> assignments;
  bool list = false;
};

/// In the order of the plate's parameters: the tank's, then the band limits and the mix.
std::vector<ModuleKnob> Knobs() {
  return {{"ms", "delay in front of the tank"},
          {"", "first input diffusion"},
          {"", "second input diffusion"},
          {"", "how much comes back each time round"},
          {"", "first tank diffusion"},
          {"", "second tank diffusion"},
          {"", "dulling of what comes back; 0: none"},
          {"ms", "depth of the tank's wander"},
          {"Hz", "rate of the tank's wander"},
          {"", "how far the second wander is slower"},
          {"", "size of the plate"},
          {"s", "glide of delay and depth"},
          {"", "turns the first reflections", {"off", "on"}},
          {"", "distance of the first reflections"},
          {"Hz", "upper band limit of what enters; off at its upper end"},
          {"Hz", "lower band limit; off at its lower end"},
          {"", "dry to wet, at equal power"},
          {"dB", "gain of the wet signal"},
          {"", "0 middle only, 0.5 as it comes, 1 sides only"}};
}

std::unique_ptr<dsp::Reverb> MakePlate(const PlateOptions& options) {
  auto plate = std::make_unique<dsp::Reverb>("");
  ModuleSettings::Of(*plate, Knobs()).SetAll(options.assignments);
  return plate;
}

void Run(const PlateOptions& options, CommandContext& context) {
  const auto checked = MakePlate(options);  // a bad setting is told once, before any file
  if (options.list) {
    ModuleSettings::Of(*checked, Knobs()).Print();
    return;
  }
  const RenderSettings settings = options.files.Settings();
  const auto pairs = PairFiles(options.files.files, options.files.folder, options.files.type);
  context.status = RunRenderJobs(pairs, settings, options.files.Jobs(), options.files.quiet,
                                 [&] { return std::make_unique<ModuleEffect>(MakePlate(options)); });
}

}  // namespace

void AddPlateCommand(CLI::App& app, CommandContext& context) {
  auto options = std::make_shared<PlateOptions>();
  CLI::App* command = app.add_subcommand("plate", "Run audio files through the plate reverb");
  options->files.AddTo(*command);
  command->get_option("FILES")->required(false);
  constexpr const char* kSound = "Sound";
  command
      ->add_option("-p,--set", options->assignments,
                   "NAME=VALUE, any number of times: Decay=0.8, Predelay=20ms")
      ->group(kSound)
      ->allow_extra_args(false);
  command->add_flag("--params", options->list, "list the parameters and do nothing else")->group(kSound);
  command->callback([options, &context] { Run(*options, context); });
}

}  // namespace Vantora::cli
