#include "host/files/PresetFolder.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <set>

#include "host/HostError.h"
#include "host/files/PresetFile.h"
#include "tools/Platform.h"

namespace Vantora::host {
namespace {

bool IsSameName(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

namespace fs = std::filesystem;

/// The file that holds the code or data at `address`; empty when nobody knows.
fs::path ModuleOf(const void* address) {
  std::error_code error;
  std::string file;
  return platform::FileOfAddress(address, file) ? fs::canonical(file, error) : fs::path();
}

bool IsSourceTree(const fs::path& folder) {
  std::error_code error;
  return fs::exists(folder / "CMakePresets.json", error) &&
         fs::exists(folder / "processor" / "interface" / "IProcessor.h", error);
}

/// Where a factory bank lies that belongs to a program or plug-in: installed with it, packed into its bundle,
/// or in the sources it was built from.
std::vector<fs::path> BanksBeside(const fs::path& module) {
  std::vector<fs::path> banks;
  if (module.empty()) return banks;
  const fs::path folder = module.parent_path();
  banks = {folder / "presets", folder.parent_path() / "presets",
           folder.parent_path() / "Resources" / "presets",
           folder.parent_path() / "share" / "prismel" / "presets"};
  // A plug-in lies one or two folders deeper in the lib folder: lib/vst3/x.vst3/Contents/x86_64-linux/x.so.
  for (fs::path above = folder; above != above.root_path(); above = above.parent_path()) {
    if (above.filename() == "lib") banks.push_back(above.parent_path() / "share" / "prismel" / "presets");
    if (IsSourceTree(above)) banks.push_back(above / "presets");
  }
  return banks;
}

}  // namespace

fs::path UserPresetFolder() {
  if (const char* config = std::getenv("XDG_CONFIG_HOME"); config != nullptr && *config != '\0') {
    return fs::path(config) / "prismel" / "presets";
  }
#ifdef _WIN32
  const char* data = std::getenv("APPDATA");
  if (data != nullptr && *data != '\0') return fs::path(data) / "prismel" / "presets";
#endif
  const char* home = std::getenv("HOME");
  if (home == nullptr || *home == '\0') return {};
  return fs::path(home) / ".config" / "prismel" / "presets";
}

std::vector<fs::path> PresetFolders(const void* address) {
  std::vector<fs::path> folders;
  std::set<fs::path> seen;
  const auto add = [&](const fs::path& folder) {
    std::error_code error;
    if (folder.empty() || !fs::is_directory(folder, error)) return;
    if (seen.insert(fs::canonical(folder, error)).second) folders.push_back(folder);
  };
  if (const char* named = std::getenv("PRISMEL_PRESETS"); named != nullptr) add(named);
  add(UserPresetFolder());
  std::error_code error;
  const void* own = address != nullptr ? address : reinterpret_cast<const void*>(&IsSourceTree);
  for (const fs::path& module : {ModuleOf(own), fs::read_symlink("/proc/self/exe", error)}) {
    for (const fs::path& bank : BanksBeside(module)) add(bank);
  }
#ifdef PRISMEL_INSTALL_FULL_DATADIR
  add(fs::path(PRISMEL_INSTALL_FULL_DATADIR) / "prismel" / "presets");
#endif
  return folders;
}

std::vector<PresetEntry> ListPresets(const fs::path& folder, const KnobSet& knobs) {
  std::error_code error;
  std::set<fs::path> files;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    std::error_code ignored;
    if (entry->path().extension() == Preset::kFileEnding && entry->is_regular_file(ignored))
      files.insert(entry->path());
  }
  if (error)
    throw HostError("The folder of presets \"" + folder.string() + "\" can't be read: " + error.message() +
                    '.');

  std::vector<PresetEntry> entries;
  for (const fs::path& path : files) {
    PresetEntry entry{path, path.stem().string(), "", ""};
    try {
      const Preset preset = ReadPreset(knobs, path);
      entry.name = preset.name;
      entry.description = preset.description;
    } catch (const HostError& reason) {
      entry.error = reason.what();
    }
    entries.push_back(std::move(entry));
  }
  return entries;
}

fs::path FindPreset(std::string_view text, const std::vector<fs::path>& folders, const KnobSet& knobs) {
  std::error_code error;
  const fs::path path(text);
  if (fs::is_regular_file(path, error)) return path;
  if (fs::exists(path, error) && !fs::is_directory(path, error)) return path;  // reading it says what it is
  // A name is looked up in the folders; what looks like a path is only a path.
  if (path.has_parent_path()) throw HostError("The preset \"" + std::string(text) + "\" does not exist.");
  for (const fs::path& folder : folders) {
    fs::path file = folder / path;
    if (fs::is_regular_file(file, error)) return file;
    file += Preset::kFileEnding;
    if (fs::is_regular_file(file, error)) return file;
    if (!fs::is_directory(folder, error)) continue;
    for (const PresetEntry& entry : ListPresets(folder, knobs)) {
      if (entry.error.empty() && IsSameName(entry.name, text)) return entry.path;
    }
  }
  throw HostError("There is no preset \"" + std::string(text) + "\".");
}

}  // namespace Vantora::host
