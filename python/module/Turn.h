#pragma once

#include <pybind11/pybind11.h>

#include <atomic>
#include <chrono>
#include <cstdint>

#include "host/HostError.h"

namespace Vantora::python {

/// Turn: one thread's time with an object that only one may have at a time. Another one gets an error instead
/// of waiting with the interpreter's lock in its hands.
class Turn {
 public:
  explicit Turn(std::atomic_flag& itsFlag) : flag(itsFlag) {
    if (flag.test_and_set(std::memory_order_acquire)) {
      throw host::HostError("This object is at work in another thread; make one for each thread.");
    }
  }
  ~Turn() { flag.clear(std::memory_order_release); }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

 private:
  std::atomic_flag& flag;
};

/// Calls `work(at, count)` for pieces of `total` frames without the interpreter's lock. Every tenth of a
/// second the lock is taken back for a moment, so that Ctrl-C is answered: whatever Python raises then ends
/// the work. The pieces have no influence on a result, as every stream here gathers its own blocks.
template <typename Work>
void InSlices(uint64_t total, Work&& work) {
  using Clock = std::chrono::steady_clock;
  constexpr uint64_t kPiece = 4096;  // frames: a few milliseconds at most
  constexpr auto kPatience = std::chrono::milliseconds(100);
  for (uint64_t at = 0; at < total;) {
    {
      const pybind11::gil_scoped_release release;
      for (const auto begin = Clock::now(); at < total && Clock::now() - begin < kPatience;) {
        const uint64_t count = std::min(kPiece, total - at);
        work(at, count);
        at += count;
      }
    }
    if (PyErr_CheckSignals() != 0) throw pybind11::error_already_set();
  }
}

}  // namespace Vantora::python
