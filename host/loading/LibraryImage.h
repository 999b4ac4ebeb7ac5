#pragma once

#include <filesystem>

namespace Vantora::host {

/// LibraryImage: a shared library in this process's memory, from its loading to its unloading.
///
/// Threads: any; loading and unloading allocate and wait for the dynamic loader's lock.
class LibraryImage {
 public:
  /// Loads the file. A private image is a copy with code and data of its own, whatever else of that file is
  /// loaded.
  /// Throws `HostError` when the file is missing, a folder, or can't be loaded.
  LibraryImage(const std::filesystem::path& path, bool isPrivate);
  ~LibraryImage();
  LibraryImage(const LibraryImage&) = delete;
  LibraryImage& operator=(const LibraryImage&) = delete;

  /// Address of a symbol, null when there is none; valid as long as the image.
  void* Symbol(const char* name) const;

 private:
  void* handle = nullptr;
  int copy = -1;  // descriptor of the copy in memory; -1 for a shared image
};

}  // namespace Vantora::host
