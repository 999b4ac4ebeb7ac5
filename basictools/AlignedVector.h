#pragma once

#include <cstddef>
#include <new>
#include <vector>

namespace Vantora {

/// AlignedAllocator: memory that begins on a cache line, so that wide loads never split.
template <typename T>
struct AlignedAllocator {
  using value_type = T;
  static constexpr std::align_val_t kAlignment{64};

  AlignedAllocator() = default;
  template <typename U>
  AlignedAllocator(const AlignedAllocator<U>&) noexcept {}

  T* allocate(std::size_t count) { return static_cast<T*>(::operator new(count * sizeof(T), kAlignment)); }
  void deallocate(T* memory, std::size_t) noexcept { ::operator delete(memory, kAlignment); }

  friend bool operator==(const AlignedAllocator&, const AlignedAllocator&) { return true; }
};

/// A vector of floats whose first element lies on a cache line.
using AlignedFloats = std::vector<float, AlignedAllocator<float>>;

}  // namespace Vantora
