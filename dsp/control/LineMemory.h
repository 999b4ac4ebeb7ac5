#pragma once

#include <cstddef>
#include <utility>

namespace Vantora::dsp {

/// LineMemory: the floats of a delay line.
///
/// A long line lies in pages of its own, which go back to the system with it: from the heap's mixture of long
/// and short blocks little returns after many instances have come and gone. The pages are there from the
/// start, so that no block of sound has to wait for one. A short line is an ordinary allocation.
class LineMemory {
 public:
  LineMemory() = default;
  ~LineMemory() { Release(); }
  LineMemory(LineMemory&& other) noexcept
      : floats(std::exchange(other.floats, nullptr)), count(std::exchange(other.count, 0)) {}
  LineMemory& operator=(LineMemory&& other) noexcept {
    std::swap(floats, other.floats);
    std::swap(count, other.count);
    return *this;
  }
  LineMemory(const LineMemory&) = delete;

  /// Makes room for `newCount` floats, 0 at first; the present size keeps room and contents. Throws
  /// std::bad_alloc.
  void Resize(std::size_t newCount);

  float* Data() noexcept { return floats; }

 private:
  void Release() noexcept;

  float* floats = nullptr;
  std::size_t count = 0;
};

}  // namespace Vantora::dsp
