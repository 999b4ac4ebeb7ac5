#pragma once

#include <array>
#include <cstdint>
#include <cstring>

#include "basictools/math/Xorshift.h"

namespace Vantora {

/// Many steps of `XorshiftStep` at once. A step is linear over bits, so that any number of steps are one
/// linear map: what it makes of each bit that is set, added up without carry. A number of steps is taken by
/// its two digits to the base of 32, without a branch: whose map is fetched doesn't wait for the other one.
class XorshiftJump {
 public:
  static constexpr uint32_t kBase = 32;
  static constexpr uint32_t kMost = kBase * kBase - 1;  ///< steps
  static constexpr uint32_t kHalf = (kMost + 1) / 2;

  /// The state after `steps` steps from `x`, at most kMost of them.
  static uint32_t Apply(uint32_t x, uint32_t steps) noexcept {
    return OfFours(kMaps[1][steps / kBase], OfFours(kMaps[0][steps % kBase], x));
  }

  /// The state after kHalf steps from `x`, in half of the time.
  static uint32_t ApplyHalf(uint32_t x) noexcept { return OfFours(kMaps[1][kBase / 2], x); }

 private:
  using Map = std::array<uint32_t, 32>;  // of each bit
  using Digit = std::array<Map, kBase>;  // that many steps of the digit

  static constexpr uint32_t OfBits(const Map& map, uint32_t x) noexcept {
    uint32_t y = 0;
    for (uint32_t bit = 0; bit < 32; ++bit) y ^= map[bit] & (0u - (x >> bit & 1u));
    return y;
  }

  // Four bits at a time.
  static uint32_t OfFours(const Map& map, uint32_t x) noexcept {
    using Uint4 = uint32_t __attribute__((vector_size(16)));
    const Uint4 all{x, x, x, x};
    Uint4 bits{1, 2, 4, 8};
    Uint4 y{};
    for (uint32_t four = 0; four < 32; four += 4, bits <<= 4) {
      Uint4 made;
      std::memcpy(&made, map.data() + four, sizeof(made));
      y ^= made & static_cast<Uint4>((all & bits) != 0);
    }
    return (y[0] ^ y[1]) ^ (y[2] ^ y[3]);
  }

  static constexpr std::array<Digit, 2> MakeMaps() noexcept {
    std::array<Digit, 2> maps{};
    for (uint32_t bit = 0; bit < 32; ++bit) {
      uint32_t x = 1u << bit;
      for (uint32_t steps = 0; steps < kBase; ++steps, x = XorshiftStep(x)) maps[0][steps][bit] = x;
    }
    for (uint32_t bit = 0; bit < 32; ++bit) {
      uint32_t x = 1u << bit;
      for (uint32_t rounds = 0; rounds < kBase; ++rounds) {
        maps[1][rounds][bit] = x;
        x = XorshiftStep(OfBits(maps[0][kBase - 1], x));
      }
    }
    return maps;
  }

  static const std::array<Digit, 2> kMaps;
};

alignas(64) inline constexpr std::array<XorshiftJump::Digit, 2> XorshiftJump::kMaps =
    XorshiftJump::MakeMaps();

}  // namespace Vantora
