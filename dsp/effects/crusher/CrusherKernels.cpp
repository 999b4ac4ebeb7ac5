#include "dsp/effects/crusher/CrusherKernels.h"

#include <algorithm>

#include "basictools/math/WholeQuads.h"

#include "basictools/simd/SimdTargets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/effects/crusher/CrusherKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "dsp/effects/bank/LaneNumber-inl.h"
#include "dsp/effects/filter/StateVariableTick-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Vantora::dsp::HWY_NAMESPACE {
namespace {

// From the input to what is held: a recursion, with a clone in each lane -----

template <typename T>
struct HoldSettings {
  T dcGain, dcPole, period, inversePeriod;
  SectionCoefficients<T> antiAlias;
};

template <typename T>
struct HoldState {
  T dc, phase, held, slope;
  SectionState<T> antiAlias[2];
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
  m.dc = -(c.dcPole * y + s);
  if constexpr (kFiltered) {
    y = SectionStep(c.antiAlias, m.antiAlias[0], y).lowPass;
    y = SectionStep(c.antiAlias, m.antiAlias[1], y).lowPass;
  }
  m.phase = m.phase + Number<T>(1.0f);
  const auto taken = m.phase > c.period;
  m.phase = m.phase - OrZero(taken, c.period);
  // More than one period behind: only after it has become much shorter.
  while (HWY_UNLIKELY(Any(m.phase > c.period))) m.phase = m.phase - OrZero(m.phase > c.period, c.period);
  if constexpr (kGlide) {
    m.slope = Select(taken, (y - m.held) * c.inversePeriod, m.slope);
    m.held = m.held + m.slope;
  } else {
    m.held = Select(taken, y, m.held);
  }
  m.held = LimitToOne(m.held);
  return m.held;
}

template <bool kFiltered, bool kGlide, typename T>
void HoldGroup(const CrusherBlock* blocks, uint32_t clones, uint32_t count) {
  using Settings = CrusherSettings;
  using Channel = CrusherChannel;
  using C = StateVariableCoefficients;
  const auto setting = [&](float Settings::*number) HWY_ATTR {
    return Collect<T>(clones, [&](uint32_t b) { return blocks[b].settings->*number; });
  };
  const auto tuned = [&](float C::*number) HWY_ATTR {
    return Collect<T>(clones, [&](uint32_t b) { return blocks[b].settings->antiAlias.*number; });
  };
  const auto field = [&](float Channel::*number) HWY_ATTR {
    // Lanes without a clone must not hold a period of 0, or their phase would never fall below it.
    return Collect<T>(
        clones, [&](uint32_t b) { return blocks[b].channel->*number; }, 1.0f);
  };
  const T zero = Number<T>(0.0f);
  const HoldSettings<T> c{setting(&Settings::dcGain),
                          setting(&Settings::dcPole),
                          field(&Channel::period),
                          field(&Channel::inversePeriod),
                          {tuned(&C::g1), tuned(&C::g2), tuned(&C::g3), zero, zero, zero}};
  HoldState<T> m;
  m.dc = field(&Channel::dc);
  m.phase = field(&Channel::phase);
  m.held = field(&Channel::held);
  m.slope = field(&Channel::slope);
  for (uint32_t s = 0; s < 2; ++s) {
    m.antiAlias[s].s1 = Collect<T>(clones, [&](uint32_t b) { return blocks[b].channel->antiAlias[s].s1; });
    m.antiAlias[s].s2 = Collect<T>(clones, [&](uint32_t b) { return blocks[b].channel->antiAlias[s].s2; });
  }
  const auto stream = [&](uint32_t b) { return blocks[b].out; };
  RunStreams<T>(clones, count, stream, stream,
                [&](T x) HWY_ATTR { return HoldTick<kFiltered, kGlide>(c, m, x); });

  const auto keep = [&](T x, float Channel::*number) HWY_ATTR {
    Distribute(x, clones, [&](uint32_t b, float y) { blocks[b].channel->*number = y; });
  };
  keep(m.dc, &Channel::dc);
  keep(m.phase, &Channel::phase);
  keep(m.held, &Channel::held);
  keep(m.slope, &Channel::slope);
  for (uint32_t s = 0; s < 2; ++s) {
    Distribute(m.antiAlias[s].s1, clones,
               [&](uint32_t b, float y) { blocks[b].channel->antiAlias[s].s1 = y; });
    Distribute(m.antiAlias[s].s2, clones,
               [&](uint32_t b, float y) { blocks[b].channel->antiAlias[s].s2 = y; });
  }
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

// CubicPow2 of CompandingPower.h.
template <typename T>
HWY_INLINE T CubicPow2Of(T e) {
  const T truncated = Whole(e);
  const T whole = Select(truncated > e, truncated - Number<T>(1.0f), truncated);
  const T r = e - whole;
  const T cubic = Number<T>(0.6931472f) + r * (Number<T>(0.22741129f) + r * Number<T>(0.07944154f));
  return TimesPowerOfTwo(Number<T>(1.0f) + r * cubic, whole);
}

// The nearest lower midpoint of the step grid, mirrored about 0; silence inside the deadband, which is never
// empty.
template <typename T>
HWY_INLINE T Quantise(const CrusherSettings& c, T v) {
  const T magnitude = Magnitude(v);
  const T q = Whole(Number<T>(c.halfScale) * magnitude) * Number<T>(c.doubleStep) + Number<T>(c.step);
  return ZeroOr(magnitude < Number<T>(c.deadband), TimesSignOf(v, q));
}

// By the scale: a power of two divides as its reciprocal multiplies, in a quarter of the time.
template <bool kPowerOfTwo, typename T>
HWY_INLINE T DivideByScale(const CrusherSettings& c, T x) {
  return kPowerOfTwo ? x * Number<T>(1.0f / c.scale) : x / Number<T>(c.scale);
}

template <bool kCompanding, bool kPowerOfTwo, typename T>
HWY_INLINE T CrushHeld(const CrusherSettings& c, T held) {
  const T one = Number<T>(1.0f);
  T v = held;
  // 0 stays 0 on both ways, which the fast logarithm misses.
  const auto bent = [&](T bend) HWY_ATTR { return ZeroOr(v == Number<T>(0.0f), TimesSignOf(v, bend)); };
  if constexpr (kCompanding) {
    v = bent(FastLog2Of(one + Number<T>(c.scale) * Magnitude(v)) / Number<T>(c.logDivisor));
  }
  v = Quantise(c, v);
  if constexpr (kCompanding) {
    const T e = Number<T>(c.expFactor) * Magnitude(v);
    v = bent(DivideByScale<kPowerOfTwo>(c, CubicPow2Of(e) - one));
  }
  return LimitToOne(v);
}

template <bool kCompanding, bool kPowerOfTwo>
void QuantiseBlock(const CrusherBlock& block, uint32_t count) {
  const CrusherSettings c = *block.settings;
  float* out = block.out;
  const auto crush = [&]<typename T>(uint32_t i, uint32_t n) HWY_ATTR {
    StoreNumber(CrushHeld<kCompanding, kPowerOfTwo>(c, LoadNumber<T>(out + i, n)), out + i, n);
  };
  const auto mix = [&]<typename T>(uint32_t i, uint32_t n) HWY_ATTR {
    const T in = LoadNumber<T>(block.in + i, n);
    const T wet = LoadNumber<T>(block.wet + i, n);
    StoreNumber(in - in * wet + wet * Number<T>(block.gain) * LoadNumber<T>(out + i, n), out + i, n);
  };
  const uint32_t mixed = WholeQuads(count);
  if (block.send == nullptr && mixed == count) {
    ForEachPlace(count, [&]<typename T>(uint32_t i, uint32_t n) HWY_ATTR {
      crush.template operator()<T>(i, n);
      mix.template operator()<T>(i, n);
    });
    return;
  }
  ForEachPlace(count, crush);
  if (block.send != nullptr) std::copy_n(out, count, block.send);
  ForEachPlace(mixed, mix);
}

template <bool kFiltered, bool kGlide, bool kCompanding>
void Run(const CrusherBlock* blocks, uint32_t blockCount, uint32_t count) {
  ForEachGroup<true>(blockCount, [&]<typename T>(uint32_t first, uint32_t clones) HWY_ATTR {
    HoldGroup<kFiltered, kGlide, T>(blocks + first, clones, count);
  });
  for (uint32_t b = 0; b < blockCount; ++b) {
    if (MantissaOf(blocks[b].settings->scale) == 0.5f) {
      QuantiseBlock<kCompanding, true>(blocks[b], count);
    } else {
      QuantiseBlock<kCompanding, false>(blocks[b], count);
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
