#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "host/Preset.h"

namespace Vantora::plugin {

/// UserPresets: the folder of the user's own presets, which the `prismel` command searches, too:
/// $XDG_CONFIG_HOME/prismel/presets, or ~/.config/prismel/presets. [main thread]
class UserPresets {
 public:
  struct Entry {
    std::filesystem::path path;
    host::Preset preset;
  };

  /// What was found last, by name; empty before the first `Refresh`.
  const std::vector<Entry>& Entries() const { return entries; }
  /// Reads the folder; files that aren't presets are passed over, a missing folder is an empty one.
  void Refresh();
  /// Writes a preset, in the place of one of the same name. Throws `host::HostError`.
  void Save(const host::Preset& preset);
  /// Removes the file of an entry. Throws `host::HostError`.
  void Delete(size_t entry);

 private:
  static std::filesystem::path Folder();
  std::vector<Entry> entries;
};

}  // namespace Vantora::plugin
