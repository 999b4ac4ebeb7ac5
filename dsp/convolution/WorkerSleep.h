#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

namespace Vantora::dsp {

/// The kernel's part in a sleep: a thread rests while a word holds a value, until it is woken or a moment
/// comes.
struct KernelSleep {
  using Clock = std::chrono::steady_clock;
  using Word = std::atomic<uint32_t>;

#if defined(__linux__)
  /// Whether a rest may have a deadline.
  static constexpr bool kKnowsDeadlines = true;

  /// Rests while `word` is `seen`. May return early. Clock::time_point::max() is no deadline.
  static void Rest(Word& word, uint32_t seen, Clock::time_point deadline) noexcept;
  /// Ends the rest of the one thread that may be in Rest with `word`. A system call.
  static void End(Word& word) noexcept;
#else
  static constexpr bool kKnowsDeadlines = false;
#endif

  /// The same where nothing is known of the kernel, without deadlines.
  template <typename Other>
  static void Rest(Other& word, uint32_t seen, Clock::time_point) noexcept {
    word.wait(seen, std::memory_order_seq_cst);
  }
  template <typename Other>
  static void End(Other& word) noexcept {
    word.notify_one();
  }
};

/// WorkerSleep: how a worker goes to sleep without missing what is announced, and how whoever announces
/// knows whether that takes a system call.
///
///     producer                       worker
///     enqueue                        seen = Announced()
///     count += 1        (seq_cst)    empty the queue
///     awake? done       (seq_cst)    say asleep            (seq_cst)
///     otherwise End()                count still seen?     (seq_cst)   then the kernel looks once more
///
/// Either the producer sees that the worker is about to rest, or the worker sees the count. With release and
/// acquire alone each could miss the other, as a store may still be on its way when the load after it is
/// done.
///
/// A nap is a rest with a deadline: the worker looks by itself then, so that the producer need not end it as
/// long as that is soon enough.
///
/// `Atomic` is the seam for the test that tries every order of these operations.
template <template <typename> class Atomic = std::atomic>
class WorkerSleep {
 public:
  using Clock = KernelSleep::Clock;
  enum Depth : uint32_t { kAwake, kNapping, kAsleep };

  /// [producer] There is something to do. Tells how deep the worker may be
  /// resting: unless it is awake, the announcement reaches it by End, or by the end of its nap.
  Depth Announce() noexcept {
    count.fetch_add(1, std::memory_order_seq_cst);
    return static_cast<Depth>(depth.load(std::memory_order_seq_cst));
  }

  /// [any thread] Ends the worker's rest, if there is one.
  void End() noexcept { KernelSleep::End(count); }

  /// [any thread] Whether the worker may be resting. What was announced before and hasn't been
  /// run yet will be, without End, only if this is `kAwake`, or at the end of the nap.
  Depth DepthNow() const noexcept { return static_cast<Depth>(depth.load(std::memory_order_seq_cst)); }

  /// [worker] To be asked before the queue is emptied.
  uint32_t Announced() const noexcept { return count.load(std::memory_order_seq_cst); }

  /// [worker] Rests until something is announced and End is called, or until `deadline`; not at all when
  /// something was announced since `seen`. May return for nothing.
  void Rest(uint32_t seen, Clock::time_point deadline) noexcept {
    depth.store(deadline == Clock::time_point::max() ? kAsleep : kNapping, std::memory_order_seq_cst);
    if (count.load(std::memory_order_seq_cst) == seen) KernelSleep::Rest(count, seen, deadline);
    depth.store(kAwake, std::memory_order_seq_cst);
  }

 private:
  Atomic<uint32_t> count{0};       // of announcements
  Atomic<uint32_t> depth{kAwake};  // Depth of the worker's rest
};

}  // namespace Vantora::dsp
