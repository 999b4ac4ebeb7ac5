#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>

/// The calls of the operating system that the tools need, in one place: a port replaces Platform.cpp and the
/// constants here. Plain wrappers without memory; none of them logs.
namespace Vantora::platform {

/// Ending of a shared library's file name.
inline constexpr std::string_view kSharedLibrarySuffix = ".so";

/// The calling thread's id as the system's own tools show it; stable for the thread's life.
uint64_t ThreadId();

/// `time` in local time as "Www Mmm dd hh:mm:ss yyyy\n"; empty where it can't be told.
std::string LocalTimeText(std::time_t time);

/// The value of the environment variable "HOME"; null if it isn't set.
const char* HomeFolder();

/// What stands behind a path; links are followed.
enum class FileKind { Missing, Regular, Folder, Other };
FileKind KindOfFile(const std::string& path);

/// Whether `stat` finds anything at all under this path.
inline bool Exists(const std::string& path) { return KindOfFile(path) != FileKind::Missing; }

/// The absolute path without links, dots and double separators.
/// False, and `resolved` as it was, if there is none.
bool ResolvePath(const std::string& path, std::string& resolved);

/// The file that the code or data at `address` was loaded
/// from. False, and `file` as it was, if there is none.
bool FileOfAddress(const void* address, std::string& file);

/// Opens a shared library, its symbols bound at first call and kept out of the process's own. Null on
/// failure, with the loader's words in `error`.
void* OpenLibrary(const char* path, std::string& error);

/// A symbol's address; null on failure, with the loader's words in `error`.
void* FindSymbol(void* library, const char* name, std::string& error);

/// Closes what OpenLibrary opened.
void CloseLibrary(void* library);

}  // namespace Vantora::platform
