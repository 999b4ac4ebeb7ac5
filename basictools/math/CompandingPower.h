#pragma once

#include <cstdint>

#include "basictools/BitCast.h"

namespace Vantora {

// Base-2 logarithm and power as cubic polynomials between the whole powers of two. They stand beside the
// rational forms of FastPower.h because a curve that is opened with them keeps their small error: the order
// of the terms is fixed, single precision throughout, nothing fused.

/// Base-2 logarithm of a positive, normal number: within 1e-6 at
/// whole powers of two, absolute error below 5.3e-3 between them.
inline float CubicLog2(float x) noexcept {
  const auto bits = BitCast<uint32_t>(x);
  const auto exponent = static_cast<float>(bits >> 23);
  const float f = BitCast<float>((bits & 0x007FFFFFu) | 0x3F800000u);  // 1..2
  return exponent - 127.0f - 2.2134752f + f * (3.148298f + f * (-1.0988653f + f * 0.16404256f));
}

/// 2 to the power `e`, for e from -126 to below 128. Relative error below 6.2e-4.
inline float CubicPow2(float e) noexcept {
  auto p = static_cast<int32_t>(e);
  if (static_cast<float>(p) > e) --p;
  const float r = e - static_cast<float>(p);
  const float mantissa = 1.0f + r * (0.6931472f + r * (0.22741129f + r * 0.07944154f));
  return BitCast<float>(BitCast<uint32_t>(mantissa) + (static_cast<uint32_t>(p) << 23));
}

}  // namespace Vantora
