#pragma once

#include <atomic>
#include <cstdint>

#include "host/BoundedQueue.h"

namespace Vantora::plugin {

/// OutgoingEvents: what the window did, on its way to a host that takes it in its process call.
///
/// Threads  the main thread pushes, the audio thread (or whoever flushes in its place) takes. When full,
///          single moves are dropped and `TakeOverflow` says so once: the host is then told every value.
class OutgoingEvents {
 public:
  enum class Kind : uint8_t { kBegin, kValue, kEnd };
  struct Event {
    Kind kind;
    uint32_t index;
    float position;
  };

  void Push(Event event) {
    if (!queue.Push(event)) overflow.store(true, std::memory_order_release);
    hasNews.store(true, std::memory_order_release);
  }
  /// Whether there is nothing to tell, an overflow neither. One look, because it is asked in every buffer.
  bool IsEmpty() const { return !hasNews.load(std::memory_order_relaxed); }
  /// Calls `take(const Event&)` for all that there is.
  template <typename Take>
  void TakeAll(Take&& take) {
    // First: what is pushed meanwhile is taken now or asks for another time.
    if (IsEmpty() || !hasNews.exchange(false, std::memory_order_acquire)) return;
    for (Event event{}; queue.Pop(event);) take(event);
  }
  bool TakeOverflow() {
    return overflow.load(std::memory_order_relaxed) && overflow.exchange(false, std::memory_order_acquire);
  }

 private:
  host::BoundedQueue<Event> queue{1024};
  std::atomic<bool> overflow{false}, hasNews{false};
};

}  // namespace Vantora::plugin
