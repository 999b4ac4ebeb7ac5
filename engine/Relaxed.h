#pragma once

#include <atomic>

namespace Vantora::dsp {

/// Relaxed<T>: a value that one thread stores and another loads, with plain moves and no ordering.
///
/// Parameter values and dirty flags cross from the shell's thread to the audio thread like this. There is no
/// read-modify-write on purpose: a flag raised while a block clears it is lost, and callers who can't accept
/// that hand their writes over on the processing thread.
template <typename T>
class Relaxed {
 public:
  Relaxed(T initial = T{}) noexcept : stored(initial) {}
  Relaxed(const Relaxed& other) noexcept : stored(static_cast<T>(other)) {}
  Relaxed& operator=(const Relaxed& other) noexcept { return *this = static_cast<T>(other); }
  Relaxed& operator=(T next) noexcept {
    stored.store(next, std::memory_order_relaxed);
    return *this;
  }
  operator T() const noexcept { return stored.load(std::memory_order_relaxed); }

 private:
  static_assert(std::atomic<T>::is_always_lock_free && sizeof(std::atomic<T>) == sizeof(T));
  std::atomic<T> stored;
};

}  // namespace Vantora::dsp
