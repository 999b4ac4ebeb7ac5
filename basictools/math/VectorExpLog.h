#pragma once

#include <cstdint>

#include "basictools/BitCast.h"
#include "basictools/math/Float4.h"

namespace Vantora {

/// exp(x) = (1 + rest) * scale, four lanes, `scale` a power of two and |rest| below 0.42. The argument is
/// held within +-88.3762589, where results still are normal numbers. Source: the single-precision polynomial
/// of the Cephes library (S. L. Moshier), with ln 2 in one piece.
struct ExpParts {
  Float4 rest;
  Float4 scale;
};
inline ExpParts SplitExp(Float4 x) noexcept {
  constexpr float kLimit = BitCast<float>(0x42B0C0A5u);
  const Float4 high = MakeFloat4(kLimit);
  const Float4 low = MakeFloat4(-kLimit);
  x = x < high ? x : high;
  x = x > low ? x : low;

  // x = n * ln 2 + r, n the nearest whole number: the floor of the half-shifted quotient.
  const Float4 quotient = x * BitCast<float>(0x3FB8AA3Bu) + 0.5f;
  const Float4 truncated = ToFloat4(Truncate(quotient));
  const Float4 n = truncated > quotient ? truncated - 1.0f : truncated;
  const Float4 r = x - n * BitCast<float>(0x3F317218u);

  Float4 y = r * 0.000198756912f + 0.00139819994f;
  y = y * r + 0.00833345205f;
  y = y * r + 0.0416657962f;
  y = y * r + 0.166666657f;
  y = y * r + 0.5f;
  return {y * (r * r) + r, FromBits((Truncate(n) + 127) << 23)};
}

/// exp(x), four lanes, the argument held as in `SplitExp`; below -87.68 the result is 0. Relative error below
/// 5e-6 over that range and below 2e-7 for |x| <= 1.
inline Float4 ExpFloat4(Float4 x) noexcept {
  const ExpParts parts = SplitExp(x);
  return (parts.rest + 1.0f) * parts.scale;
}

/// exp(x) - 1, four lanes, the argument held as in `SplitExp`. Nothing cancels about 0: the relative error
/// stays below 3e-7 for |x| <= 5.
inline Float4 Expm1Float4(Float4 x) noexcept {
  const ExpParts parts = SplitExp(x);
  return parts.rest * parts.scale + (parts.scale - 1.0f);
}

/// Natural logarithm, four lanes, of normal numbers. The argument is held at 0 from below; 0 itself gives a
/// large negative number and not the pole, so callers treat it apart. Relative error below 3e-7 away from 1,
/// absolute error below 1e-7 near it. Source: the single-precision polynomial of the Cephes library (S. L.
/// Moshier), with ln 2 in one piece.
inline Float4 LogFloat4(Float4 x) noexcept {
  const Float4 zero = MakeFloat4(0.0f);
  x = x > zero ? x : zero;

  // x = m * 2^e, m in 0.5..1; below sqrt(1/2) it is doubled, so that z = m - 1 lies evenly about 0.
  const Int4 bits = BitsOf(x);
  Float4 e = ToFloat4((bits >> 23) - 126);
  Float4 m = FromBits((bits & 0x007FFFFF) | 0x3F000000);
  const Int4 isSmall = m < BitCast<float>(0x3F3504F3u);
  m = isSmall ? m + m : m;
  e = isSmall ? e - 1.0f : e;
  const Float4 z = m - 1.0f;
  const Float4 z2 = z * z;

  Float4 y = z * 0.0703768358f + BitCast<float>(0xBDEBD1B8u);
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
inline Float4 PowFloat4(Float4 base, float exponent) noexcept {
  const Float4 zero = MakeFloat4(0.0f);
  return base > zero ? ExpFloat4(LogFloat4(base) * exponent) : zero;
}

}  // namespace Vantora
