#include "host/files/NewFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

#include "host/HostError.h"

namespace Vantora::host {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kPrefix = ".prismel-", kEnding = ".part";

HostError Problem(const fs::path& path, const std::string& what) {
  return HostError(path.string() + ": " + what);
}

fs::path FolderOf(const fs::path& path) {
  return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

/// The name behind any links; a link may lead to a file that is still to come.
fs::path Follow(fs::path path) {
  constexpr int kMostLinks = 40;  // as the kernel
  std::error_code error;
  for (int i = 0; i < kMostLinks && fs::is_symlink(path, error); ++i) {
    const fs::path target = fs::read_symlink(path, error);
    if (error) break;
    path = target.is_absolute() ? target : FolderOf(path) / target;
  }
  return path;
}

/// The process in ".prismel-PROCESS-NUMBER.part"; 0 for any other name.
pid_t ProcessOf(std::string_view name) {
  if (!name.starts_with(kPrefix) || !name.ends_with(kEnding)) return 0;
  name.remove_prefix(kPrefix.size());
  pid_t process = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), process);
  return error == std::errc{} && *end == '-' && process > 0 ? process : 0;
}

/// fsync, for kinds of files that know it.
bool Synchronise(int descriptor) {
  return fsync(descriptor) == 0 || errno == EINVAL || errno == ENOTSUP || errno == EROFS;
}

/// A folder to create, rename and, where it may be read, synchronise in; below 0 with errno.
int OpenFolder(const fs::path& path) {
  const int folder = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  return folder >= 0 || errno != EACCES ? folder : open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
}

}  // namespace

NewFile::NewFile(const fs::path& path, bool mayOverwrite)
    : final(Follow(path)), name(final.filename().string()), overwrite(mayOverwrite) {
  // What can throw stands before the folder is opened: from then on there is something to clean up.
  const fs::path folderPath = FolderOf(final);
  const std::string start = std::string(kPrefix) + std::to_string(getpid()) + '-';
  if (name.empty()) throw Problem(path, path.empty() ? "this is no file's name" : "is a folder");
  if (struct stat there{}; stat(folderPath.c_str(), &there) != 0 || !S_ISDIR(there.st_mode)) {
    throw Problem(path, "the folder " + folderPath.string() + " doesn't exist");
  }
  try {
    folder = OpenFolder(folderPath);
    struct stat old {};
    const bool exists = folder >= 0 && fstatat(folder, name.c_str(), &old, AT_SYMLINK_NOFOLLOW) == 0;
    if (exists && S_ISDIR(old.st_mode)) throw Problem(path, "is a folder");
    if (exists && !overwrite) throw Problem(path, "exists already");
    if (exists && !S_ISREG(old.st_mode)) throw Problem(path, "is not a regular file and can't be replaced");
    static std::atomic<unsigned> count{0};
    // Taken already: left by a process that had our number. Gone once it is locked: somebody who tidied up
    // saw it in the moment before.
    struct stat made {};
    do {
      if (descriptor >= 0) close(std::exchange(descriptor, -1));
      hiddenName = start + std::to_string(count.fetch_add(1)) + std::string(kEnding);
      temporary = folderPath / hiddenName;
      descriptor =
          folder < 0 ? -1 : openat(folder, hiddenName.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
      if (descriptor >= 0) static_cast<void>(flock(descriptor, LOCK_EX));
    } while (descriptor < 0 ? errno == EEXIST : fstat(descriptor, &made) == 0 && made.st_nlink == 0);
    if (descriptor < 0) {
      const int reason = errno;
      throw Problem(path, "can't write in the folder " + folderPath.string() + ": " + std::strerror(reason));
    }
    // Where this isn't allowed the file is a new one's, which is as good.
    if (exists) static_cast<void>(fchmod(descriptor, old.st_mode & 07777));
  } catch (...) {
    Close();
    throw;
  }
}

NewFile::~NewFile() { Close(); }

void NewFile::Close() {
  if (descriptor >= 0) {
    unlinkat(folder, hiddenName.c_str(), 0);
    close(descriptor);
  }
  if (folder >= 0) close(folder);
  descriptor = folder = -1;
}

void NewFile::Write(std::string_view text) {
  while (!text.empty()) {
    const ssize_t now = write(descriptor, text.data(), text.size());
    if (now < 0 && errno == EINTR) continue;
    if (now <= 0) throw Problem(final, std::string("can't be written: ") + std::strerror(errno));
    text.remove_prefix(static_cast<size_t>(now));
  }
}

void NewFile::Commit() {
  if (!Synchronise(descriptor)) {
    throw Problem(final, std::string("can't be written: ") + std::strerror(errno));
  }
  // Another process may have made the file in the meantime.
  const auto flags = overwrite ? 0u : RENAME_NOREPLACE;
  int result = renameat2(folder, hiddenName.c_str(), folder, name.c_str(), flags);
  if (result != 0 && errno == EINVAL) result = renameat(folder, hiddenName.c_str(), folder, name.c_str());
  if (result != 0) {
    throw Problem(final, std::string("can't give the finished file its name: ") + std::strerror(errno));
  }
  close(descriptor);
  descriptor = -1;
  // EBADF: a folder that can be written but not read.
  if (!Synchronise(folder) && errno != EBADF) {
    throw Problem(final, std::string("can't be written: ") + std::strerror(errno));
  }
}

void NewFile::RemoveAbandoned(const fs::path& folder, pid_t ofProcess) {
  std::error_code error;
  fs::directory_iterator entry(folder, error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    const pid_t process = ProcessOf(entry->path().filename().native());
    if (process == 0 || (ofProcess > 0 && process != ofProcess)) continue;
    // The lock ends with its process, on whichever machine that was; the number may be in use again.
    const int found = open(entry->path().c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (found < 0) continue;
    if (flock(found, LOCK_EX | LOCK_NB) == 0) unlink(entry->path().c_str());
    close(found);
  }
}

}  // namespace Vantora::host
