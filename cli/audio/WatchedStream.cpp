#include "cli/audio/WatchedStream.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <pthread.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "cli/Failure.h"
#include "cli/audio/DeclaredLength.h"

namespace Vantora::cli {
namespace {

constexpr size_t kKept = 65536;  // bytes of the beginning: headers are shorter

/// OggPages: whether what went by is whole pages of which the last ends its stream.
class OggPages {
 public:
  void Add(std::string_view bytes) {
    while (!bytes.empty()) {
      if (left > 0) {
        const size_t now = std::min<size_t>(left, bytes.size());
        left -= now;
        bytes.remove_prefix(now);
        continue;
      }
      header += bytes.front();
      bytes.remove_prefix(1);
      constexpr size_t kFixed = 27;
      if (header.size() < kFixed) continue;
      const size_t segments = static_cast<uint8_t>(header[26]);
      if (header.size() < kFixed + segments) continue;
      for (size_t i = 0; i < segments; ++i) left += static_cast<uint8_t>(header[kFixed + i]);
      hasEnded = (header[5] & 4) != 0;
      header.clear();
    }
  }
  bool IsCut() const { return !hasEnded || left > 0; }

 private:
  std::string header;  // of the page that begins
  size_t left = 0;     // bytes of the page under way
  bool hasEnded = false;
};

}  // namespace

struct WatchedStream::State {
  mutable std::mutex mutex;
  std::string beginning;
  uint64_t size = 0;
  OggPages pages;
  bool hasEnded = false;

  bool IsOgg() const { return beginning.starts_with("OggS"); }

  void Add(std::string_view bytes) {
    const std::lock_guard lock(mutex);
    if (beginning.size() < kKept) beginning += bytes.substr(0, kKept - beginning.size());
    size += bytes.size();
    if (IsOgg()) pages.Add(bytes);
  }

  /// Hands all on until one side ends.
  void Run(int from, int to) {
    std::array<char, 65536> piece;
    for (;;) {
      const ssize_t got = read(from, piece.data(), piece.size());
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) break;
      Add({piece.data(), static_cast<size_t>(got)});
      for (ssize_t given = 0; given < got;) {
        const ssize_t now = write(to, piece.data() + given, static_cast<size_t>(got - given));
        if (now < 0 && errno == EINTR) continue;
        if (now <= 0) {  // the reader has all it wants
          close(to);
          return;
        }
        given += now;
      }
    }
    {
      const std::lock_guard lock(mutex);
      hasEnded = true;
    }
    close(to);
  }
};

WatchedStream::WatchedStream(int descriptor, bool closes) : state(std::make_shared<State>()) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    throw Failure(fmt::format("can't make a pipe: {}", std::strerror(errno)));
  }
  output = ends[0];
  // The thread takes no signals: they belong to the one that renders.
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  std::thread([shared = state, descriptor, closes, to = ends[1]] {
    shared->Run(descriptor, to);
    if (closes) close(descriptor);
  }).detach();
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

WatchedStream::~WatchedStream() { close(output); }

bool WatchedStream::BeginsWith(std::string_view bytes) const {
  const std::lock_guard lock(state->mutex);
  return state->beginning.starts_with(bytes);
}

bool WatchedStream::IsCut() const {
  const std::lock_guard lock(state->mutex);
  if (!state->hasEnded) return false;
  if (state->IsOgg()) return state->pages.IsCut();
  const auto length = FindDeclaredLength(state->beginning, state->size);
  return length && length->IsCut();
}

double WatchedStream::Share() const {
  const std::lock_guard lock(state->mutex);
  const auto length = FindDeclaredLength(state->beginning, state->size);
  if (!length || length->declared == 0) return 1.0;
  return static_cast<double>(length->present) / static_cast<double>(length->declared);
}

}  // namespace Vantora::cli
