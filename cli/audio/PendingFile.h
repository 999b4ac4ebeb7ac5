#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>

namespace Vantora::cli {

/// PendingFile: a file that grows under a hidden name
/// beside its place and gets its own name when it is whole.
///
/// Whoever looks at the folder sees the old file, no file, or the finished one. Destroyed before `Commit`, or
/// interrupted by a signal, it leaves nothing behind.
class PendingFile {
 public:
  /// Throws Failure where the folder is missing or not writable, or where `final` exists and `overwrite`
  /// isn't set. Creates nothing: whoever writes opens `Path()`.
  PendingFile(std::filesystem::path final, bool overwrite);
  ~PendingFile();
  PendingFile(const PendingFile&) = delete;
  PendingFile& operator=(const PendingFile&) = delete;

  /// Where to write.
  const std::filesystem::path& Path() const { return temporary; }
  /// Gives the finished file its name. Throws Failure.
  void Commit();

  /// Removes what a process that died without warning was writing in `folder`.
  static void RemoveLeftovers(const std::filesystem::path& folder, pid_t pid);

  /// From now on SIGINT, SIGTERM, SIGHUP and SIGPIPE remove all pending files of this process before it ends.
  static void CleanUpOnSignals();

 private:
  std::filesystem::path final;
  std::filesystem::path temporary;
  bool overwrite;
  int slot;  // in the list that the signal handler reads
};

}  // namespace Vantora::cli
