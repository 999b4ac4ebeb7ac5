#include "dsp/effects/crusher/CrusherKernels.h"

#include <algorithm>
#include <cstddef>

#include "basictools/math/WholeQuads.h"
#include "dsp/effects/bank/LaneBank.h"

#include "basictools/simd/SimdTargets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/effects/crusher/CrusherKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "dsp/effects/bank/LaneNumber-inl.h"
#include "dsp/effects/bank/LaneRuns-inl.h"
#include "dsp/effects/crusher/HeldSamples-inl.h"
#include "dsp/effects/filter/StateVariableTick-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Vantora::dsp::HWY_NAMESPACE {
namespace {

// From the input to what is held: a recursion, with a clone in each lane -----

template <typename T>
struct HoldSettings {
  T dcGain, negatedPole, period, inversePeriod;
  SectionCoefficients<T> antiAlias;
};

template <typename T>
struct HoldState {
  T dc, phase, held, slope;
  SectionState<T> first, second;  // of the anti-aliasing filter
  T nextPhase;                    // as if no sample were taken
};

// Holds within -1..1; what isn't a number becomes 1, so that nothing but numbers reaches the quantiser.
template <typename T>
HWY_INLINE T LimitToOne(T x) {
  return Greater(Lesser(x, Number<T>(1.0f)), Number<T>(-1.0f));
}

template <bool kFiltered, bool kGlide, typename T>
HWY_INLINE T HoldTick(const HoldSettings<T>& c, HoldState<T>& m, T x) {
  const T s = x * c.dcGain;
  T y = s + m.dc;
  m.dc = c.negatedPole * y - s;
  if constexpr (kFiltered) {
    y = SectionStep(c.antiAlias, m.first, y).lowPass;
    y = SectionStep(c.antiAlias, m.second, y).lowPass;
  }
  const auto taken = m.nextPhase > c.period;
  m.phase = m.nextPhase - OrZero(taken, c.period);
  m.nextPhase = m.phase + Number<T>(1.0f);
  if constexpr (kGlide) {
    m.slope = Select(taken, (y - m.held) * c.inversePeriod, m.slope);
    m.held = m.held + m.slope;
  } else {
    m.held = Select(taken, y, m.held);
  }
  m.held = LimitToOne(m.held);
  return m.held;
}

// Settings begin with a row of eight floats, a channel is a row of ten.
static_assert(offsetof(CrusherSettings, dcGain) == 0 && offsetof(CrusherSettings, dcPole) == sizeof(float) &&
              offsetof(CrusherSettings, antiAlias) == 2 * sizeof(float));
static_assert(offsetof(CrusherChannel, antiAlias) == sizeof(float) &&
              offsetof(CrusherChannel, phase) == 5 * sizeof(float) &&
              offsetof(CrusherChannel, inversePeriod) == 9 * sizeof(float));

template <bool kFiltered, bool kGlide, typename T>
void HoldGroup(const CrusherBlock* blocks, uint32_t clones, uint32_t count) {
  const T zero = Number<T>(0.0f);
  const T one = Number<T>(1.0f);
  T s[8];
  CollectRows(
      clones, [&](uint32_t b) { return &blocks[b].settings->dcGain; }, s);
  T n[10];
  CollectRows(
      clones, [&](uint32_t b) { return &blocks[b].channel->dc; }, n);
  // Lanes without a clone must not hold a period of 0, or their phase would never fall below it.
  const T period = Greater(one, n[8]);
  const HoldSettings<T> c{s[0], -s[1], period, n[9], {s[2], s[3], s[4], zero, zero, zero}};
  HoldState<T> m{n[0], n[5], n[6], n[7], {n[1], n[2]}, {n[3], n[4]}, n[5] + one};
  // More than one period behind: only after it has become much shorter.
  while (HWY_UNLIKELY(Any(m.nextPhase - period > period)))
    m.nextPhase = m.nextPhase - OrZero(m.nextPhase - period > period, period);

  const T dataGain = Collect<T>(clones, [&](uint32_t b) { return blocks[b].dataGain; });
  RunStreams<T>(
      clones, count, [&](uint32_t b) { return blocks[b].data; }, [&](uint32_t b) { return blocks[b].out; },
      [&](T x) HWY_ATTR { return HoldTick<kFiltered, kGlide>(c, m, x * dataGain); });

  const T kept[8] = {m.dc, m.first.s1, m.first.s2, m.second.s1, m.second.s2, m.phase, m.held, m.slope};
  DistributeRows(kept, clones, [&](uint32_t b) { return &blocks[b].channel->dc; });
}

// From what is held to the output: no sample looks at another, so that samples are the lanes -----

// FastLog2 of FastPower.h.
template <typename T>
HWY_INLINE T FastLog2Of(T x) {
  const T mantissa = MantissaOf(x);
  const T y =
      BitsAsNumber(x) * Number<T>(1.1920929e-07f) - Number<T>(124.22552f) - Number<T>(1.4980303f) * mantissa;
  return y - Number<T>(1.72588f) / (mantissa + Number<T>(0.35208872f));
}

// CubicPow2 of CompandingPower.h, of a number that isn't negative.
template <typename T>
HWY_INLINE T CubicPow2Of(T e) {
  const T r = e - Whole(e);
  const T cubic = Number<T>(0.6931472f) + r * (Number<T>(0.22741129f) + r * Number<T>(0.07944154f));
  return TimesPowerOfTwo(Number<T>(1.0f) + r * cubic, e);
}

// The nearest lower midpoint of the step grid, above 0.
template <typename T>
HWY_INLINE T StepOf(const CrusherSettings& c, T magnitude) {
  return Whole(Number<T>(c.halfScale) * magnitude) * Number<T>(c.doubleStep) + Number<T>(c.step);
}

// By the scale: a power of two divides as its reciprocal multiplies, in a quarter of the time.
template <bool kPowerOfTwo, typename T>
HWY_INLINE T DivideByScale(const CrusherSettings& c, T x) {
  return kPowerOfTwo ? x * Number<T>(1.0f / c.scale) : x / Number<T>(c.scale);
}

// The step grid is mirrored about 0, with silence inside the deadband, which is never empty.
template <bool kCompanding, bool kPowerOfTwo, typename T>
HWY_INLINE T CrushHeld(const CrusherSettings& c, T held) {
  T magnitude = Magnitude(held);
  T v;
  if constexpr (kCompanding) {
    const T one = Number<T>(1.0f);
    const T bend = FastLog2Of(one + Number<T>(c.scale) * magnitude) / Number<T>(c.logDivisor);
    // 0 stays 0, which the fast logarithm misses; next to it the bend may be negative.
    magnitude = ZeroOr(magnitude == Number<T>(0.0f), Magnitude(bend));
    const T e = Number<T>(c.expFactor) * StepOf(c, magnitude);
    v = TimesSignOf(TimesSignOf(held, bend), DivideByScale<kPowerOfTwo>(c, CubicPow2Of(e) - one));
  } else {
    v = TimesSignOf(held, StepOf(c, magnitude));
  }
  return LimitToOne(ZeroOr(magnitude < Number<T>(c.deadband), v));
}

// A block's output of its crushed samples.
template <bool kAllWet, typename T>
HWY_INLINE T Mixed(const CrusherBlock& block, T crushed, uint32_t i, uint32_t n) {
  const T in = LoadNumber<T>(block.in + i, n);
  if constexpr (kAllWet) return in - in + crushed;  // no number where `in` is none that is finite
  const T wet = LoadNumber<T>(block.wet + i, n);
  return in - in * wet + wet * Number<T>(block.gain) * crushed;
}

template <bool kCompanding, bool kPowerOfTwo>
void QuantiseBlock(const CrusherBlock& block, bool holdsLong, uint32_t count) {
  const CrusherSettings c = *block.settings;
  float* out = block.out;
  const auto crush = [&]<typename T>(T held)
                         HWY_ATTR { return CrushHeld<kCompanding, kPowerOfTwo>(c, held); };
  const auto crushPlace = [&]<typename T>(uint32_t i, uint32_t n)
                              HWY_ATTR { StoreNumber(crush(LoadNumber<T>(out + i, n)), out + i, n); };
  const uint32_t mixed = WholeQuads(count);
  if (block.send != nullptr || mixed != count) {
    ForEachPlace(count, crushPlace);
    if (block.send != nullptr) std::copy_n(out, count, block.send);
    ForEachPlace(mixed, [&]<typename T>(uint32_t i, uint32_t n) HWY_ATTR {
      StoreNumber(Mixed<false>(block, LoadNumber<T>(out + i, n), i, n), out + i, n);
    });
    return;
  }
  const auto crushAndMix = [&]<bool kAllWet>() HWY_ATTR {
    const auto mix = [&]<typename T>(T crushed, uint32_t i, uint32_t n)
                         HWY_ATTR { StoreNumber(Mixed<kAllWet>(block, crushed, i, n), out + i, n); };
    if (kCompanding && holdsLong) {
      ForEachHeldQuad(out, count, crush, mix);
    } else {
      ForEachPlace(count, [&]<typename T>(uint32_t i, uint32_t n)
                              HWY_ATTR { mix(crush(LoadNumber<T>(out + i, n)), i, n); });
    }
  };
  block.isAllWet ? crushAndMix.template operator()<true>() : crushAndMix.template operator()<false>();
}

template <bool kFiltered, bool kGlide, bool kCompanding>
void Run(const CrusherBlock* blocks, uint32_t blockCount, uint32_t count) {
  uint64_t holdLong = 0;  // a bit for each block
  static_assert(LaneBank::kCapacity <= 64);
  for (uint32_t b = 0; b < blockCount && kCompanding && !kGlide; ++b)
    holdLong |= static_cast<uint64_t>(HoldsLong(blocks[b].channel->period, blocks[b].channel->phase)) << b;
  ForEachGroup<true>(blockCount, [&]<typename T>(uint32_t first, uint32_t clones) HWY_ATTR {
    HoldGroup<kFiltered, kGlide, T>(blocks + first, clones, count);
  });
  for (uint32_t b = 0; b < blockCount; ++b) {
    const bool holdsLong = (holdLong >> b & 1u) != 0;
    if (MantissaOf(blocks[b].settings->scale) == 0.5f) {
      QuantiseBlock<kCompanding, true>(blocks[b], holdsLong, count);
    } else {
      QuantiseBlock<kCompanding, false>(blocks[b], holdsLong, count);
    }
  }
}

}  // namespace

constexpr CrusherKernelTable kCrusherKernels{.run = {Run<false, false, false>, Run<false, false, true>,
                                                     Run<false, true, false>, Run<false, true, true>,
                                                     Run<true, false, false>, Run<true, false, true>,
                                                     Run<true, true, false>, Run<true, true, true>}};

}  // namespace Vantora::dsp::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Vantora::dsp {

const CrusherKernelTable& CrusherKernelsFor(SimdTarget target) noexcept {
  return *PRISMEL_KERNELS(target, kCrusherKernels);
}

namespace {
const CrusherKernelTable& kBest = CrusherKernelsFor(BestSimdTarget());
}  // namespace

const CrusherKernelTable& CrusherKernels() noexcept { return kBest; }

}  // namespace Vantora::dsp
#endif  // HWY_ONCE
