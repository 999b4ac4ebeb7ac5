#include <memory>

#include "cli/CommandContext.h"
#include "cli/CommandLine.h"
#include "cli/FileOptions.h"
#include "cli/Knobs.h"
#include "cli/ModuleSound.h"
#include "cli/offline/RenderJobs.h"
#include "offline/Plate.h"

namespace Vantora::cli {
namespace {

struct PlateOptions {
  FileOptions files;
  ModuleSound sound;
};

void Run(const PlateOptions& options, CommandContext& context) {
  const offline::ModuleKnobs knobs = offline::PlateKnobs();
  const auto writes = options.sound.Writes(knobs);  // a bad setting is told once, before any file
  const auto moves = options.sound.Moves(knobs);
  if (options.sound.list) {
    PrintKnobs(knobs);
    return;
  }
  const RenderSettings settings = options.files.Settings();
  context.status = RunRenderJobs(
      options.files.Pairs(), settings, options.files.Batch(context),
      [&](const FilePair&) -> std::shared_ptr<offline::Effect> { return offline::MakePlate(writes, moves); });
}

}  // namespace

void AddPlateCommand(Command app, CommandContext& context) {
  auto options = std::make_shared<PlateOptions>();
  const Command command = app.AddCommand("plate", "Run audio files through the plate reverb");
  options->files.AddTo(command);
  command.OptionNamed("FILES").Required(false);
  options->sound.AddTo(command, "Decay=0.8, Predelay=20ms");
  command.OnRun([options, &context] { Run(*options, context); });
}

}  // namespace Vantora::cli
