#include <windows.h>

#include <cstdlib>

#include "tools/Platform.h"

namespace Vantora::platform {

uint64_t ThreadId() { return GetCurrentThreadId(); }

std::string LocalTimeText(std::time_t time) {
  char text[64];
  return ctime_s(text, sizeof text, &time) == 0 ? text : std::string();
}

const char* HomeFolder() { return std::getenv("USERPROFILE"); }

FileKind KindOfFile(const std::string& path) {
  const DWORD attributes = GetFileAttributesA(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) return FileKind::Missing;
  if ((attributes & FILE_ATTRIBUTE_DEVICE) != 0) return FileKind::Other;
  return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? FileKind::Folder : FileKind::Regular;
}

bool ResolvePath(const std::string& path, std::string& resolved) {
  char buffer[MAX_PATH];
  const DWORD length = GetFullPathNameA(path.c_str(), sizeof buffer, buffer, nullptr);
  if (length == 0 || length >= sizeof buffer || !Exists(path)) return false;
  resolved = buffer;
  return true;
}

bool FileOfAddress(const void* address, std::string& file) {
  HMODULE module = nullptr;
  constexpr DWORD kByAddress =
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
  if (GetModuleHandleExA(kByAddress, static_cast<const char*>(address), &module) == 0) return false;
  char buffer[MAX_PATH];
  const DWORD length = GetModuleFileNameA(module, buffer, sizeof buffer);
  if (length == 0 || length >= sizeof buffer) return false;
  file.assign(buffer, length);
  return true;
}

namespace {

std::string LoaderError() { return "Windows error " + std::to_string(GetLastError()); }

}  // namespace

void* OpenLibrary(const char* path, std::string& error) {
  const HMODULE library = LoadLibraryA(path);
  if (library == nullptr) error = LoaderError();
  return library;
}

void* FindSymbol(void* library, const char* name, std::string& error) {
  const auto address = reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
  if (address == nullptr) error = LoaderError();
  return address;
}

void CloseLibrary(void* library) { FreeLibrary(static_cast<HMODULE>(library)); }

}  // namespace Vantora::platform
