// Presets as files of a folder.

#include <algorithm>
#include <cctype>
#include <set>

#include "host/HostError.h"
#include "host/Preset.h"

namespace Vantora::host {
namespace {

bool IsSameName(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

}  // namespace

std::vector<PresetEntry> ListPresets(const std::filesystem::path& folder) {
  std::error_code error;
  std::set<std::filesystem::path> files;
  for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    std::error_code ignored;
    if (entry->path().extension() == Preset::kFileEnding && entry->is_regular_file(ignored))
      files.insert(entry->path());
  }
  if (error)
    throw HostError("The folder of presets \"" + folder.string() + "\" can't be read: " + error.message() +
                    '.');

  std::vector<PresetEntry> entries;
  for (const std::filesystem::path& path : files) {
    PresetEntry entry{path, path.stem().string(), "", ""};
    try {
      const Preset preset = Preset::Read(path);
      entry.name = preset.name;
      entry.description = preset.description;
    } catch (const HostError& reason) {
      entry.error = reason.what();
    }
    entries.push_back(std::move(entry));
  }
  return entries;
}

std::filesystem::path FindPreset(std::string_view text, const std::vector<std::filesystem::path>& folders) {
  std::error_code error;
  const std::filesystem::path path(text);
  if (std::filesystem::is_regular_file(path, error)) return path;
  // A name is looked up in the folders; what looks like a path is only a path.
  if (path.has_parent_path()) throw HostError("The preset \"" + std::string(text) + "\" does not exist.");
  for (const std::filesystem::path& folder : folders) {
    std::filesystem::path file = folder / path;
    if (std::filesystem::is_regular_file(file, error)) return file;
    file += Preset::kFileEnding;
    if (std::filesystem::is_regular_file(file, error)) return file;
    if (!std::filesystem::is_directory(folder, error)) continue;
    for (const PresetEntry& entry : ListPresets(folder)) {
      if (entry.error.empty() && IsSameName(entry.name, text)) return entry.path;
    }
  }
  throw HostError("There is no preset \"" + std::string(text) + "\".");
}

}  // namespace Vantora::host
