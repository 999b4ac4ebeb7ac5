#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>

#include "host/files/NewFile.h"

namespace Vantora::cli {

/// PendingFile: a host::NewFile that a signal removes as well.
///
/// Whoever looks at the folder sees the old file, no file, or the finished one. Destroyed before `Commit`, or
/// interrupted by a signal, it leaves nothing behind.
class PendingFile {
 public:
  /// Throws Failure where the folder is missing or not writable,
  /// or where `path` exists and `overwrite` isn't set.
  PendingFile(const std::filesystem::path& path, bool overwrite);
  ~PendingFile();
  PendingFile(const PendingFile&) = delete;
  PendingFile& operator=(const PendingFile&) = delete;

  /// Where to write.
  const std::filesystem::path& Path() const { return file->Path(); }
  int Descriptor() const { return file->Descriptor(); }
  /// Gives the finished file its name once it is on the disk. Throws Failure.
  void Commit();

  /// From now on SIGINT, SIGTERM, SIGHUP and SIGPIPE remove all pending files of this process before it ends.
  static void CleanUpOnSignals();
  /// Removes them now, for a process that is about to end without its destructors. Allocates nothing.
  static void RemoveAll();

 private:
  std::optional<host::NewFile> file;
  int slot = -1;  // in the list that the signal handler reads
};

}  // namespace Vantora::cli
