#include "cli/ModuleSound.h"

#include <fmt/format.h>

#include "cli/Assignment.h"
#include "cli/CommandLine.h"
#include "cli/Console.h"
#include "cli/Failure.h"
#include "host/Preset.h"
#include "host/files/AutomationFile.h"
#include "host/files/PresetFile.h"
#include "host/files/PresetFolder.h"
#include "offline/Plate.h"
#include "offline/ReverbEffect.h"

namespace Vantora::cli {

namespace fs = std::filesystem;

void ModuleSound::AddTo(Command command, const std::string& example) {
  constexpr const char* kSound = "Sound";
  command
      .AddOption("-P,--preset", preset,
                 "start from this preset of the module: a file, or the name of one saved")
      .Group(kSound);
  command
      .AddOption("-p,--set", assignments,
                 fmt::format("NAME=VALUE, any number of times: {}; --params lists them", example))
      .Group(kSound)
      .OnePerUse();
  command.AddFlag("--params", list, "list the parameters and do nothing else").Group(kSound);
  constexpr const char* kTime = "Time";
  command.AddOption("--bpm", bpm, "tempo, quarter notes a minute, for an automation in beats")
      .Group(kTime)
      .Range(host::TempoMap::kLowest, host::TempoMap::kHighest)
      .ShowStart();
  command.AddOption("--automation", automation, "CSV of time,parameter,value[,step|ramp]").Group(kTime);
  command.AddOption("--automation-unit", automationUnit, "what its times count where it doesn't say so")
      .Group(kTime)
      .OneOf({"seconds", "frames", "beats"})
      .ShowStart();
  command.AddFlag("--ramps", ramps, "lead to each value in a line, not in a step").Group(kTime);
}

std::vector<host::ParameterWrite> ModuleSound::Writes(const offline::ModuleKnobs& knobs) const {
  std::vector<host::ParameterWrite> writes;
  if (!preset.empty()) {
    for (const auto& [index, value] : LoadPreset(knobs, preset).values) writes.push_back({index, value, 0});
  }
  for (const std::string& text : assignments) {
    const Assignment assignment = Assignment::Parse(text);
    writes.push_back(AsUsage([&]() -> host::ParameterWrite {
      const uint32_t index = knobs.IndexOf(assignment.name);
      return {index, knobs[index].Parse(assignment.value), 0};
    }));
  }
  return writes;
}

std::shared_ptr<const offline::ModuleMoves> ModuleSound::Moves(const offline::ModuleKnobs& knobs) const {
  if (automation.empty()) return nullptr;
  auto moves = std::make_shared<offline::ModuleMoves>();
  moves->automation =
      host::ReadAutomation(automation, host::Automation::ParseUnit(automationUnit), ramps, knobs);
  moves->tempo = host::TempoMap(bpm);
  return moves;
}

offline::ModuleKnobs KnobsOf(const std::string& name) {
  if (name == "plate") return offline::PlateKnobs();
  if (name == "reverb") return offline::ReverbKnobs();
  throw UsageError(fmt::format("--module: '{}' is neither plate nor reverb", name));
}

std::vector<fs::path> PresetFoldersOf(const host::KnobSet& knobs) {
  std::vector<fs::path> folders = host::PresetFolders();
  if (knobs.Kind().empty()) return folders;
  for (fs::path& folder : folders) folder /= knobs.Kind();
  std::error_code error;
  std::erase_if(folders, [&error](const fs::path& folder) { return !fs::is_directory(folder, error); });
  return folders;
}

fs::path UserPresetFolderOf(const host::KnobSet& knobs) {
  const fs::path folder = host::UserPresetFolder();
  return folder.empty() || knobs.Kind().empty() ? folder : folder / knobs.Kind();
}

host::Preset LoadPreset(const host::KnobSet& knobs, const std::string& text) {
  std::vector<std::string> warnings;
  const host::Preset preset =
      host::ReadPreset(knobs, host::FindPreset(text, PresetFoldersOf(knobs), knobs), &warnings);
  for (const std::string& warning : warnings) Tell("prismel: {}\n", warning);
  return preset;
}

}  // namespace Vantora::cli
