#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "host/KnobSet.h"

namespace Vantora::host {

/// PresetEntry: one file of a folder of presets.
struct PresetEntry {
  std::filesystem::path path;
  std::string name, description;
  std::string error;  ///< why it can't be loaded; empty for a good one
};

/// The folder of the user's own presets, which need not exist: $XDG_CONFIG_HOME/prismel/presets, or
/// ~/.config/prismel/presets. Empty when there is neither.
std::filesystem::path UserPresetFolder();

/// Folders of presets that exist, in the order in which names are looked up in them: the one that the
/// environment variable PRISMEL_PRESETS names, the user's own, then the factory bank of whoever asks. That
/// one lies beside the module that holds `address` (a plug-in in a foreign program passes an address of its
/// own, such as a function's; null: the module into which this library is linked) or beside the running
/// program, where the bank was installed, or in the source tree that the module was built in.
std::vector<std::filesystem::path> PresetFolders(const void* address = nullptr);

/// The presets of a folder, in the order of their file names. Throws `HostError` when the folder can't be
/// read.
std::vector<PresetEntry> ListPresets(const std::filesystem::path& folder,
                                     const KnobSet& knobs = EffectKnobs());

/// The file that `text` means: a path to one, or, in one of `folders`, a file of that name (its ending may be
/// left out) or a preset of that name in any case. Throws `HostError` when there is none.
std::filesystem::path FindPreset(std::string_view text, const std::vector<std::filesystem::path>& folders,
                                 const KnobSet& knobs = EffectKnobs());

}  // namespace Vantora::host
