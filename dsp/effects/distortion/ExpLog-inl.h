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

// SplitExp, of an argument within +-88.4: its n, from which the scale follows as PowerOfTwo, and its rest.
template <typename T>
HWY_INLINE T ExpWhole(T x) {
  return Floor(x * Number<T>(BitCast<float>(0x3FB8AA3Bu)) + Number<T>(0.5f));
}
template <typename T>
HWY_INLINE T ExpRest(T x, T n) {
  const auto c = [](float number) HWY_ATTR { return Number<T>(number); };
  const T r = x - n * c(BitCast<float>(0x3F317218u));
  T y = r * c(0.000198756912f) + c(0.00139819994f);
  y = y * r + c(0.00833345205f);
  y = y * r + c(0.0416657962f);
  y = y * r + c(0.166666657f);
  y = y * r + c(0.5f);
  return y * (r * r) + r;
}

// ExpFloat4, of such an argument.
template <typename T>
HWY_INLINE T ExpWithin(T x) {
  const T n = ExpWhole(x);
  return (ExpRest(x, n) + Number<T>(1.0f)) * PowerOfTwo(n);
}

// Where exponentials hold their argument; what isn't a number is held on top.
template <typename T>
HWY_INLINE T HeldForExp(T x) {
  const T limit = Number<T>(BitCast<float>(0x42B0C0A5u));
  return Greater(Lesser(x, limit), -limit);
}

// ExpFloat4.
template <typename T>
HWY_INLINE T ExpOf(T x) {
  return ExpWithin(HeldForExp(x));
}

// Expm1Float4.
template <typename T>
HWY_INLINE T Expm1Of(T x) {
  x = HeldForExp(x);
  const T n = ExpWhole(x);
  const T scale = PowerOfTwo(n);
  return ExpRest(x, n) * scale + (scale - Number<T>(1.0f));
}

// LogFloat4, of a positive, normal number.
template <typename T>
HWY_INLINE T LogOf(T x) {
  const auto c = [](float number) HWY_ATTR { return Number<T>(number); };
  const T z = EvenMantissaOf(x) - c(1.0f);
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
  // ln 2 for each unit of the exponent, which counts them in 2^-23: the product rounds as that of the two.
  return z + y + EvenExponentOf(x) * c(BitCast<float>(0x3F317218u) / 8388608.0f);
}

}  // namespace Vantora::dsp::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // toggle
