#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "cli/CommandContext.h"
#include "cli/CommandLine.h"
#include "cli/Console.h"
#include "cli/Failure.h"
#include "cli/SoundOptions.h"
#include "host/files/PresetFile.h"
#include "host/files/PresetFolder.h"

namespace Vantora::cli {
namespace {

namespace fs = std::filesystem;

void List(const std::string& folder) {
  const std::vector<fs::path> folders =
      folder.empty() ? host::PresetFolders() : std::vector<fs::path>{folder};
  std::vector<host::PresetEntry> entries;
  for (const fs::path& path : folders) {
    for (host::PresetEntry& entry : host::ListPresets(path)) entries.push_back(std::move(entry));
  }
  size_t width = 0;
  for (const host::PresetEntry& entry : entries) width = std::max(width, entry.name.size());
  for (const host::PresetEntry& entry : entries) {
    if (entry.error.empty()) {
      Print("{:<{}}  {}\n", entry.name, width, entry.description);
    } else {
      Tell("prismel: {}\n", entry.error);
    }
  }
}

void Show(const std::string& name, bool json) {
  const host::Preset preset = LoadPreset(name);
  if (json) {
    Print("{}", preset.ToJson());
    return;
  }
  Print("{}\n", preset.name);
  if (!preset.description.empty()) Print("{}\n", preset.description);
  for (const host::Parameter& parameter : host::ParameterTable::Get()) {
    const auto found = preset.values.find(parameter.Index());
    if (found == preset.values.end()) continue;
    Print("  {:<32} {}\n", parameter.UniqueName(), parameter.Text(found->second));
  }
}

/// A plain name means the user's own folder, where `preset list` and --preset look; what has an ending or a
/// folder is a path.
fs::path SavePath(const std::string& text) {
  const fs::path path = text;
  if (path.has_parent_path() || path.extension() == host::Preset::kFileEnding) return path;
  const fs::path folder = host::UserPresetFolder();
  if (folder.empty())
    throw Failure("there is no home folder to keep presets in; give a path that ends in .json");
  return folder / (text + std::string(host::Preset::kFileEnding));
}

void Save(const SoundOptions& sound, const std::string& text, const std::string& name,
          const std::string& description, bool overwrite) {
  const fs::path path = SavePath(text);
  sound.RefuseWhatPresetsLeaveOut();
  std::error_code error;
  if (fs::exists(path, error) && !overwrite) {
    throw Failure(fmt::format("{}: exists already; -y overwrites it", path.string()));
  }
  if (path.extension() != host::Preset::kFileEnding) {
    throw UsageError(fmt::format("{}: a preset's file ends in {}", path.string(), host::Preset::kFileEnding));
  }
  host::Preset preset = sound.Sound();
  preset.name = name.empty() ? path.stem().string() : name;
  if (!description.empty()) preset.description = description;
  if (path != text) {
    fs::create_directories(path.parent_path(), error);
    Print("{}\n", path.string());
  }
  host::WritePreset(preset, path);
}

void Diff(const std::string& first, const std::string& second) {
  const auto differences = host::Compare(LoadPreset(first), LoadPreset(second));
  for (const host::PresetDifference& difference : differences) {
    Print("{:<32} {:>16}  {:>16}\n", difference.parameter->UniqueName(),
          difference.parameter->Text(difference.first), difference.parameter->Text(difference.second));
  }
}

struct PresetOptions {
  std::string folder, first, second, path, name, description;
  bool json = false, overwrite = false;
  SoundOptions sound;
};

}  // namespace

void AddPresetCommand(Command app, CommandContext&) {
  auto options = std::make_shared<PresetOptions>();
  const Command command = app.AddCommand("preset", "List, show, save and compare presets");
  command.RequireCommand();

  const Command list = command.AddCommand("list", "One line for each preset: its name and what it is for");
  list.AddOption("FOLDER", options->folder, "a folder of presets in place of the usual ones");
  list.OnRun([options] { List(options->folder); });

  const Command show = command.AddCommand("show", "Print a preset's values");
  show.AddOption("PRESET", options->first, "name or file").Required();
  show.AddFlag("--json", options->json, "as the JSON of a preset file");
  show.OnRun([options] { Show(options->first, options->json); });

  const Command save = command.AddCommand("save", "Write a sound to a preset file");
  save.AddOption("FILE", options->path,
                 "a path that ends in .json, or a plain name: then it goes to your own folder of presets")
      .Required();
  options->sound.AddTo(save);
  save.AddOption("--name", options->name, "the preset's name (the file's)");
  save.AddOption("--description", options->description, "one line on what it is for");
  save.AddFlag("-y,--overwrite", options->overwrite, "replace a file that exists");
  save.OnRun([options] {
    Save(options->sound, options->path, options->name, options->description, options->overwrite);
  });

  const Command diff = command.AddCommand("diff", "Print the parameters on which two presets disagree");
  diff.AddOption("FIRST", options->first, "name or file").Required();
  diff.AddOption("SECOND", options->second, "name or file").Required();
  diff.OnRun([options] { Diff(options->first, options->second); });
}

}  // namespace Vantora::cli
