// LaneNumber: the lanes of a vector as one number, so that an effect's loop is written once, as a template,
// and runs on a float for one clone and on a LaneNumber for several. Every operation rounds in each lane as
// it does for a float; nothing is fused. Compiled anew for each instruction set, as LaneFrames-inl.h is.
#include <cmath>
#include <cstdint>
#include <type_traits>

#include "basictools/BitCast.h"
#include "dsp/effects/bank/LaneFrames-inl.h"
#include "dsp/effects/prims/VectorMath-inl.h"

#if defined(PRISMEL_LANE_NUMBER_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef PRISMEL_LANE_NUMBER_INL
#undef PRISMEL_LANE_NUMBER_INL
#else
#define PRISMEL_LANE_NUMBER_INL
#endif

HWY_BEFORE_NAMESPACE();
namespace Vantora::dsp::HWY_NAMESPACE {

template <typename D>
struct LaneMask {
  hn::Mask<D> m;
};

// D is the tag of the vector: as many lanes as there may be clones, or four for the few.
template <typename D>
struct LaneNumber {
  hn::Vec<D> v;
};

using ManyLanes = hn::CappedTag<float, 16>;
using HalfLanes = hn::CappedTag<float, 8>;
using FewLanes = hn::CappedTag<float, 4>;

// Two numbers as one, for clones that fill more than a vector: two recursions in one loop take hardly longer
// than one of them, as most of a recursion is waiting.
template <typename N>
struct NumberPair {
  N low, high;
};

template <typename M>
struct MaskPair {
  M low, high;
};

template <typename D>
HWY_INLINE MaskPair<LaneMask<D>> PairOf(LaneMask<D> low, LaneMask<D> high) {
  return {low, high};
}
template <typename D>
HWY_INLINE NumberPair<LaneNumber<D>> PairOf(LaneNumber<D> low, LaneNumber<D> high) {
  return {low, high};
}
template <typename N>
HWY_INLINE NumberPair<NumberPair<N>> PairOf(NumberPair<N> low, NumberPair<N> high) {
  return {low, high};
}
template <typename M>
HWY_INLINE MaskPair<MaskPair<M>> PairOf(MaskPair<M> low, MaskPair<M> high) {
  return {low, high};
}

#define PRISMEL_LANE_OPERATOR(symbol, Result, member, Function)            \
  template <typename D>                                                    \
  HWY_INLINE Result<D> operator symbol(LaneNumber<D> a, LaneNumber<D> b) { \
    return {hn::Function(a.v, b.v)};                                       \
  }                                                                        \
  template <typename N>                                                    \
  HWY_INLINE auto operator symbol(NumberPair<N> a, NumberPair<N> b) {      \
    return PairOf(a.low symbol b.low, a.high symbol b.high);               \
  }
PRISMEL_LANE_OPERATOR(+, LaneNumber, v, Add)
PRISMEL_LANE_OPERATOR(-, LaneNumber, v, Sub)
PRISMEL_LANE_OPERATOR(*, LaneNumber, v, Mul)
PRISMEL_LANE_OPERATOR(/, LaneNumber, v, Div)
PRISMEL_LANE_OPERATOR(<, LaneMask, m, Lt)
PRISMEL_LANE_OPERATOR(>, LaneMask, m, Gt)
PRISMEL_LANE_OPERATOR(>=, LaneMask, m, Ge)
PRISMEL_LANE_OPERATOR(==, LaneMask, m, Eq)
#undef PRISMEL_LANE_OPERATOR
HWY_INLINE bool Both(bool a, bool b) { return a && b; }
template <typename D>
HWY_INLINE LaneMask<D> Both(LaneMask<D> a, LaneMask<D> b) {
  return {hn::And(a.m, b.m)};
}
template <typename D>
HWY_INLINE LaneNumber<D> operator-(LaneNumber<D> a) {
  return {hn::Neg(a.v)};
}
template <typename N>
HWY_INLINE NumberPair<N> operator-(NumberPair<N> a) {
  return {-a.low, -a.high};
}

// The same operations for both kinds of number. T is named where no argument tells it.
template <typename T>
struct LanesOf;
template <>
struct LanesOf<float> {
  static constexpr uint32_t kCount = 1;
};
template <typename D>
struct LanesOf<LaneNumber<D>> {
  using Tag = D;
  static constexpr uint32_t kCount = static_cast<uint32_t>(hn::MaxLanes(D()));
  static constexpr uint32_t kVector = kCount;  // lanes of one vector
};
template <typename N>
struct LanesOf<NumberPair<N>> {
  using Half = N;
  static constexpr uint32_t kCount = 2 * LanesOf<N>::kCount;
  static constexpr uint32_t kVector = LanesOf<N>::kVector;
};
template <typename T>
inline constexpr bool kIsPair = LanesOf<T>::kCount > 1 && requires {
  typename LanesOf<T>::Half;
};

template <typename T>
HWY_INLINE T Number(float x) {
  if constexpr (std::is_same_v<T, float>) {
    return x;
  } else if constexpr (kIsPair<T>) {
    const auto half = Number<typename LanesOf<T>::Half>(x);
    return {half, half};
  } else {
    return {hn::Set(typename LanesOf<T>::Tag(), x)};
  }
}

HWY_INLINE float Select(bool condition, float yes, float no) { return condition ? yes : no; }
template <typename D>
HWY_INLINE LaneNumber<D> Select(LaneMask<D> condition, LaneNumber<D> yes, LaneNumber<D> no) {
  return {hn::IfThenElse(condition.m, yes.v, no.v)};
}

// a < b ? a : b, and a > b ? a : b: the second where one of them isn't a number.
HWY_INLINE float Lesser(float a, float b) { return a < b ? a : b; }
HWY_INLINE float Greater(float a, float b) { return a > b ? a : b; }
template <typename D>
HWY_INLINE LaneNumber<D> Lesser(LaneNumber<D> a, LaneNumber<D> b) {
  return {LesserOf(D(), a.v, b.v)};
}
template <typename D>
HWY_INLINE LaneNumber<D> Greater(LaneNumber<D> a, LaneNumber<D> b) {
  return {GreaterOf(D(), a.v, b.v)};
}
template <typename N>
HWY_INLINE NumberPair<N> Lesser(NumberPair<N> a, NumberPair<N> b) {
  return {Lesser(a.low, b.low), Lesser(a.high, b.high)};
}
template <typename N>
HWY_INLINE NumberPair<N> Greater(NumberPair<N> a, NumberPair<N> b) {
  return {Greater(a.low, b.low), Greater(a.high, b.high)};
}

// condition ? x : 0.
HWY_INLINE float OrZero(bool condition, float x) { return condition ? x : 0.0f; }
template <typename D>
HWY_INLINE LaneNumber<D> OrZero(LaneMask<D> condition, LaneNumber<D> x) {
  return {hn::IfThenElseZero(condition.m, x.v)};
}
template <typename M, typename N>
HWY_INLINE NumberPair<N> OrZero(MaskPair<M> condition, NumberPair<N> x) {
  return {OrZero(condition.low, x.low), OrZero(condition.high, x.high)};
}

template <typename M, typename N>
HWY_INLINE NumberPair<N> Select(MaskPair<M> condition, NumberPair<N> yes, NumberPair<N> no) {
  return {Select(condition.low, yes.low, no.low), Select(condition.high, yes.high, no.high)};
}

HWY_INLINE bool Any(bool condition) { return condition; }
template <typename D>
HWY_INLINE bool Any(LaneMask<D> condition) {
  return !hn::AllFalse(D(), condition.m);
}
template <typename D>
HWY_INLINE bool Any(MaskPair<LaneMask<D>> condition) {
  return !hn::AllFalse(D(), hn::Or(condition.low.m, condition.high.m));
}

HWY_INLINE float Magnitude(float x) { return std::fabs(x); }
template <typename D>
HWY_INLINE LaneNumber<D> Magnitude(LaneNumber<D> x) {
  return {hn::Abs(x.v)};
}

// x, or -x where `sign` has the sign bit.
HWY_INLINE float TimesSignOf(float sign, float x) {
  return BitCast<float>((BitCast<uint32_t>(sign) & 0x80000000u) ^ BitCast<uint32_t>(x));
}
template <typename D>
HWY_INLINE LaneNumber<D> TimesSignOf(LaneNumber<D> sign, LaneNumber<D> x) {
  return {hn::Xor(hn::And(sign.v, hn::SignBit(D())), x.v)};
}

template <typename N>
HWY_INLINE NumberPair<N> TimesSignOf(NumberPair<N> sign, NumberPair<N> x) {
  return {TimesSignOf(sign.low, x.low), TimesSignOf(sign.high, x.high)};
}

// condition ? 0 : x.
HWY_INLINE float ZeroOr(bool condition, float x) { return condition ? 0.0f : x; }
template <typename D>
HWY_INLINE LaneNumber<D> ZeroOr(LaneMask<D> condition, LaneNumber<D> x) {
  return {hn::IfThenZeroElse(condition.m, x.v)};
}

// Towards zero, for numbers that fit 32 bits.
HWY_INLINE float Whole(float x) { return static_cast<float>(static_cast<int32_t>(x)); }
template <typename D>
HWY_INLINE LaneNumber<D> Whole(LaneNumber<D> x) {
  return {hn::ConvertTo(D(), TruncateFitting(D(), x.v))};
}

// The next whole number below, for numbers that fit 32 bits.
template <typename T>
HWY_INLINE T FloorByParts(T x) {
  const T truncated = Whole(x);
  return truncated - OrZero(truncated > x, Number<T>(1.0f));
}
HWY_INLINE float Floor(float x) { return FloorByParts(x); }
template <typename D>
HWY_INLINE LaneNumber<D> Floor(LaneNumber<D> x) {
#if HWY_TARGET == HWY_SSSE3 || HWY_TARGET == HWY_SSE2 || HWY_TARGET == HWY_EMU128
  return FloorByParts(x);  // there is no instruction for it
#else
  return {hn::Floor(x.v)};
#endif
}

// The bits of a number, read as a whole number, as a number.
HWY_INLINE float BitsAsNumber(float x) { return static_cast<float>(BitCast<int32_t>(x)); }
template <typename D>
HWY_INLINE LaneNumber<D> BitsAsNumber(LaneNumber<D> x) {
  return {hn::ConvertTo(D(), hn::BitCast(hn::RebindToSigned<D>(), x.v))};
}

// The mantissa of a positive, normal number, 0.5..1.
HWY_INLINE float MantissaOf(float x) {
  return BitCast<float>((BitCast<uint32_t>(x) & 0x007FFFFFu) | 0x3F000000u);
}
template <typename D>
HWY_INLINE LaneNumber<D> MantissaOf(LaneNumber<D> x) {
  const hn::RebindToSigned<D> di;
  const auto bits = hn::And(hn::BitCast(di, x.v), hn::Set(di, 0x007FFFFF));
  return {hn::BitCast(D(), hn::Or(bits, hn::Set(di, 0x3F000000)))};
}

// 2 to the power of a whole number, within what normal numbers hold. Behind the sum, which is exact, the last
// bits are the exponent's; what stands above them is shifted out.
inline constexpr float kExponentBits = 12582912.0f + 127.0f;
HWY_INLINE float PowerOfTwo(float whole) {
  return BitCast<float>(BitCast<uint32_t>(whole + kExponentBits) << 23);
}
template <typename D>
HWY_INLINE LaneNumber<D> PowerOfTwo(LaneNumber<D> whole) {
  const hn::RebindToUnsigned<D> du;
  const auto sum = hn::Add(whole.v, hn::Set(D(), kExponentBits));
  return {hn::BitCast(D(), hn::ShiftLeft<23>(hn::BitCast(du, sum)))};
}

// A positive, normal number is its even mantissa, from the root of a half up to the root of two, times 2 to
// the power of its even exponent. That is told in units of 2^-23, as it stands in the bits.
inline constexpr int32_t kRootOfHalf = 0x3F3504F3;
inline constexpr int32_t kExponentField = static_cast<int32_t>(0xFF800000u);
HWY_INLINE int32_t EvenExponentBits(float x) { return (BitCast<int32_t>(x) - kRootOfHalf) & kExponentField; }
template <typename D>
HWY_INLINE hn::Vec<hn::RebindToSigned<D>> EvenExponentBits(LaneNumber<D> x) {
  const hn::RebindToSigned<D> di;
  return hn::And(hn::Sub(hn::BitCast(di, x.v), hn::Set(di, kRootOfHalf)), hn::Set(di, kExponentField));
}
HWY_INLINE float EvenExponentOf(float x) { return static_cast<float>(EvenExponentBits(x)); }
template <typename D>
HWY_INLINE LaneNumber<D> EvenExponentOf(LaneNumber<D> x) {
  return {hn::ConvertTo(D(), EvenExponentBits(x))};
}
HWY_INLINE float EvenMantissaOf(float x) { return BitCast<float>(BitCast<int32_t>(x) - EvenExponentBits(x)); }
template <typename D>
HWY_INLINE LaneNumber<D> EvenMantissaOf(LaneNumber<D> x) {
  const hn::RebindToSigned<D> di;
  return {hn::BitCast(D(), hn::Sub(hn::BitCast(di, x.v), EvenExponentBits(x)))};
}

#define PRISMEL_PAIR_FUNCTION(Function)                \
  template <typename N>                                \
  HWY_INLINE NumberPair<N> Function(NumberPair<N> x) { \
    return {Function(x.low), Function(x.high)};        \
  }
PRISMEL_PAIR_FUNCTION(Magnitude)
PRISMEL_PAIR_FUNCTION(BitsAsNumber)
PRISMEL_PAIR_FUNCTION(Whole)
PRISMEL_PAIR_FUNCTION(Floor)
PRISMEL_PAIR_FUNCTION(MantissaOf)
PRISMEL_PAIR_FUNCTION(PowerOfTwo)
PRISMEL_PAIR_FUNCTION(EvenMantissaOf)
PRISMEL_PAIR_FUNCTION(EvenExponentOf)
#undef PRISMEL_PAIR_FUNCTION

// x times 2 to the power of a whole number.
HWY_INLINE float TimesPowerOfTwo(float x, float whole) {
  return BitCast<float>(BitCast<uint32_t>(x) + (static_cast<uint32_t>(static_cast<int32_t>(whole)) << 23));
}
template <typename D>
HWY_INLINE LaneNumber<D> TimesPowerOfTwo(LaneNumber<D> x, LaneNumber<D> whole) {
  const hn::RebindToSigned<D> di;
  const auto shifted = hn::ShiftLeft<23>(TruncateFitting(D(), whole.v));
  return {hn::BitCast(D(), hn::Add(hn::BitCast(di, x.v), shifted))};
}

template <typename M, typename N>
HWY_INLINE NumberPair<N> ZeroOr(MaskPair<M> condition, NumberPair<N> x) {
  return {ZeroOr(condition.low, x.low), ZeroOr(condition.high, x.high)};
}
template <typename N>
HWY_INLINE NumberPair<N> TimesPowerOfTwo(NumberPair<N> x, NumberPair<N> whole) {
  return {TimesPowerOfTwo(x.low, whole.low), TimesPowerOfTwo(x.high, whole.high)};
}

// The first `count` lanes, from or to memory that may end there.
template <typename T>
HWY_INLINE T LoadNumber(const float* from, uint32_t count) {
  if constexpr (std::is_same_v<T, float>) {
    (void)count;
    return *from;
  } else if constexpr (kIsPair<T>) {
    using Half = typename LanesOf<T>::Half;  // whole ones only
    (void)count;
    return {LoadNumber<Half>(from, LanesOf<Half>::kCount),
            LoadNumber<Half>(from + LanesOf<Half>::kCount, LanesOf<Half>::kCount)};
  } else {
    const typename LanesOf<T>::Tag d;
    if (count == LanesOf<T>::kCount) return {hn::LoadU(d, from)};
    return {hn::MaskedLoad(hn::FirstN(d, count), d, from)};
  }
}
HWY_INLINE void StoreNumber(float x, float* to, uint32_t) { *to = x; }
template <typename D>
HWY_INLINE void StoreNumber(LaneNumber<D> x, float* to, uint32_t count) {
  if (count == LanesOf<LaneNumber<D>>::kCount) {
    hn::StoreU(x.v, D(), to);
  } else {
    hn::BlendedStore(x.v, hn::FirstN(D(), count), D(), to);
  }
}

template <typename N>
HWY_INLINE void StoreNumber(NumberPair<N> x, float* to, uint32_t) {
  StoreNumber(x.low, to, LanesOf<N>::kCount);
  StoreNumber(x.high, to + LanesOf<N>::kCount, LanesOf<N>::kCount);
}

// As many samples as the number has lanes, one behind the other.
template <typename T>
HWY_INLINE T LoadAll(const float* from) {
  if constexpr (kIsPair<T>) {
    using Half = typename LanesOf<T>::Half;
    return {LoadAll<Half>(from), LoadAll<Half>(from + LanesOf<Half>::kCount)};
  } else {
    return LoadNumber<T>(from, LanesOf<T>::kCount);
  }
}
template <typename T>
HWY_INLINE void StoreAll(T x, float* to) {
  if constexpr (kIsPair<T>) {
    StoreAll(x.low, to);
    StoreAll(x.high, to + LanesOf<typename LanesOf<T>::Half>::kCount);
  } else {
    StoreNumber(x, to, LanesOf<T>::kCount);
  }
}

}  // namespace Vantora::dsp::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // toggle
