#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Vantora {

/// The well-known folders, by index for GetSpecialFolder; 1 and 2 are empty on this platform.
enum SpecialFolder : uint32_t {
  kProgramDataFolder = 0,  // machine-wide add-on packages
  kDesktopFolder = 3,
  kDownloadsFolder = 4,
  kHomeFolder = 5,
  kRootFolder = 6,
  kDocumentsFolder = 7,
};

/// Assigns the well-known folder, with a trailing separator and its leading '~' replaced by the environment
/// variable "HOME" if that is set. False, and `result` as it was, for an index above 7.
bool GetSpecialFolder(uint32_t index, std::string& result);

/// The path that a file is known by: itself if it begins with '/', otherwise what it resolves to, where it
/// does; every "/./" in it becomes "/".
std::string AbsoluteFilePath(std::string path);

/// The absolute path of the file this code was loaded from: the library where it is linked into one,
/// otherwise the executable. Found at first use and kept, since a relative name means nothing once the
/// current folder has changed. Empty, with a line on standard error, where the system can't tell.
const std::string& GetDyLibFullPath();

/// What stands before the last '/' of `path`, trailing '/'
/// and '\' dropped first; empty where there is no '/'.
std::string GetParentFolder(std::string_view path);

}  // namespace Vantora
