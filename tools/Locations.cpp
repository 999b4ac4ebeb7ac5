#include "tools/Locations.h"

#include <array>
#include <cstdio>
#include <utility>

#include "tools/Platform.h"
#include "tools/StringTools.h"

namespace Vantora {

namespace {

// /opt is the file system standard's root for add-on packages, which may hold libraries as well as data.
constexpr std::array<std::string_view, 8> kSpecialFolders = {
    "/opt/", "", "", "~/Desktop/", "~/Downloads/", "~/", "/", "~/Documents/",
};

std::string FindOwnFile() {
  // A constant of this file, and not an exported symbol: that one could belong to another copy of this code.
  std::string path;
  if (!platform::FileOfAddress(kSpecialFolders.data(), path)) std::fputs("dladdr failed\n", stderr);
  return AbsoluteFilePath(std::move(path));
}

}  // namespace

bool GetSpecialFolder(uint32_t index, std::string& result) {
  if (index >= kSpecialFolders.size()) return false;
  result = kSpecialFolders[index];
  const char* const home = platform::HomeFolder();
  if (result.starts_with('~') && home != nullptr) result.replace(0, 1, home);
  return true;
}

std::string AbsoluteFilePath(std::string path) {
  if (!path.starts_with('/')) platform::ResolvePath(path, path);
  bool changed = false;
  ReplaceAll(path, path, "/./", "/", changed);
  return path;
}

const std::string& GetDyLibFullPath() {
  static const std::string path = FindOwnFile();
  return path;
}

std::string GetParentFolder(std::string_view path) {
  path = WithoutTrailingSeparators(path);
  const size_t separator = path.rfind('/');
  return separator == std::string_view::npos ? std::string() : std::string(path.substr(0, separator));
}

}  // namespace Vantora
