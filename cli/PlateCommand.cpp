#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <utility>

#include "cli/Assignment.h"
#include "cli/CommandContext.h"
#include "cli/Console.h"
#include "cli/Failure.h"
#include "cli/FileOptions.h"
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

void PrintKnobs() {
  const offline::ModuleKnobs knobs = offline::PlateKnobs();
  for (size_t i = 0; i < knobs.Size(); ++i) {
    Print("{:<26}{:<12}{:<28}{}\n", knobs.Name(i), knobs.ValueText(i, knobs.Start(i)),
               knobs.RangeText(i), knobs.Note(i).use);
  }
}

void Run(const PlateOptions& options, CommandContext& context) {
  MakePlate(options);  // a bad setting is told once, before any file
  if (options.list) {
    PrintKnobs();
    return;
  }
  const RenderSettings settings = options.files.Settings();
  const auto pairs = PairFiles(options.files.files, options.files.folder, options.files.type);
  context.status = RunRenderJobs(pairs, settings, options.files.Jobs(), options.files.quiet,
                                 [&] { return MakePlate(options); });
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
