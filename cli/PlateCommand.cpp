#include <fmt/format.h>

#include <memory>
#include <utility>

#include "cli/Assignment.h"
#include "cli/CommandContext.h"
#include "cli/CommandLine.h"
#include "cli/Console.h"
#include "cli/Failure.h"
#include "cli/FileOptions.h"
#include "cli/Knobs.h"
#include "cli/offline/RenderJobs.h"
#include "offline/Plate.h"

namespace Vantora::cli {
namespace {

struct PlateOptions {
  FileOptions files;
  std::vector<std::string> assignments;
  bool list = false;
};

std::unique_ptr<offline::ModuleEffect> MakePlate(const PlateOptions& options) {
  std::vector<std::pair<std::string, std::string>> knobs;
  for (const std::string& text : options.assignments) {
    const Assignment assignment = Assignment::Parse(text);
    knobs.emplace_back(assignment.name, assignment.value);
  }
  return AsUsage([&knobs] { return offline::MakePlate(knobs); });
}

void Run(const PlateOptions& options, CommandContext& context) {
  MakePlate(options);  // a bad setting is told once, before any file
  if (options.list) {
    PrintKnobs(offline::PlateKnobs());
    return;
  }
  const RenderSettings settings = options.files.Settings();
  context.status = RunRenderJobs(options.files.Pairs(), settings, options.files.Batch(context),
                                 [&](const FilePair&) { return MakePlate(options); });
}

}  // namespace

void AddPlateCommand(Command app, CommandContext& context) {
  auto options = std::make_shared<PlateOptions>();
  const Command command = app.AddCommand("plate", "Run audio files through the plate reverb");
  options->files.AddTo(command);
  command.OptionNamed("FILES").Required(false);
  constexpr const char* kSound = "Sound";
  command
      .AddOption("-p,--set", options->assignments,
                 "NAME=VALUE, any number of times: Decay=0.8, Predelay=20ms")
      .Group(kSound)
      .OnePerUse();
  command.AddFlag("--params", options->list, "list the parameters and do nothing else").Group(kSound);
  command.OnRun([options, &context] { Run(*options, context); });
}

}  // namespace Vantora::cli
