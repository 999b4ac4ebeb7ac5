#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "dsp/convolution/CommandQueue.h"

namespace Vantora::dsp {

/// What a resource manager owns: an object with other holders, whose number can be asked.
class ResourceBase {
 public:
  virtual ~ResourceBase() = default;
  /// Holders of the object, the manager included; 0 when there is no object.
  virtual int64_t UseCount() const = 0;
};

/// A shared object under management.
template <typename T>
class Resource final : public ResourceBase {
 public:
  explicit Resource(std::shared_ptr<T> object) : held(std::move(object)) {}
  int64_t UseCount() const override { return held.use_count(); }

 private:
  std::shared_ptr<T> held;
};

/// The part of the manager that doesn't depend on its queues: the objects and their mutex.
class ResourceList {
 public:
  /// Appends a resource. Takes the mutex, so never on the audio thread.
  void Add(std::unique_ptr<ResourceBase> resource);
  /// Drops, and so destroys on the calling thread, every object that nobody else holds.
  void Collect();
  /// Drops every object.
  void Clear();
  size_t Count() const;

 private:
  mutable std::mutex mutex;
  std::vector<std::unique_ptr<ResourceBase>> resources;
};

/// Sleeps `milliseconds`; not at all for 0 or less. The longest sleep is what 64 bits of nanoseconds can say.
void SleepMilliseconds(int64_t milliseconds);

/// ResourceManager: builds and destroys large objects for the audio thread, on a thread of its own.
///
/// The audio thread only ever lets go of its std::shared_ptr. The manager holds another one, so that the last
/// owner is the manager and the destructor runs here. `Queue()` carries work to the manager's thread,
/// `AudioQueue()` carries its results to the audio thread.
///
/// Threads: the audio thread produces for Queue and consumes
/// AudioQueue; the manager's thread does the reverse.
template <size_t Size, uint64_t Capacity>
class ResourceManager {
 public:
  using CommandQueue = dsp::CommandQueue<Size, Capacity>;
  using ResourceBase = dsp::ResourceBase;
  template <typename T>
  using Resource = dsp::Resource<T>;

  explicit ResourceManager(int64_t pollingMilliseconds = 10) : pollingTimeMs(pollingMilliseconds) {}
  ~ResourceManager() { StopAndJoin(); }
  ResourceManager(const ResourceManager&) = delete;
  ResourceManager& operator=(const ResourceManager&) = delete;

  /// Starts the manager's thread. Throws std::system_error when there is none to be had.
  void Start() { thread = std::thread(&ResourceManager::Run, this); }

  /// Ends the thread after the pass it is in. Commands still queued don't run. May be called again.
  void StopAndJoin() {
    stopRequested.store(true, std::memory_order_release);
    if (thread.joinable()) thread.join();
  }

  /// True from the moment the thread has been asked to end: long commands look here between their steps.
  bool IsStopRequested() const noexcept { return stopRequested.load(std::memory_order_acquire); }

  /// [not the audio thread] Keeps `object` alive until nobody
  /// else holds it, and destroys it on the manager's thread.
  template <typename T>
  void Manage(std::shared_ptr<T> object) {
    resources.Add(std::make_unique<Resource<T>>(std::move(object)));
  }

  CommandQueue& Queue() noexcept { return queue; }
  CommandQueue& AudioQueue() noexcept { return audioQueue; }
  /// Objects under management.
  size_t ResourceCount() const { return resources.Count(); }

  /// Body of the manager's thread: until it shall stop, drops what nobody else holds, runs what is queued,
  /// and sleeps.
  void Run() {
    while (!IsStopRequested()) {
      resources.Collect();
      while (queue.ExecuteOne(false)) {
      }
      SleepMilliseconds(pollingTimeMs);
    }
  }

 private:
  // Destroyed from the last to the first: commands in the
  // queues refer to resources, so the resources go last.
  ResourceList resources;
  CommandQueue queue;
  CommandQueue audioQueue;
  std::atomic<bool> stopRequested{false};
  int64_t pollingTimeMs;  // 0 or less: no sleep between two passes
  std::thread thread;
};

}  // namespace Vantora::dsp
