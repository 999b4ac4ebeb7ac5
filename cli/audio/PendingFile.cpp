#include "cli/audio/PendingFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "cli/Failure.h"

namespace Vantora::cli {
namespace {

// What a signal handler may touch: plain memory and
// lock-free flags. A slot's text is written before its flag.
struct Slot {
  std::atomic<bool> taken{false};
  std::array<char, PATH_MAX> path{};
};
std::array<Slot, 4> slots;
static_assert(std::atomic<bool>::is_always_lock_free);

int TakeSlot(const std::string& path) {
  if (path.size() >= PATH_MAX) throw Failure(fmt::format("{}: the path is too long", path));
  for (size_t i = 0; i < slots.size(); ++i) {
    if (slots[i].taken.load()) continue;
    std::memcpy(slots[i].path.data(), path.c_str(), path.size() + 1);
    slots[i].taken.store(true);
    return static_cast<int>(i);
  }
  throw Failure("too many files are being written at once");
}

void RemoveAndDie(int signal) {
  for (Slot& slot : slots) {
    if (slot.taken.load()) unlink(slot.path.data());
  }
  // SA_RESETHAND put the default back: whoever waits for us sees that the signal ended us.
  raise(signal);
}

std::string Prefix(pid_t pid) { return fmt::format(".prismel-{}-", pid); }

}  // namespace

PendingFile::PendingFile(std::filesystem::path finalPath, bool mayOverwrite)
    : final(std::move(finalPath)), overwrite(mayOverwrite) {
  namespace fs = std::filesystem;
  const fs::path folder = final.has_parent_path() ? final.parent_path() : fs::path(".");
  std::error_code error;
  if (!fs::is_directory(folder, error)) {
    throw Failure(fmt::format("{}: the folder {} doesn't exist", final.string(), folder.string()));
  }
  if (fs::is_directory(final, error)) throw Failure(fmt::format("{}: is a folder", final.string()));
  if (!overwrite && fs::exists(final, error)) {
    throw Failure(fmt::format("{}: exists already; -y overwrites it", final.string()));
  }
  if (access(folder.c_str(), W_OK | X_OK) != 0) {
    throw Failure(fmt::format("{}: can't write in the folder {}: {}", final.string(), folder.string(),
                              std::strerror(errno)));
  }
  static std::atomic<int> count{0};
  temporary = folder / fmt::format("{}{}.part", Prefix(getpid()), count.fetch_add(1));
  slot = TakeSlot(temporary.string());
}

PendingFile::~PendingFile() {
  if (slot < 0) return;
  unlink(temporary.c_str());
  slots[static_cast<size_t>(slot)].taken.store(false);
}

void PendingFile::Commit() {
  // Another process may have made the file in the meantime: only -y may replace it.
  int result =
      renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, final.c_str(), overwrite ? 0u : RENAME_NOREPLACE);
  if (result != 0 && errno == EINVAL) result = std::rename(temporary.c_str(), final.c_str());
  if (result != 0) {
    throw Failure(
        fmt::format("{}: can't give the finished file its name: {}", final.string(), std::strerror(errno)));
  }
  slots[static_cast<size_t>(slot)].taken.store(false);
  slot = -1;
}

void PendingFile::RemoveLeftovers(const std::filesystem::path& folder, pid_t pid) {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    if (entry.path().filename().string().starts_with(Prefix(pid))) unlink(entry.path().c_str());
  }
}

void PendingFile::CleanUpOnSignals() {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    if (action.sa_handler == SIG_IGN) continue;  // as nohup wants it
    action = {};
    action.sa_handler = RemoveAndDie;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(signal, &action, nullptr);
  }
}

}  // namespace Vantora::cli
