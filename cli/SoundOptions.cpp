#include "cli/SoundOptions.h"
#include "cli/CommandLine.h"
#include "cli/Console.h"

#include <fmt/format.h>

#include <cstdio>

#include "cli/Assignment.h"
#include "cli/CommandContext.h"
#include "cli/Failure.h"
#include "host/files/PresetFile.h"
#include "host/files/PresetFolder.h"

namespace Vantora::cli {

host::Preset LoadPreset(const std::string& text) {
  std::vector<std::string> warnings;
  const host::Preset preset = host::ReadPreset(host::FindPreset(text, host::PresetFolders()), &warnings);
  for (const std::string& warning : warnings) Tell("prismel: {}\n", warning);
  return preset;
}

void SoundOptions::AddTo(Command command) {
  constexpr const char* kGroup = "Sound";
  command
      .AddOption("-P,--preset", preset,
                 "start from this preset: a file, or a name that prismel preset list tells")
      .Group(kGroup);
  command
      .AddOption(
          "-p,--set", assignments,
          "NAME=VALUE, any number of times: Prismelion=0.7, HPFCutoff=250Hz, OutputGain=-3dB, FXType=comb; "
          "prismel params lists the names")
      .Group(kGroup)
      .OnePerUse();
}

std::vector<SoundOptions::Value> SoundOptions::ParseAssignments() const {
  std::vector<Value> values;
  for (const std::string& text : assignments) {
    const Assignment assignment = Assignment::Parse(text);
    values.push_back(AsUsage([&assignment]() -> Value {
      const host::Parameter& parameter = host::ParameterTable::Get().At(assignment.name);
      if (parameter.GetRole() == host::Role::kReadOut || parameter.GetRole() == host::Role::kCommand) {
        throw UsageError(fmt::format("--set: {} is a {} and no part of a sound", parameter.UniqueName(),
                                     parameter.GetRole() == host::Role::kReadOut ? "read-out" : "command"));
      }
      return {&parameter, parameter.Parse(assignment.value)};
    }));
  }
  return values;
}

host::Preset SoundOptions::Sound() const {
  host::Preset sound;
  if (!preset.empty()) sound = LoadPreset(preset);
  for (const Value& value : ParseAssignments()) {
    if (value.parameter->IsInPresets()) sound.values[value.parameter->Index()] = value.normalized;
  }
  return sound;
}

void SoundOptions::RefuseWhatPresetsLeaveOut() const {
  for (const Value& value : ParseAssignments()) {
    if (value.parameter->IsInPresets()) continue;
    throw UsageError(fmt::format("--set: {} is not part of a preset", value.parameter->UniqueName()));
  }
}

std::vector<host::ParameterWrite> SoundOptions::Writes() const {
  std::vector<host::ParameterWrite> writes = Sound().Writes();
  for (const Value& value : ParseAssignments()) {
    if (!value.parameter->IsInPresets()) writes.push_back({value.parameter->Index(), value.normalized, 0});
  }
  return writes;
}

}  // namespace Vantora::cli
