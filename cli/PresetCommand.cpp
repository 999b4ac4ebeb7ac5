#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>

#include "cli/CommandContext.h"
#include "cli/CommandLine.h"
#include "cli/Console.h"
#include "cli/Failure.h"
#include "cli/ModuleSound.h"
#include "cli/SoundOptions.h"
#include "host/files/PresetFile.h"
#include "host/files/PresetFolder.h"

namespace Vantora::cli {
namespace {

namespace fs = std::filesystem;

/// The knobs that a preset is for: the effect's, or those of the module that `module` names.
class Target {
 public:
  explicit Target(const std::string& module) {
    if (!module.empty()) own.emplace(KnobsOf(module));
  }
  const host::KnobSet& Knobs() const { return own ? *own : host::EffectKnobs(); }

 private:
  std::optional<offline::ModuleKnobs> own;
};

void List(const std::string& folder, const host::KnobSet& knobs) {
  const std::vector<fs::path> folders =
      folder.empty() ? PresetFoldersOf(knobs) : std::vector<fs::path>{folder};
  std::vector<host::PresetEntry> entries;
  for (const fs::path& path : folders) {
    for (host::PresetEntry& entry : host::ListPresets(path, knobs)) entries.push_back(std::move(entry));
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

void Show(const std::string& name, bool json, const host::KnobSet& knobs) {
  const host::Preset preset = LoadPreset(knobs, name);
  if (json) {
    Print("{}", preset.ToJson(knobs));
    return;
  }
  Print("{}\n", preset.name);
  if (!preset.description.empty()) Print("{}\n", preset.description);
  for (const auto& [index, value] : preset.values) {
    Print("  {:<32} {}\n", knobs.KnobAt(index).FullName(), knobs.KnobAt(index).Text(value));
  }
}

/// A plain name means the user's own folder, where `preset list` and --preset look; what has an ending or a
/// folder is a path.
fs::path SavePath(const std::string& text, const host::KnobSet& knobs) {
  const fs::path path = text;
  if (path.has_parent_path() || path.extension() == host::Preset::kFileEnding) return path;
  const fs::path folder = UserPresetFolderOf(knobs);
  if (folder.empty())
    throw Failure("there is no home folder to keep presets in; give a path that ends in .json");
  return folder / (text + std::string(host::Preset::kFileEnding));
}

/// The sound that the options name, for the effect or a module.
host::Preset Sound(const SoundOptions& options, const std::string& module) {
  if (module.empty()) {
    options.RefuseWhatPresetsLeaveOut();
    return options.Sound();
  }
  const offline::ModuleKnobs knobs = KnobsOf(module);
  ModuleSound sound;
  sound.preset = options.preset;
  sound.assignments = options.assignments;
  host::Preset preset;
  if (!sound.preset.empty()) preset.description = LoadPreset(knobs, sound.preset).description;
  for (const host::ParameterWrite& write : sound.Writes(knobs)) preset.values[write.index] = write.normalized;
  return preset;
}

void Save(const SoundOptions& sound, const std::string& module, const std::string& text,
          const std::string& name, const std::string& description, bool overwrite) {
  const Target target(module);
  const fs::path path = SavePath(text, target.Knobs());
  host::Preset preset = Sound(sound, module);
  std::error_code error;
  if (fs::exists(path, error) && !overwrite) {
    throw Failure(fmt::format("{}: exists already; -y overwrites it", path.string()));
  }
  if (path.extension() != host::Preset::kFileEnding) {
    throw UsageError(fmt::format("{}: a preset's file ends in {}", path.string(), host::Preset::kFileEnding));
  }
  preset.name = name.empty() ? path.stem().string() : name;
  if (!description.empty()) preset.description = description;
  if (path != text) {
    fs::create_directories(path.parent_path(), error);
    Print("{}\n", path.string());
  }
  host::WritePreset(preset, path, target.Knobs());
}

void Diff(const std::string& first, const std::string& second, const host::KnobSet& knobs) {
  const host::Preset a = LoadPreset(knobs, first), b = LoadPreset(knobs, second);
  for (uint32_t i = 0; i < knobs.Count(); ++i) {
    if (!knobs.IsStored(i)) continue;
    const host::Knob& knob = knobs.KnobAt(i);
    const auto position = [&](const host::Preset& preset) {
      const auto found = preset.values.find(i);
      return found != preset.values.end() ? found->second : knob.PreferredNormalized();
    };
    if (position(a) == position(b)) continue;
    Print("{:<32} {:>16}  {:>16}\n", knob.FullName(), knob.Text(position(a)), knob.Text(position(b)));
  }
}

struct PresetOptions {
  std::string folder, first, second, path, name, description, module;
  bool json = false, overwrite = false;
  SoundOptions sound;
};

}  // namespace

void AddPresetCommand(Command app, CommandContext&) {
  auto options = std::make_shared<PresetOptions>();
  const Command command = app.AddCommand("preset", "List, show, save and compare presets");
  command.RequireCommand();
  const auto addModule = [&options](const Command& kind) {
    kind.AddOption("--module", options->module, "of a module beside the effect: its presets are its own")
        .OneOf(std::vector<std::string>{"plate", "reverb"});
  };

  const Command list = command.AddCommand("list", "One line for each preset: its name and what it is for");
  list.AddOption("FOLDER", options->folder, "a folder of presets in place of the usual ones");
  addModule(list);
  list.OnRun([options] { List(options->folder, Target(options->module).Knobs()); });

  const Command show = command.AddCommand("show", "Print a preset's values");
  show.AddOption("PRESET", options->first, "name or file").Required();
  show.AddFlag("--json", options->json, "as the JSON of a preset file");
  addModule(show);
  show.OnRun([options] { Show(options->first, options->json, Target(options->module).Knobs()); });

  const Command save = command.AddCommand("save", "Write a sound to a preset file");
  save.AddOption("FILE", options->path,
                 "a path that ends in .json, or a plain name: then it goes to your own folder of presets")
      .Required();
  options->sound.AddTo(save);
  save.AddOption("--name", options->name, "the preset's name (the file's)");
  save.AddOption("--description", options->description, "one line on what it is for");
  save.AddFlag("-y,--overwrite", options->overwrite, "replace a file that exists");
  addModule(save);
  save.OnRun([options] {
    Save(options->sound, options->module, options->path, options->name, options->description,
         options->overwrite);
  });

  const Command diff = command.AddCommand("diff", "Print the parameters on which two presets disagree");
  diff.AddOption("FIRST", options->first, "name or file").Required();
  diff.AddOption("SECOND", options->second, "name or file").Required();
  addModule(diff);
  diff.OnRun([options] { Diff(options->first, options->second, Target(options->module).Knobs()); });
}

}  // namespace Vantora::cli
