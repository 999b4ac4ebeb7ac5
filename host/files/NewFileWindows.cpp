#include <fcntl.h>
#include <io.h>
#include <process.h>
#include <sys/stat.h>
#include <windows.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include "host/HostError.h"
#include "host/files/NewFile.h"

namespace Vantora::host {
namespace {

namespace fs = std::filesystem;

HostError Problem(const fs::path& path, const std::string& what) {
  return HostError(path.string() + ": " + what);
}

}  // namespace

NewFile::NewFile(const fs::path& path, bool mayOverwrite)
    : final(path), name(path.filename().string()), overwrite(mayOverwrite) {
  std::error_code error;
  const fs::path folderPath = path.has_parent_path() ? path.parent_path() : fs::path(".");
  if (name.empty() || fs::is_directory(path, error)) throw Problem(path, "is a folder");
  if (!fs::is_directory(folderPath, error))
    throw Problem(path, "the folder " + folderPath.string() + " doesn't exist");
  if (!overwrite && fs::exists(path, error)) throw Problem(path, "exists already");
  static std::atomic<unsigned> count{0};
  do {
    hiddenName = ".prismel-" + std::to_string(_getpid()) + '-' + std::to_string(count.fetch_add(1)) + ".part";
    temporary = folderPath / hiddenName;
    descriptor = _wopen(temporary.c_str(), _O_RDWR | _O_CREAT | _O_EXCL | _O_BINARY | _O_NOINHERIT,
                        _S_IREAD | _S_IWRITE);
  } while (descriptor < 0 && errno == EEXIST);
  if (descriptor < 0)
    throw Problem(path, "can't write in the folder " + folderPath.string() + ": " + std::strerror(errno));
}

NewFile::~NewFile() { Close(); }

void NewFile::Close() {
  if (descriptor < 0) return;
  _close(std::exchange(descriptor, -1));
  DeleteFileW(temporary.c_str());
}

void NewFile::Write(std::string_view text) {
  while (!text.empty()) {
    const int now = _write(descriptor, text.data(), static_cast<unsigned>(text.size()));
    if (now <= 0) throw Problem(final, std::string("can't be written: ") + std::strerror(errno));
    text.remove_prefix(static_cast<size_t>(now));
  }
}

void NewFile::Commit() {
  const bool isOnDisk = _commit(descriptor) == 0;
  _close(std::exchange(descriptor, -1));  // an open file can't be renamed here
  const DWORD flags = MOVEFILE_WRITE_THROUGH | (overwrite ? MOVEFILE_REPLACE_EXISTING : 0);
  if (isOnDisk && MoveFileExW(temporary.c_str(), final.c_str(), flags) != 0) return;
  DeleteFileW(temporary.c_str());
  throw Problem(final, "can't be written");
}

void NewFile::RemoveAbandoned(const fs::path&, pid_t) {}  // nobody kills there what could leave one

}  // namespace Vantora::host
