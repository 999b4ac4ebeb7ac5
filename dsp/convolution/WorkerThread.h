#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <system_error>
#include <thread>
#include <utility>

#include "dsp/convolution/CommandQueue.h"

namespace Vantora::dsp {

/// WorkerThread: a thread that runs the commands of its queue and sleeps when there are none.
///
/// Whoever enqueues calls Wake, once for all that it enqueued. A count of wake-ups stands in for a flag under
/// a mutex: the thread reads it before it empties the queue and sleeps only while it is still the same, so no
/// wake-up can fall between its last look at the queue and its sleep, and nobody ever waits for a lock that
/// it holds while it works.
///
/// With `cancelCounter` above 0 commands are run as cancelled, until a marker among them lowers it again or
/// the queue is empty. `Derived` provides `ThreadScope`, an object that lives as long as the thread's body,
/// and stops the thread in its destructor.
template <typename Derived>
class WorkerThread {
 public:
  using CommandQueue = dsp::CommandQueue<64, 10>;

  virtual ~WorkerThread() = default;

  /// Starts the thread under `name`, at most 15 characters.
  /// Throws std::system_error when there is none to be had.
  void Start(const char* name) {
    stop.store(false, std::memory_order_relaxed);
    try {
      thread = std::thread([this, name] { Run(name); });
    } catch (const std::system_error& error) {
      throw std::system_error(error.code(), "thread constructor failed");
    }
  }

  bool IsRunning() const noexcept { return thread.joinable(); }

  /// [producer] There is something to do.
  void Wake() noexcept {
    Announce();
    wake.notify_one();
  }

  /// [producer] There is something to do here, and `first` is to end this thread's sleep: a producer that has
  /// work for several threads enters the kernel once, for the first of them. `Wake` of `first` must follow.
  /// Both must live as long as either runs.
  void WakeThrough(WorkerThread& first) noexcept {
    Announce();
    WorkerThread* const earlier = first.relayTo.exchange(this, std::memory_order_acq_rel);
    // Not passed on yet, as `first` is at work: that thread must not wait for another's turn.
    if (earlier != nullptr && earlier != this) earlier->wake.notify_one();
  }

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
  const std::atomic<int32_t>& CancelCounter() const noexcept { return cancelCounter; }

 protected:
  std::atomic<int32_t> cancelCounter{0};
  CommandQueue queue;

 private:
  // seq_cst: the count and the thread's own "I sleep now" in `wait` must be seen in one order, or each side
  // could miss the other.
  void Announce() noexcept { wake.fetch_add(1, std::memory_order_seq_cst); }

  void PassOn() noexcept {
    if (relayTo.load(std::memory_order_relaxed) == nullptr) return;
    if (WorkerThread* const other = relayTo.exchange(nullptr, std::memory_order_acq_rel))
      other->wake.notify_one();
  }

  void Run(const char* name) {
    pthread_setname_np(pthread_self(), name);
    const typename Derived::ThreadScope scope;
    if (startHook) startHook(index);
    for (;;) {
      const uint32_t seen = wake.load(std::memory_order_seq_cst);
      EmptyQueue();
      if (stop.load(std::memory_order_acquire)) return;
      wake.wait(seen, std::memory_order_seq_cst);
    }
  }

  void EmptyQueue() noexcept {
    for (;;) {
      PassOn();
      if (cancelCounter.load(std::memory_order_acquire) > 0) {
        // A marker may have found the ring full; without it an empty ring ends the cancelling.
        if (!queue.ExecuteOne(true)) cancelCounter.store(0, std::memory_order_release);
      } else if (!queue.ExecuteOne(false)) {
        return;
      }
    }
  }

  std::thread thread;
  std::atomic<bool> stop{false};
  std::atomic<uint32_t> wake{0};
  std::atomic<WorkerThread*> relayTo{nullptr};  // whose sleep this thread is to end
  std::function<void(uint64_t)> startHook;
  uint64_t index = 0;
};

}  // namespace Vantora::dsp
