#pragma once

#include <string>
#include <vector>

#include "host/Preset.h"

namespace Vantora::cli {

class Command;

/// SoundOptions: --preset and --set, which together name a whole sound.
struct SoundOptions {
  std::string preset;
  std::vector<std::string> assignments;

  /// Adds both to a subcommand.
  void AddTo(Command command);

  /// The preset, or what a preset without values is, with the assignments that belong to presets in it.
  /// Warnings about unknown names go to standard error. Throws UsageError for a bad assignment,
  /// host::HostError for a bad preset.
  host::Preset Sound() const;
  /// Throws as `Sound` would.
  void Check() const { static_cast<void>(Writes()); }
  /// Throws UsageError for an assignment that no preset holds, such as "Bypass".
  void RefuseWhatPresetsLeaveOut() const;
  /// The writes of that sound, and behind them those of assignments that no preset holds, such as "Bypass".
  std::vector<host::ParameterWrite> Writes() const;

 private:
  struct Value {
    const host::Parameter* parameter;
    float normalized;
  };
  std::vector<Value> ParseAssignments() const;
};

/// Reads the preset that `text` names, from a file or a preset folder; warnings go to standard error.
host::Preset LoadPreset(const std::string& text);

}  // namespace Vantora::cli
