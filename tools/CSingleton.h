#pragma once

#include <atomic>
#include <cstdlib>
#include <mutex>

namespace Vantora {

/// CSingleton: the one T of this library, built at first use and destroyed at
/// process exit or when the library is unloaded. Instances go in the reverse
/// order of their completion: one whose constructor uses another goes first.
///
/// A T that throws while it is built leaves nothing behind; the next use tries again.
template <typename T>
class CSingleton {
 public:
  /// The instance. Safe from any thread; allocates at first
  /// use only. T's constructor must not ask for itself.
  static T& Instance() {
    if (!ready.load(std::memory_order_acquire)) {  // pairs with the release below: sees the whole object
      const std::lock_guard lock(building);
      if (!ready.load(std::memory_order_relaxed)) {  // ordered by the mutex
        instance = new T();
        // By atexit and not by a static owner: the owners of two types would go in no order anyone can tell.
        std::atexit([] {
          ready.store(false, std::memory_order_relaxed);
          delete instance;
          instance = nullptr;
        });
        ready.store(true, std::memory_order_release);  // publishes *instance
      }
    }
    return *instance;
  }

  CSingleton(const CSingleton&) = delete;
  CSingleton& operator=(const CSingleton&) = delete;

 protected:
  CSingleton() = default;
  ~CSingleton() = default;

 private:
  static inline std::mutex building;
  static inline std::atomic<bool> ready{false};
  static inline T* instance = nullptr;
};

}  // namespace Vantora
