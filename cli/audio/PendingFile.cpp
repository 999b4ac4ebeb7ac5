#include "cli/audio/PendingFile.h"

#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <climits>
#include <csignal>
#include <cstring>

#include "cli/Failure.h"
#include "host/HostError.h"

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
  PendingFile::RemoveAll();
  // SA_RESETHAND put the default back: whoever waits for us sees that the signal ended us.
  raise(signal);
}

}  // namespace

PendingFile::PendingFile(const std::filesystem::path& path, bool overwrite) {
  std::error_code error;
  if (!overwrite && std::filesystem::exists(path, error) && !std::filesystem::is_directory(path, error)) {
    throw Failure(fmt::format("{}: exists already; -y overwrites it", path.string()));
  }
  try {
    file.emplace(path, overwrite);
  } catch (const host::HostError& problem) {
    throw Failure(problem.what());
  }
  slot = TakeSlot(file->Path().string());
}

PendingFile::~PendingFile() {
  file.reset();
  if (slot >= 0) slots[static_cast<size_t>(slot)].taken.store(false);
}

void PendingFile::Commit() {
  try {
    file->Commit();
  } catch (const host::HostError& problem) {
    throw Failure(problem.what());
  }
}

void PendingFile::RemoveAll() {
  for (Slot& slot : slots) {
    if (slot.taken.load()) unlink(slot.path.data());
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
