#pragma once

#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Vantora::host {

/// LatestValues: what a user's hand does to the parameters, on its way to the thread that processes. The last
/// value wins: a parameter has one place for its next value and a bit that says that it is new, so that any
/// number of writes while nothing is processed fills nothing and ends in the last one.
///
/// `Atomic` is the seam for the test that tries every order of these loads and stores.
template <template <typename> class Atomic = std::atomic>
class LatestValuesOf {
 public:
  /// For parameters 0 to `count` - 1. Allocates.
  explicit LatestValuesOf(size_t count) : values(count), fresh((count + 63) / 64) {}

  /// [any thread, real-time safe] The value to take at the next block. False: no such parameter.
  bool Write(uint32_t index, float normalized) {
    if (index >= values.size()) return false;
    // Relaxed: the bit publishes the value.
    values[index].store(normalized, std::memory_order_relaxed);
    fresh[index / 64].fetch_or(uint64_t{1} << (index % 64), std::memory_order_release);
    // Changed and not stored: two writers' bits are both seen by who sees either's.
    isAnyFresh.fetch_or(1, std::memory_order_release);
    return true;
  }

  /// [process] Whether a value waits. Asked before every block, and nearly always none does.
  bool IsWaiting() const { return isAnyFresh.load(std::memory_order_relaxed) != 0; }

  /// [process] Calls `apply(index, normalized)` for each parameter written since the last call, by index.
  template <typename Apply>
  void Take(Apply&& apply) {
    if (!IsWaiting()) return;
    isAnyFresh.exchange(0, std::memory_order_acquire);
    for (size_t word = 0; word < fresh.size(); ++word) {
      if (fresh[word].load(std::memory_order_relaxed) == 0) continue;
      // A value stored between the two steps is taken now, and once more with its own bit: the same value.
      for (uint64_t bits = fresh[word].exchange(0, std::memory_order_acquire); bits != 0; bits &= bits - 1) {
        const size_t index = word * 64 + static_cast<size_t>(std::countr_zero(bits));
        apply(static_cast<uint32_t>(index), values[index].load(std::memory_order_relaxed));
      }
    }
  }

 private:
  std::vector<Atomic<float>> values;
  std::vector<Atomic<uint64_t>> fresh;
  Atomic<uint64_t> isAnyFresh{0};
};

using LatestValues = LatestValuesOf<>;

}  // namespace Vantora::host
