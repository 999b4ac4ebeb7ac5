// The functions of VectorExpLog.h on the numbers of LaneNumber-inl.h, step by step the same. Compiled anew
// for each instruction set, as that is.
#include "basictools/BitCast.h"
#include "dsp/effects/bank/LaneNumber-inl.h"

#if defined(PRISMEL_EXP_LOG_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef PRISMEL_EXP_LOG_INL
#undef PRISMEL_EXP_LOG_INL
#else
#define PRISMEL_EXP_LOG_INL
#endif

HWY_BEFORE_NAMESPACE();
namespace Vantora::dsp::HWY_NAMESPACE {

// ExpFloat4.
template <typename T>
HWY_INLINE T ExpOf(T x) {
  constexpr float kLimit = BitCast<float>(0x42B0C0A5u);
  const auto c = [](float number) HWY_ATTR { return Number<T>(number); };
  x = Greater(Lesser(x, c(kLimit)), c(-kLimit));
  const T quotient = x * c(BitCast<float>(0x3FB8AA3Bu)) + c(0.5f);
  const T truncated = Whole(quotient);
  const T n = truncated - OrZero(truncated > quotient, c(1.0f));
  const T r = x - n * c(BitCast<float>(0x3F317218u));
  T y = r * c(0.000198756912f) + c(0.00139819994f);
  y = y * r + c(0.00833345205f);
  y = y * r + c(0.0416657962f);
  y = y * r + c(0.166666657f);
  y = y * r + c(0.5f);
  return (y * (r * r) + r + c(1.0f)) * PowerOfTwo(n);
}

// LogFloat4.
template <typename T>
HWY_INLINE T LogOf(T x) {
  const auto c = [](float number) HWY_ATTR { return Number<T>(number); };
  x = Greater(x, c(0.0f));
  T e = ExponentOf(x);
  T m = MantissaOf(x);
  const auto isSmall = m < c(BitCast<float>(0x3F3504F3u));
  e = e - OrZero(isSmall, c(1.0f));
  m = m + OrZero(isSmall, m);
  const T z = m - c(1.0f);
  const T z2 = z * z;
  T y = z * c(0.0703768358f) + c(BitCast<float>(0xBDEBD1B8u));
  y = y * z + c(BitCast<float>(0x3DEF251Au));
  y = y * z + c(BitCast<float>(0xBDFE5D4Fu));
  y = y * z + c(BitCast<float>(0x3E11E9BFu));
  y = y * z + c(BitCast<float>(0xBE2AAE50u));
  y = y * z + c(BitCast<float>(0x3E4CCEACu));
  y = y * z + c(BitCast<float>(0xBE7FFFFCu));
  y = y * z + c(BitCast<float>(0x3EAAAAAAu));
  y = y * z * z2 - c(0.5f) * z2;
  return z + y + e * c(BitCast<float>(0x3F317218u));
}

}  // namespace Vantora::dsp::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // toggle
