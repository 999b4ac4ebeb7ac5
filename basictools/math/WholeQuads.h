#pragma once

#include <cstdint>

namespace Vantora {

/// The part of `count` that whole groups of four cover: `count` rounded down to a multiple of 4. Block loops
/// run that far and leave what lies behind as it was; every block length of the engine is a multiple of 4.
constexpr uint32_t WholeQuads(uint32_t count) noexcept { return count & ~3u; }

/// `count` rounded up to a multiple of 4: what a buffer needs for whole groups to cover all of it.
constexpr uint32_t WholeQuadsAbove(uint32_t count) noexcept { return WholeQuads(count + 3u); }

/// Floats that a vector loop may go beyond its count, in a buffer that has room for it.
inline constexpr uint32_t kVectorPadding = 16;

/// `count` rounded up to whole vectors of any machine.
constexpr uint32_t WholeVectors(uint32_t count) noexcept {
  return (count + kVectorPadding - 1u) & ~(kVectorPadding - 1u);
}

}  // namespace Vantora
