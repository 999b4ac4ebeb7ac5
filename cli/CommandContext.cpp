#include "cli/CommandContext.h"

#include <cstdlib>

namespace Vantora::cli {

namespace fs = std::filesystem;

fs::path CommandContext::LibraryPath() const {
  return library.empty() ? host::ProcessorLibrary::Find() : fs::path(library);
}

std::vector<fs::path> CommandContext::PresetFolders() {
  std::vector<fs::path> folders;
  const auto add = [&folders](const fs::path& folder) {
    std::error_code error;
    if (fs::is_directory(folder, error)) folders.push_back(folder);
  };
  if (const char* named = std::getenv("PRISMEL_PRESETS")) add(named);
  if (const char* config = std::getenv("XDG_CONFIG_HOME")) {
    add(fs::path(config) / "prismel" / "presets");
  } else if (const char* home = std::getenv("HOME")) {
    add(fs::path(home) / ".config" / "prismel" / "presets");
  }
  std::error_code error;
  const fs::path program = fs::read_symlink("/proc/self/exe", error).parent_path();
  add(program.parent_path() / "share" / "prismel" / "presets");
  // In a build tree the program lies in SOURCE/build/PRESET/bin.
  const fs::path source = program.parent_path().parent_path().parent_path();
  if (fs::exists(source / "CMakePresets.json", error)) add(source / "presets");
  return folders;
}

}  // namespace Vantora::cli
