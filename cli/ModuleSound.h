#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/Preset.h"
#include "offline/ModuleEffect.h"
#include "offline/ModuleKnobs.h"

namespace Vantora::cli {

class Command;

/// ModuleSound: the options that name the sound of a module beside the effect, and what moves it: the same
/// ones, with the same forms of files, as the effect's.
struct ModuleSound {
  std::string preset, automation, automationUnit = "seconds";
  std::vector<std::string> assignments;
  double bpm = 120.0;
  bool ramps = false, list = false;

  /// Adds them to a subcommand. `example` shows an assignment or two.
  void AddTo(Command command, const std::string& example);

  /// The preset's positions and behind them those of the assignments; what neither names is left alone.
  /// Throws UsageError, host::HostError.
  std::vector<host::ParameterWrite> Writes(const offline::ModuleKnobs& knobs) const;
  /// Null without an automation. Throws host::HostError.
  std::shared_ptr<const offline::ModuleMoves> Moves(const offline::ModuleKnobs& knobs) const;
};

/// The module that `name` means: "plate" or "reverb". Throws UsageError.
offline::ModuleKnobs KnobsOf(const std::string& name);

/// Where presets of these knobs are looked up and kept: for a module a folder of its name within the usual
/// ones. The first is the user's own; empty where there is no home.
std::vector<std::filesystem::path> PresetFoldersOf(const host::KnobSet& knobs);
std::filesystem::path UserPresetFolderOf(const host::KnobSet& knobs);

/// Reads a preset by its path or name; warnings go to standard error.
host::Preset LoadPreset(const host::KnobSet& knobs, const std::string& text);

}  // namespace Vantora::cli
