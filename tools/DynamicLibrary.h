#pragma once

#include <string>

namespace Vantora {

/// DynamicLibrary: a shared library opened at run time, closed with this object.
class DynamicLibrary {
 public:
  DynamicLibrary() = default;
  ~DynamicLibrary();
  DynamicLibrary(const DynamicLibrary&) = delete;
  DynamicLibrary& operator=(const DynamicLibrary&) = delete;

  /// Opens the library at `path`, by its bare name where the system keeps it, or the program itself for null;
  /// one that was open is closed first. False on failure, which Error() explains. Bundles don't exist on this
  /// platform: `openBundle` fails.
  bool Load(const char* path, bool openBundle);

  /// The address of a function; null, and Error() explains, where there is none or nothing is loaded.
  /// `callBundleEntry` concerns bundles and is ignored otherwise.
  void* GetFunction(const char* name, bool callBundleEntry);

  bool IsLoaded() const { return handle != nullptr; }
  /// The last failure in the system's words; empty if there was none.
  const std::string& Error() const { return error; }

 private:
  void Unload();

  void* handle = nullptr;
  bool isBundle = false;
  std::string error;
};

}  // namespace Vantora
