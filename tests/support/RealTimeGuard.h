#pragma once

#include <cstdint>
#include <string>

namespace Vantora::test {

/// What a thread did that an audio thread must not do.
struct RealTimeViolations {
  uint64_t allocations = 0;  ///< malloc, new and their siblings
  uint64_t releases = 0;     ///< free, delete
  uint64_t locks = 0;        ///< mutexes, read-write locks, conditions, semaphores
  uint64_t throws = 0;
  uint64_t systemCalls = 0;
  uint64_t pageFaults = 0;  ///< first touches of memory, and the kernel's taking pages back: see `LockMemory`

  /// Nothing but page faults, which in memory that isn't locked can be the kernel's own doing.
  bool None() const { return (allocations | releases | locks | throws | systemCalls) == 0; }
  std::string Text() const;
};

/// RealTimeGuard: watches the calling thread from construction to `Stop`.
///
/// Allocation, lock and throw entry points are interposed in the test's executable, so
/// that libraries opened with dlopen are caught too; system calls are caught by the
/// kernel's Syscall User Dispatch, so that inlined ones are. In builds with a sanitizer,
/// which interposes the same entry points, it watches page faults only. Guards don't nest.
class RealTimeGuard {
 public:
  RealTimeGuard();
  ~RealTimeGuard();
  RealTimeGuard(const RealTimeGuard&) = delete;
  RealTimeGuard& operator=(const RealTimeGuard&) = delete;

  /// Ends the watch. Counts since construction.
  RealTimeViolations Stop();

  /// Locks the process's memory, present and future, so that every
  /// page fault is the watched code's. False without the right to.
  static bool LockMemory();

  /// Whether everything but page faults is watched in this build and on this kernel.
  static bool WatchesEverything();

 private:
  uint64_t faultsBefore = 0;
  bool running = true;
};

/// Makes the calling thread's `which`-th call of malloc from now on answer null, once; 0 calls it off. Needs
/// the interposed entry points, see `WatchesEverything`.
void FailMalloc(uint64_t which);

/// Runs `work` under a guard and returns what it did wrong. The road on which every test calls `Process`:
///     EXPECT_TRUE(Watch([&] { processor.Process(&data); }).None());
template <typename Work>
RealTimeViolations Watch(Work&& work) {
  RealTimeGuard guard;
  work();
  return guard.Stop();
}

}  // namespace Vantora::test

/// Expects that the statement neither allocates, frees, locks, throws nor enters the kernel.
#define EXPECT_REAL_TIME(statement)                                                           \
  do {                                                                                        \
    const auto violations = ::Vantora::test::Watch([&] { statement; });                       \
    EXPECT_TRUE(violations.None()) << "not real-time: " #statement ": " << violations.Text(); \
  } while (false)
