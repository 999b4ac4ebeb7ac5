#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <utility>

namespace Vantora::prims {

/// AlignedBuffer: an array of floats that starts on a cache
/// line (64 bytes), so that no wide load is ever split.
///
/// Contents   zero after construction and after every change of size; a copy copies them
/// Threads    construction, Resize and copying allocate (std::bad_alloc); the rest doesn't
class AlignedBuffer {
 public:
  static constexpr std::size_t kAlignment = 64;  // bytes

  AlignedBuffer() noexcept = default;

  /// `newCount` floats, all zero.
  explicit AlignedBuffer(std::size_t newCount) { Resize(newCount); }

  AlignedBuffer(const AlignedBuffer& other) : AlignedBuffer(other.count) {
    std::copy_n(other.Data(), count, Data());
  }

  AlignedBuffer(AlignedBuffer&& other) noexcept
      : floats(std::move(other.floats)), count(std::exchange(other.count, 0)) {}

  AlignedBuffer& operator=(AlignedBuffer other) noexcept {
    floats.swap(other.floats);
    std::swap(count, other.count);
    return *this;
  }

  /// Makes room for `newCount` floats. The present size keeps the contents, any other leaves zeros only.
  void Resize(std::size_t newCount) {
    if (newCount == count) return;
    std::unique_ptr<float[], Release> fresh;
    if (newCount > 0) {
      if (newCount > static_cast<std::size_t>(-1) / sizeof(float)) throw std::bad_array_new_length();
      void* memory = ::operator new (newCount * sizeof(float), std::align_val_t{kAlignment});
      fresh.reset(static_cast<float*>(memory));
      std::uninitialized_fill_n(fresh.get(), newCount, 0.0f);
    }
    floats = std::move(fresh);
    count = newCount;
  }

  /// Every float becomes `value`.
  void Fill(float value) noexcept { std::fill_n(floats.get(), count, value); }

  /// Pointer to the float at `index`; null when the buffer is empty.
  float* Data(std::size_t index = 0) noexcept { return floats ? floats.get() + index : nullptr; }
  const float* Data(std::size_t index = 0) const noexcept { return floats ? floats.get() + index : nullptr; }

  std::size_t Count() const noexcept { return count; }

  float& operator[](std::size_t index) noexcept { return floats[index]; }
  float operator[](std::size_t index) const noexcept { return floats[index]; }

 private:
  struct Release {
    void operator()(float* memory) const noexcept {
      ::operator delete (memory, std::align_val_t{kAlignment});
    }
  };

  std::unique_ptr<float[], Release> floats;
  std::size_t count = 0;
};

}  // namespace Vantora::prims
