// The effect's own three shaping curves on the numbers of LaneNumber-inl.h, step by step as their formulas in
// curves/ have them. A compiler takes those for many lanes at once, too, but chooses among pieces and holds
// constants in ways that cost several times as much. Compiled anew for each instruction set.
#include <cstdint>

#include "dsp/effects/bank/LaneNumber-inl.h"
#include "dsp/effects/curves/AsymmetricCurves.h"
#include "dsp/effects/curves/FoldCurves.h"
#include "dsp/effects/distortion/ExpLog-inl.h"

#if defined(PRISMEL_CURVE_LANES_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef PRISMEL_CURVE_LANES_INL
#undef PRISMEL_CURVE_LANES_INL
#else
#define PRISMEL_CURVE_LANES_INL
#endif

HWY_BEFORE_NAMESPACE();
namespace Vantora::dsp::HWY_NAMESPACE {

#if HWY_TARGET != HWY_EMU128  // whose lanes are no gain

using CurveNumber = LaneNumber<ManyLanes>;

template <typename T>
HWY_INLINE T CurveConstant(double x) {
  return Number<T>(static_cast<float>(x));
}

// Min and Max of CurveMath.h: what isn't a number stays.
template <typename T>
HWY_INLINE T HeldBelow(T x, double limit) {
  return Lesser(CurveConstant<T>(limit), x);
}
template <typename T>
HWY_INLINE T HeldAbove(T x, double limit) {
  return Greater(CurveConstant<T>(limit), x);
}

template <typename T>
HWY_INLINE T CurveOf(curves::OneSidedLimit, T x) {
  using Curve = curves::OneSidedLimit;
  const T bend = Expm1Of(CurveConstant<T>(-Curve::kRate) * Magnitude(x));
  const T y = TimesSignOf(x, bend * CurveConstant<T>(1.0 / Curve::kTop));
  const T one = CurveConstant<T>(1.0);
  return Select(x >= one, one, y);
}

template <typename T>
HWY_INLINE T CurveOf(curves::SineFold, T x) {
  const auto c = [](double number) HWY_ATTR { return CurveConstant<T>(number); };
  const T a = Magnitude(x);
  const T turn = c(curves::SineFold::kTwoPi) * Select(c(0.25) >= a, a, c(0.5) - HeldBelow(a, 0.75));
  const T z = turn * turn;
  T y = z * c(2.59990315e-06) + c(-0.000198065478);
  y = y * z + c(0.00833301619);
  y = y * z + c(-0.166666567);
  return TimesSignOf(x, turn + turn * z * y);
}

// Which of the five exponential pieces of the cold tube, and their numbers.
struct TubePieces {
  using Curve = curves::ColdTube;
  using Mask = LaneMask<ManyLanes>;
  static HWY_INLINE Mask IsFrom(CurveNumber x, int piece) {
    return x >= CurveConstant<CurveNumber>(Curve::kFrom[piece]);
  }

#if HWY_CAP_GE256
  // One look-up for all.
  hn::Vec<hn::RebindToSigned<ManyLanes>> piece;
  HWY_INLINE explicit TubePieces(CurveNumber x) {
    const hn::RebindToSigned<ManyLanes> di;
    piece = hn::Zero(di);
    for (int p = 1; p < Curve::kExponentials; ++p) {
#if HWY_CAP_GE512
      piece = hn::IfThenElse(hn::RebindMask(di, IsFrom(x, p).m), hn::Set(di, p), piece);
#else
      piece = hn::Sub(piece, hn::VecFromMask(di, hn::RebindMask(di, IsFrom(x, p).m)));
#endif
    }
  }
  HWY_INLINE CurveNumber Of(const double (&numbers)[Curve::kExponentials]) const {
    const ManyLanes d;
    HWY_ALIGN float table[16] = {};
    for (int p = 0; p < Curve::kExponentials; ++p) table[p] = static_cast<float>(numbers[p]);
    return {hn::TableLookupLanes(hn::Load(d, table), hn::IndicesFromVec(d, piece))};
  }
#else
  // Four of them from a table of their bytes.
  hn::Vec<hn::Repartition<uint8_t, ManyLanes>> bytes;
  Mask isLast;
  HWY_INLINE explicit TubePieces(CurveNumber x) {
    const hn::Repartition<uint8_t, ManyLanes> db;
    const ManyLanes d;
    const auto all = [&](int p) HWY_ATTR { return hn::BitCast(db, hn::VecFromMask(d, IsFrom(x, p).m)); };
    const auto negative = hn::Add(hn::Add(all(1), all(2)), all(3));
    const auto twice = hn::Add(negative, negative);
    const auto first = hn::BitCast(db, hn::Set(hn::RebindToUnsigned<ManyLanes>(), 0x03020100u));
    bytes = hn::Sub(first, hn::Add(twice, twice));
    isLast = IsFrom(x, 4);
  }
  HWY_INLINE CurveNumber Of(const double (&numbers)[Curve::kExponentials]) const {
    const ManyLanes d;
    HWY_ALIGN float table[4];
    for (int p = 0; p < 4; ++p) table[p] = static_cast<float>(numbers[p]);
    const hn::Repartition<uint8_t, ManyLanes> db;
    const CurveNumber found = {
        hn::BitCast(d, hn::TableLookupBytes(hn::BitCast(db, hn::Load(d, table)), bytes))};
    return Select(isLast, CurveConstant<CurveNumber>(numbers[4]), found);
  }
#endif
};

HWY_INLINE CurveNumber CurveOf(curves::ColdTube, CurveNumber x) {
  using Curve = curves::ColdTube;
  using T = CurveNumber;
  const auto c = [](double number) HWY_ATTR { return CurveConstant<T>(number); };
  const TubePieces pieces(x);
  const T held = HeldBelow(HeldAbove(x, -1.0), 1.0);
  const T bend =
      Expm1Of(pieces.Of(Curve::kRate) * held + pieces.Of(Curve::kShift)) * pieces.Of(Curve::kScale) +
      pieces.Of(Curve::kLevel);
  // The straight piece lies between 0 and kLineEnd.
  const T line = Select(x < c(Curve::kLineEnd), c(Curve::kLineSlope) * x, bend);
  const T y = Select(x < c(0.0), bend, line);
  return Select(x < c(-1.0), c(Curve::kBottom), Select(x >= c(1.0), c(Curve::kTop), y));
}
HWY_INLINE NumberPair<CurveNumber> CurveOf(curves::ColdTube curve, NumberPair<CurveNumber> x) {
  return {CurveOf(curve, x.low), CurveOf(curve, x.high)};
}

template <typename Curve>
inline constexpr bool kHasCurveLanes =
    std::is_same_v<Curve, curves::OneSidedLimit> || std::is_same_v<Curve, curves::SineFold> ||
    std::is_same_v<Curve, curves::ColdTube>;

// As far as whole vectors go; how far that is.
template <typename Curve>
HWY_INLINE uint32_t ShapeVectors(float* data, uint32_t count) {
  constexpr uint32_t kStep = LanesOf<CurveNumber>::kCount;
  uint32_t i = 0;
  for (; i + 2 * kStep <= count; i += 2 * kStep)
    StoreAll(CurveOf(Curve{}, LoadAll<NumberPair<CurveNumber>>(data + i)), data + i);
  if (i + kStep <= count) {
    StoreAll(CurveOf(Curve{}, LoadAll<CurveNumber>(data + i)), data + i);
    i += kStep;
  }
  return i;
}

#else

template <typename Curve>
inline constexpr bool kHasCurveLanes = false;

#endif

}  // namespace Vantora::dsp::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // toggle
