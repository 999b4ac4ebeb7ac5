#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <system_error>
#include <thread>
#include <utility>

#include "dsp/convolution/CommandQueue.h"
#include "dsp/convolution/WorkerPace.h"
#include "dsp/convolution/WorkerSleep.h"

namespace Vantora::dsp {

/// WorkerThread: a thread that runs the commands of its queue and sleeps when there are none.
///
/// Whoever enqueues calls Wake, once for all that it enqueued. A count of wake-ups stands in for a flag under
/// a mutex: the thread reads it before it empties the queue and sleeps only while it is still the same, so no
/// wake-up can fall between its last look at the queue and its sleep, and nobody ever waits for a lock that
/// it holds while it works.
///
/// Where work comes at an even pace (SetPace), the thread looks for it by itself. WakeSoon leaves it to that,
/// which spares the producer a system call that can cost more than its whole block.
///
/// With `cancelCounter` above 0 commands are run as cancelled, until a marker among them lowers it again or
/// the queue is empty. `Derived` provides `ThreadScope`, an object that lives as long as the thread's body,
/// and stops the thread in its destructor. `Atomic` is the seam for the test that tries every order.
template <typename Derived, template <typename> class Atomic = std::atomic>
class WorkerThread {
 public:
  using CommandQueue = dsp::CommandQueue<64, 10, Atomic>;

  virtual ~WorkerThread() = default;

  /// Starts the thread under `name`, at most 15 characters.
  /// Throws std::system_error when there is none to be had.
  void Start(const char* name) {
    stop.store(false, std::memory_order_relaxed);
    // A process' first look at the clock waits for the page that it lies on; better here than in a block.
    static_cast<void>(WorkerPace::Clock::now());
    try {
      thread = std::thread([this, name] { Run(name); });
    } catch (const std::system_error& error) {
      throw std::system_error(error.code(), "thread constructor failed");
    }
  }

  bool IsRunning() const noexcept { return thread.joinable(); }

  /// The time between two pieces of work while they come at their usual pace, from the thread's next start
  /// on; 0, as at first, when there is none. No meaning where the system knows no sleep with a deadline.
  void SetPace(WorkerPace::Clock::duration period) noexcept { workPeriod = period; }

  /// [producer] There is something to do.
  void Wake() noexcept {
    if (sleep.Announce() != Sleep::kAwake) sleep.End();
  }

  /// What WakeSoon found.
  enum class Reached { Yes, AtTheEndOfItsNap, NotYet };

  /// [producer] There is something to do, which may wait until the thread looks by itself. `NotYet` when it
  /// doesn't: Wake or WakeThrough must follow. After `AtTheEndOfItsNap` they may, when time presses.
  Reached WakeSoon() noexcept {
    // Published by the announcement. A thread that is woken takes the time itself: where reading the clock
    // is a system call, the block's one is spent.
    if (sleep.DepthNow() != Sleep::kAsleep) {
      announcedAt.store(WorkerPace::Clock::now().time_since_epoch().count(), std::memory_order_relaxed);
    }
    switch (sleep.Announce()) {
      case Sleep::kAwake:
        return Reached::Yes;
      case Sleep::kNapping:
        return Reached::AtTheEndOfItsNap;
      default:
        return Reached::NotYet;
    }
  }

  /// [producer] There is something to do here, and `first` is to end this thread's sleep: a producer that has
  /// work for several threads enters the kernel once, for the first of them. `Wake` of `first` must follow,
  /// or a WakeSoon that reaches it, when this thread's work can wait as long.
  /// Both must live as long as either runs.
  void WakeThrough(WorkerThread& first) noexcept {
    WorkerThread* const earlier = first.relayTo.exchange(this, std::memory_order_acq_rel);
    // Not passed on yet, as `first` is at work: that thread must not wait for another's turn.
    if (earlier != nullptr && earlier != this) earlier->Wake();
  }

  /// [producer] Whether the thread may be in a nap, and what was announced still wait for its end.
  bool IsNapping() const noexcept { return sleep.DepthNow() == Sleep::kNapping; }

  /// Asks the thread to end once its queue is empty.
  void RequestStop() noexcept {
    stop.store(true, std::memory_order_release);
    Wake();
  }

  /// Waits for the end of the thread, if there is one.
  void Join() {
    if (thread.joinable()) thread.join();
  }

  /// Called once at the start of the thread, with `workerIndex`.
  void SetStartHook(std::function<void(uint64_t)> hook, uint64_t workerIndex) {
    startHook = std::move(hook);
    index = workerIndex;
  }

  CommandQueue& Queue() noexcept { return queue; }
  const Atomic<int32_t>& CancelCounter() const noexcept { return cancelCounter; }

 protected:
  /// Whether another thread's sleep is still to be ended through this one.
  bool HasToPassOn() const noexcept { return relayTo.load(std::memory_order_relaxed) != nullptr; }

  Atomic<int32_t> cancelCounter{0};
  CommandQueue queue;

 private:
  using Sleep = WorkerSleep<Atomic>;

  void PassOn() noexcept {
    if (relayTo.load(std::memory_order_relaxed) == nullptr) return;
    if (WorkerThread* const other = relayTo.exchange(nullptr, std::memory_order_acq_rel)) other->Wake();
  }

  void Run(const char* name) {
    pthread_setname_np(pthread_self(), name);
    const typename Derived::ThreadScope scope;
    if (startHook) startHook(index);
    RunUntilStopped();
  }

 protected:
  /// The thread's work: returns after RequestStop, on an empty queue.
  void RunUntilStopped() noexcept {
    WorkerPace pace;
    if (KernelSleep::kKnowsDeadlines) pace.SetPeriod(workPeriod);
    int64_t lastAnnounced = 0;
    for (;;) {
      const uint32_t seen = sleep.Announced();
      const WorkerPace::Clock::time_point now = WorkerPace::Clock::now();
      const int64_t announced = announcedAt.load(std::memory_order_relaxed);
      if (!EmptyQueue()) {
        pace.SawNothing(now);
      } else if (std::exchange(lastAnnounced, announced) != announced) {
        pace.SawWork(WorkerPace::Clock::time_point(WorkerPace::Clock::duration(announced)));
      } else {
        pace.SawWork(now);
      }
      if (stop.load(std::memory_order_acquire)) {
        EmptyQueue();  // of what was enqueued between the last look at it and the request
        return;
      }
      sleep.Rest(seen, pace.NextLook());
    }
  }

 private:
  // True when there was something in it.
  bool EmptyQueue() noexcept {
    for (bool hasRun = false;; hasRun = true) {
      PassOn();
      if (cancelCounter.load(std::memory_order_acquire) > 0) {
        // A marker may have found the ring full; without it an empty ring ends the cancelling. A cancel that
        // is under way at that moment may be ended too, or be taken for the next one: its commands then run,
        // into results that the audio thread has marked as stale.
        if (!queue.ExecuteOne(true)) cancelCounter.store(0, std::memory_order_release);
      } else if (!queue.ExecuteOne(false)) {
        return hasRun;
      }
    }
  }

  std::thread thread;
  Atomic<bool> stop{false};
  Sleep sleep;
  Atomic<WorkerThread*> relayTo{nullptr};  // whose sleep this thread is to end
  std::function<void(uint64_t)> startHook;
  uint64_t index = 0;
  WorkerPace::Clock::duration workPeriod{0};
  std::atomic<int64_t> announcedAt{0};  // time of the last WakeSoon, in the clock's units
};

}  // namespace Vantora::dsp
