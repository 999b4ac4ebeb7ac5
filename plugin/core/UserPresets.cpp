#include "plugin/core/UserPresets.h"

#include <algorithm>
#include <cctype>

#include "host/HostError.h"
#include "host/files/PresetFile.h"
#include "host/files/PresetFolder.h"

namespace Vantora::plugin {
namespace fs = std::filesystem;

namespace {

/// "My Sound!" -> "my-sound": letters and digits, whatever a file system may think of the rest.
std::string FileName(const std::string& name) {
  std::string file;
  for (const char c : name) {
    const auto letter = static_cast<unsigned char>(c);
    if (std::isalnum(letter) != 0) {
      file += static_cast<char>(std::tolower(letter));
    } else if (!file.empty() && file.back() != '-') {
      file += '-';
    }
  }
  while (!file.empty() && file.back() == '-') file.pop_back();
  return file.empty() ? "preset" : file;
}

}  // namespace

fs::path UserPresets::Folder() {
  fs::path folder = host::UserPresetFolder();
  if (folder.empty()) throw host::HostError("There is no home folder to keep presets in.");
  return folder;
}

void UserPresets::Refresh() {
  entries.clear();
  fs::path folder;
  try {
    folder = Folder();
  } catch (const host::HostError&) {
    return;
  }
  std::error_code error;
  for (fs::directory_iterator file(folder, error), end; !error && file != end; file.increment(error)) {
    if (file->path().extension() != host::Preset::kFileEnding) continue;
    try {
      entries.push_back({file->path(), host::ReadPreset(file->path())});
    } catch (const host::HostError&) {
      // Not a preset, or one of a newer version: not offered.
    }
  }
  std::sort(entries.begin(), entries.end(),
            [](const Entry& a, const Entry& b) { return a.preset.name < b.preset.name; });
}

void UserPresets::Save(const host::Preset& preset) {
  Refresh();
  const auto same = std::find_if(entries.begin(), entries.end(),
                                 [&](const Entry& entry) { return entry.preset.name == preset.name; });
  fs::path path;
  if (same != entries.end()) {
    path = same->path;
  } else {
    const fs::path folder = Folder();
    std::error_code error;
    fs::create_directories(folder, error);
    if (error) {
      throw host::HostError("The folder \"" + folder.string() + "\" can't be made: " + error.message() + '.');
    }
    const std::string stem = FileName(preset.name);
    path = folder / (stem + std::string(host::Preset::kFileEnding));
    for (int number = 2; fs::exists(path, error); ++number) {
      path = folder / (stem + '-' + std::to_string(number) + std::string(host::Preset::kFileEnding));
    }
  }
  host::WritePreset(preset, path);
  Refresh();
}

void UserPresets::Delete(size_t entry) {
  std::error_code error;
  if (!fs::remove(entries.at(entry).path, error) || error) {
    throw host::HostError("The preset \"" + entries.at(entry).path.string() + "\" can't be removed.");
  }
  Refresh();
}

}  // namespace Vantora::plugin
