#pragma once

#include <cstdint>

#include "basictools/BitCast.h"

namespace Vantora {

// Fast logarithm and power to base 2, as one division and a line each. Their errors, up to 1e-4 of the
// result, belong to the values that the engine computes with them: the order of the terms is fixed, single
// precision throughout, nothing fused.

/// Base-2 logarithm of a positive, normal number; absolute error below 1e-4. FastLog2(1) is not exactly 0.
inline float FastLog2(float x) noexcept {
  const auto bits = BitCast<uint32_t>(x);
  const float mantissa = BitCast<float>((bits & 0x007FFFFFu) | 0x3F000000u);  // 0.5..1
  // By way of a signed number, which every vector machine converts.
  return static_cast<float>(static_cast<int32_t>(bits)) * 1.1920929e-07f - 124.22552f -
         1.4980303f * mantissa - 1.72588f / (mantissa + 0.35208872f);
}

/// 2 to the power `p`, for p below 128; p under -126 counts as -126. Relative error below 1e-4.
inline float FastPow2(float p) noexcept {
  const float held = p < -126.0f ? -126.0f : p;
  const float whole = static_cast<float>(static_cast<int32_t>(held));
  const float z = held - whole + (held < 0.0f ? 1.0f : 0.0f);
  const float scaled = 8388608.0f * (held + 121.274055f - 1.49012911f * z + 27.7280235f / (4.8425255f - z));
  return BitCast<float>(static_cast<uint32_t>(scaled));
}

}  // namespace Vantora
