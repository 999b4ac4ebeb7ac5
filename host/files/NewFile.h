#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <string_view>

namespace Vantora::host {

/// NewFile: a file that grows under a hidden name of its own beside its place and gets its real name when it
/// is whole and on the disk.
///
/// Whoever looks at the folder sees the old file, no file, or the finished one, also after a power cut. Any
/// number of processes and threads may write the same file at once: the last one to commit stays. Where the
/// name is a link, the file that it leads to is written and the link stays; links are followed once, at the
/// beginning: whoever swaps one in later, for a folder or a file, doesn't lead the bytes elsewhere. The
/// hidden name is ".prismel-PROCESS-NUMBER.part", and the file is locked while it grows, so that what a
/// killed process left can be told from what is being written. Threads: one at a time for each object.
class NewFile {
 public:
  /// Creates the hidden file, readable and writable. With `overwrite` a file that exists may be replaced, by
  /// one with its permissions. Throws `HostError`: no such folder, no right to write there, `path` is a
  /// folder, or exists.
  NewFile(const std::filesystem::path& path, bool overwrite);
  /// Without a `Commit` nothing is left.
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  /// Where to write: an open descriptor, and the name that belongs to it.
  int Descriptor() const { return descriptor; }
  const std::filesystem::path& Path() const { return temporary; }

  /// Writes all of `text`. Throws `HostError`.
  void Write(std::string_view text);

  /// Waits until the disk has the bytes, gives the file its name, and waits for that as well. Throws
  /// `HostError`.
  void Commit();

  /// Removes what processes that are gone left in `folder`; with `ofProcess` above 0 only that one's.
  static void RemoveAbandoned(const std::filesystem::path& folder, pid_t ofProcess = 0);

 private:
  void Close();

  std::filesystem::path final;      // behind all links
  std::filesystem::path temporary;  // for people; the calls take its name within `folder`
  std::string name, hiddenName;     // within `folder`
  int folder = -1;                  // the folder as it was found, whatever its path leads to by now
  bool overwrite;
  int descriptor = -1;
};

}  // namespace Vantora::host
