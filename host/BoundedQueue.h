#pragma once

#include <atomic>
#include <bit>
#include <cstddef>
#include <vector>

namespace Vantora::host {

/// BoundedQueue: small values from any number of writers to
/// one reader. Never waits, allocates at construction only.
///
/// A ring in which every slot carries the number of the turn it is ready for, after Dmitry Vyukov's bounded
/// queue: slot i waits for the writer of turn i, then for the reader of the same turn, then for the writer of
/// turn i + size. A writer that is interrupted between taking its turn and publishing hides what was written
/// behind it until it goes on; the reader just finds nothing meanwhile.
///
/// `Atomic` is the seam for the test that tries every order of these loads and stores.
template <typename T, template <typename> class Atomic = std::atomic>
class BoundedQueue {
 public:
  /// Room for at least `capacity` values.
  explicit BoundedQueue(size_t capacity) : slots(std::bit_ceil(capacity)), mask(slots.size() - 1) {
    for (size_t i = 0; i < slots.size(); ++i) slots[i].turn.store(i, std::memory_order_relaxed);
  }

  /// [any thread] False when full.
  bool Push(const T& value) {
    size_t turn = nextWrite.load(std::memory_order_relaxed);
    while (true) {
      Slot& slot = slots[turn & mask];
      const size_t ready =
          slot.turn.load(std::memory_order_acquire);  // pairs with the reader's release below
      if (ready == turn) {
        // Relaxed: who has the turn owns the slot; the value is published through the slot's own number.
        if (nextWrite.compare_exchange_weak(turn, turn + 1, std::memory_order_relaxed)) {
          slot.value = value;
          slot.turn.store(turn + 1, std::memory_order_release);
          return true;
        }
      } else if (ready < turn) {
        return false;  // still holds the value of the round before
      } else {
        turn = nextWrite.load(std::memory_order_relaxed);  // another writer was faster
      }
    }
  }

  /// [the reader] Whether there is nothing to pop.
  bool IsEmpty() const { return slots[nextRead & mask].turn.load(std::memory_order_acquire) != nextRead + 1; }

  /// [one reader] False when there is nothing.
  bool Pop(T& value) {
    if (IsEmpty()) return false;
    Slot& slot = slots[nextRead & mask];
    value = slot.value;
    slot.turn.store(nextRead + slots.size(), std::memory_order_release);
    ++nextRead;
    return true;
  }

 private:
  struct Slot {
    Atomic<size_t> turn;
    T value;
  };
  std::vector<Slot> slots;
  const size_t mask;
  alignas(64) Atomic<size_t> nextWrite{0};  // the writers'
  alignas(64) size_t nextRead = 0;          // the reader's
};

}  // namespace Vantora::host
