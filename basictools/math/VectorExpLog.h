#pragma once

#include <cstdint>

#include "basictools/BitCast.h"
#include "basictools/math/Float4.h"

namespace Vantora {

// Each is a template over the kind of number: a `Float4`, or a float in a loop that is to be vectorised. A
// lane rounds as the float does.

/// exp(x) = (1 + rest) * scale, `scale` a power of two and |rest| below 0.42. The argument is
/// held within +-88.3762589, where results still are normal numbers. Source: the single-precision polynomial
/// of the Cephes library (S. L. Moshier), with ln 2 in one piece.
template <typename T>
struct ExpParts {
  T rest;
  T scale;
};
template <typename T>
inline ExpParts<T> SplitExp(T x) noexcept {
  constexpr float kLimit = BitCast<float>(0x42B0C0A5u);
  const T high = MakeNumber<T>(kLimit);
  const T low = MakeNumber<T>(-kLimit);
  x = Choose(x < high, x, high);
  x = Choose(x > low, x, low);

  // x = n * ln 2 + r, n the nearest whole number: the floor of the half-shifted quotient.
  const T quotient = x * BitCast<float>(0x3FB8AA3Bu) + 0.5f;
  const T truncated = ToFloat4(Truncate(quotient));
  const T n = truncated - Choose(truncated > quotient, MakeNumber<T>(1.0f), MakeNumber<T>(0.0f));
  const T r = x - n * BitCast<float>(0x3F317218u);

  T y = r * 0.000198756912f + 0.00139819994f;
  y = y * r + 0.00833345205f;
  y = y * r + 0.0416657962f;
  y = y * r + 0.166666657f;
  y = y * r + 0.5f;
  return {y * (r * r) + r, FromBits((Truncate(n) + 127) << 23)};
}

/// exp(x), four lanes, the argument held as in `SplitExp`; below -87.68 the result is 0. Relative error below
/// 5e-6 over that range and below 2e-7 for |x| <= 1.
template <typename T>
inline T ExpFloat4(T x) noexcept {
  const ExpParts<T> parts = SplitExp(x);
  return (parts.rest + 1.0f) * parts.scale;
}

/// exp(x) - 1, four lanes, the argument held as in `SplitExp`. Nothing cancels about 0: the relative error
/// stays below 3e-7 for |x| <= 5.
template <typename T>
inline T Expm1Float4(T x) noexcept {
  const ExpParts<T> parts = SplitExp(x);
  return parts.rest * parts.scale + (parts.scale - 1.0f);
}

/// Natural logarithm, four lanes, of normal numbers. The argument is held at 0 from below; 0 itself gives a
/// large negative number and not the pole, so callers treat it apart. Relative error below 3e-7 away from 1,
/// absolute error below 1e-7 near it. Source: the single-precision polynomial of the Cephes library (S. L.
/// Moshier), with ln 2 in one piece.
template <typename T>
inline T LogFloat4(T x) noexcept {
  const T zero = MakeNumber<T>(0.0f);
  x = Choose(x > zero, x, zero);

  // x = m * 2^e, m in 0.5..1; below sqrt(1/2) it is doubled, so that z = m - 1 lies evenly about 0.
  const auto bits = BitsOf(x);
  T e = ToFloat4((bits >> 23) - 126);
  T m = FromBits((bits & 0x007FFFFF) | 0x3F000000);
  const auto isSmall = m < BitCast<float>(0x3F3504F3u);
  e = e - Choose(isSmall, MakeNumber<T>(1.0f), MakeNumber<T>(0.0f));
  m = m + Choose(isSmall, m, MakeNumber<T>(0.0f));
  const T z = m - 1.0f;
  const T z2 = z * z;

  T y = z * 0.0703768358f + BitCast<float>(0xBDEBD1B8u);
  y = y * z + BitCast<float>(0x3DEF251Au);
  y = y * z + BitCast<float>(0xBDFE5D4Fu);
  y = y * z + BitCast<float>(0x3E11E9BFu);
  y = y * z + BitCast<float>(0xBE2AAE50u);
  y = y * z + BitCast<float>(0x3E4CCEACu);
  y = y * z + BitCast<float>(0xBE7FFFFCu);
  y = y * z + BitCast<float>(0x3EAAAAAAu);
  y = y * z * z2 - 0.5f * z2;
  return z + y + e * BitCast<float>(0x3F317218u);
}

/// base to the power `exponent`, four lanes, as exp(exponent * log(base)). A base below 0 counts as 0, and 0
/// gives 0 for every exponent.
template <typename T>
inline T PowFloat4(T base, float exponent) noexcept {
  const T zero = MakeNumber<T>(0.0f);
  const T power = ExpFloat4(LogFloat4(base) * exponent);
  return Choose(base > zero, power, zero);
}

}  // namespace Vantora
