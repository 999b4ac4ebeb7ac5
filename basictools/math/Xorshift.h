#pragma once

#include <cstdint>

namespace Vantora {

/// One step of the 32-bit xorshift generator with the shifts 13, 17, 5 (G. Marsaglia, "Xorshift RNGs", 2003).
/// The period is 2^32 - 1; a state of 0 stays 0.
constexpr uint32_t XorshiftStep(uint32_t x) noexcept {
  x ^= x << 13;
  x ^= x >> 17;
  x ^= x << 5;
  return x;
}

/// A draw as a float in -1..1.
constexpr float ToBipolar(uint32_t draw) noexcept { return static_cast<float>(draw) * 4.656613e-10f - 1.0f; }

/// A draw as a float in 0..1.
constexpr float ToUnipolar(uint32_t draw) noexcept { return static_cast<float>(draw) * 2.3283064e-10f; }

}  // namespace Vantora
