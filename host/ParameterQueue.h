#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "host/BoundedQueue.h"

namespace Vantora::host {

/// ParameterWrite: one value for one parameter, at a moment of the stream.
struct ParameterWrite {
  uint32_t index = 0;       ///< flat parameter index
  float normalized = 0.0f;  ///< 0 to 1
  uint64_t position =
      0;  ///< sample of the stream at which it is wanted; past samples mean "at the next block"
};

/// ParameterQueue: hands parameter writes of any number of threads to the one that processes. Never waits.
///
/// A write waits here until the block that holds its position; within a block, writes come out in the order
/// of their positions, equal positions in the order of their arrival. The bound counts everything that waits.
class ParameterQueue {
 public:
  static constexpr size_t kLargestCapacity = 1 << 16;

  /// Room for `capacity` entries, 1 to `kLargestCapacity`. Allocates.
  explicit ParameterQueue(size_t capacity);
  ~ParameterQueue();

  /// [any thread, real-time safe] False when full: the write is dropped and the caller knows.
  bool Push(const ParameterWrite& write);

  /// [any thread; allocates] Writes that take effect together before one
  /// block, in their order; their own positions are ignored, `position`
  /// holds for all. They count as one entry. False when full: none is taken.
  bool PushTogether(std::vector<ParameterWrite> writes, uint64_t position = 0);

  /// [process] Whether anything waits, due or not. Relaxed: what was written before this call on the caller's
  /// own account is seen; another thread's write that isn't yet comes out at the next block.
  bool IsWaiting() const { return occupied.load(std::memory_order_relaxed) != 0; }

  /// [process] Takes out what is due in the block of samples `begin` to `end` (exclusive) and calls
  /// `apply(index, normalized)` for each write.
  template <typename Apply>
  void TakeDue(uint64_t begin, uint64_t end, Apply&& apply) {
    if (!IsWaiting()) return;
    CollectArrivals(begin);
    while (const Entry* entry = NextDue(end)) {
      if (entry->group != nullptr) {
        for (const ParameterWrite& write : entry->group->writes) apply(write.index, write.normalized);
      } else {
        apply(entry->write.index, entry->write.normalized);
      }
      RemoveFirst();
    }
  }

 private:
  struct Group {
    std::vector<ParameterWrite> writes;
    Group* next = nullptr;  // in the list of spent groups
  };
  struct Entry {
    ParameterWrite write;
    Group* group;       // null for a single write
    uint64_t sequence;  // order of arrival, given by the processing thread
  };

  static bool IsLater(const Entry& a, const Entry& b) {
    return a.write.position != b.write.position ? a.write.position > b.write.position
                                                : a.sequence > b.sequence;
  }
  bool Offer(const ParameterWrite& write, Group* group);
  void CollectArrivals(uint64_t begin);
  const Entry* NextDue(uint64_t end) const;
  void RemoveFirst();
  void FreeSpentGroups();

  const size_t capacity;
  BoundedQueue<Entry> arrivals;
  std::atomic<size_t> occupied{0};     // entries in `arrivals` and `waiting`: bounds both
  std::atomic<Group*> spent{nullptr};  // groups the processing thread is done with, freed by their writers
  // Owned by the processing thread.
  std::vector<Entry> waiting;  // a heap, earliest first; never grows beyond its reserve
  uint64_t sequence = 0;
};

}  // namespace Vantora::host
