#pragma once

#include "basictools/math/Float4.h"

namespace Vantora {

/// sin(x) for |x| <= pi/2, four lanes. Absolute error below 1.5e-7. An odd polynomial of degree 9, fitted for
/// the least largest error over the interval (4.7e-9 before rounding).
template <typename T>
inline T SineWithinQuarterTurn(T x) noexcept {
  const T z = x * x;
  T y = z * 2.59990315e-06f + -0.000198065478f;
  y = y * z + 0.00833301619f;
  y = y * z + -0.166666567f;
  return x + x * z * y;
}

/// Largest argument of `SineFloat4`: beyond it the whole half turns no longer multiply exactly.
inline constexpr float kSineFloat4Limit = 8192.0f;

/// sin(x) for |x| <= kSineFloat4Limit, four lanes. Absolute error below 2e-7. The nearest whole number of
/// half turns is taken off in three pieces of pi (W. J. Cody, W. Waite, "Software Manual for the Elementary
/// Functions", 1980), of which the first two have few enough bits for exact products.
template <typename T>
inline T SineFloat4(T x) noexcept {
  constexpr float kInversePi = 0.318309886f;
  constexpr float kPiHigh = 3.140625f;
  constexpr float kPiMiddle = 9.67502593994140625e-4f;
  constexpr float kPiLow = 1.509957990978376432e-7f;
  const auto isNegative = BitsOf(x) >> 31;  // all bits set
  const T half = FromBits((isNegative & static_cast<int32_t>(0x80000000)) | BitsOf(MakeNumber<T>(0.5f)));
  const auto halfTurns = Truncate(x * kInversePi + half);
  const T k = ToFloat4(halfTurns);
  const T rest = ((x - k * kPiHigh) - k * kPiMiddle) - k * kPiLow;
  return FromBits(BitsOf(SineWithinQuarterTurn(rest)) ^ (halfTurns << 31));
}

}  // namespace Vantora
