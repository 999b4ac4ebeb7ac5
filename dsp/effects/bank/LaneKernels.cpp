#include "dsp/effects/bank/LaneKernels.h"

#include <algorithm>

#include "dsp/effects/prims/SimdTargets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/effects/bank/LaneKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace Vantora::dsp::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// Sixteen lanes serve the clones of both sides; narrower machines take them in groups.
using D = hn::CappedTag<float, 16>;
using V = hn::Vec<D>;
using M = hn::Mask<D>;
using DI = hn::RebindToSigned<D>;
using Quad = hn::FixedTag<float, 4>;

constexpr uint32_t kLanes = static_cast<uint32_t>(hn::MaxLanes(D()));
constexpr uint32_t kFrames = 16;  // samples turned from rows into frames at a time

HWY_INLINE V Constant(float x) { return hn::Set(D(), x); }

// Rows and frames -------------------------------------------------------------------------------------------

// Four samples of four lanes: rows with a lane each become frames with a sample each, or the other way round.
template <typename Load, typename Store>
HWY_INLINE void Transpose4(Load load, Store store) {
  const Quad d;
  const auto a = load(0);
  const auto b = load(1);
  const auto c = load(2);
  const auto e = load(3);
  const auto lowAC = hn::InterleaveLower(d, a, c);
  const auto lowBE = hn::InterleaveLower(d, b, e);
  const auto highAC = hn::InterleaveUpper(d, a, c);
  const auto highBE = hn::InterleaveUpper(d, b, e);
  store(0, hn::InterleaveLower(d, lowAC, lowBE));
  store(1, hn::InterleaveUpper(d, lowAC, lowBE));
  store(2, hn::InterleaveLower(d, highAC, highBE));
  store(3, hn::InterleaveUpper(d, highAC, highBE));
}

// frames[sample][lane] from rows[lane][start + sample].
HWY_INLINE void ToFrames(const float* const* rows, uint32_t start, uint32_t count,
                         float* HWY_RESTRICT frames) {
  const Quad d;
  const uint32_t quads = count & ~3u;
  for (uint32_t lane = 0; lane < kLanes; lane += 4) {
    for (uint32_t i = 0; i < quads; i += 4) {
      Transpose4([&](uint32_t k) HWY_ATTR { return hn::LoadU(d, rows[lane + k] + start + i); },
                 [&](uint32_t k, auto x) HWY_ATTR { hn::StoreU(x, d, frames + (i + k) * kLanes + lane); });
    }
  }
  for (uint32_t i = quads; i < count; ++i) {
    for (uint32_t lane = 0; lane < kLanes; ++lane) frames[i * kLanes + lane] = rows[lane][start + i];
  }
}

// rows[lane][start + sample] from frames[sample][lane].
HWY_INLINE void ToRows(const float* HWY_RESTRICT frames, uint32_t start, uint32_t count, float* const* rows) {
  const Quad d;
  const uint32_t quads = count & ~3u;
  for (uint32_t lane = 0; lane < kLanes; lane += 4) {
    for (uint32_t i = 0; i < quads; i += 4) {
      Transpose4([&](uint32_t k) HWY_ATTR { return hn::LoadU(d, frames + (i + k) * kLanes + lane); },
                 [&](uint32_t k, auto x) HWY_ATTR { hn::StoreU(x, d, rows[lane + k] + start + i); });
    }
  }
  for (uint32_t i = quads; i < count; ++i) {
    for (uint32_t lane = 0; lane < kLanes; ++lane) rows[lane][start + i] = frames[i * kLanes + lane];
  }
}

// A number of each lane's record as a vector, and back. Lanes without a clone hold 0 and are dropped.
template <typename Read>
HWY_INLINE V Gather(uint32_t laneCount, Read read) {
  HWY_ALIGN float numbers[kLanes] = {};
  for (uint32_t lane = 0; lane < laneCount; ++lane) numbers[lane] = read(lane);
  return hn::Load(D(), numbers);
}

template <typename Write>
HWY_INLINE void Scatter(V x, uint32_t laneCount, Write write) {
  HWY_ALIGN float numbers[kLanes];
  hn::Store(x, D(), numbers);
  for (uint32_t lane = 0; lane < laneCount; ++lane) write(lane, numbers[lane]);
}

// The rows of a group, where lanes without a clone share a row that nobody hears. Their chunk starts wherever
// the others' does, so they are given none of their own: `Rows` is refilled for every chunk.
template <typename Row>
HWY_INLINE void FillRows(uint32_t laneCount, uint32_t start, float* spare, Row row, float** rows) {
  for (uint32_t lane = 0; lane < kLanes; ++lane) rows[lane] = lane < laneCount ? row(lane) + start : spare;
}

// Stages ----------------------------------------------------------------------------------------------------

struct LaneCoefficients {
  V g1, g2, g3, m0, m1, m2;
};

struct LaneState {
  V s1, s2;
};

HWY_INLINE V StageTick(const LaneCoefficients& c, LaneState& s, V x) {
  const V two = Constant(2.0f);
  const V u = hn::Sub(x, s.s2);
  const V b = hn::Add(hn::Mul(c.g1, s.s1), hn::Mul(c.g2, u));
  const V l = hn::Add(hn::Add(s.s2, hn::Mul(c.g2, s.s1)), hn::Mul(c.g3, u));
  s.s1 = hn::Sub(hn::Mul(two, b), s.s1);
  s.s2 = hn::Sub(hn::Mul(two, l), s.s2);
  return hn::Add(hn::Add(hn::Mul(c.m0, x), hn::Mul(c.m1, b)), hn::Mul(c.m2, l));
}

HWY_INLINE V LowPassTick(const LaneCoefficients& c, LaneState& s, V x) {
  const V two = Constant(2.0f);
  const V u = hn::Sub(x, s.s2);
  const V b = hn::Add(hn::Mul(c.g1, s.s1), hn::Mul(c.g2, u));
  const V l = hn::Add(hn::Add(s.s2, hn::Mul(c.g2, s.s1)), hn::Mul(c.g3, u));
  s.s1 = hn::Sub(hn::Mul(two, b), s.s1);
  s.s2 = hn::Sub(hn::Mul(two, l), s.s2);
  return l;
}

HWY_INLINE LaneCoefficients LoadCoefficients(uint32_t n, const StageLane* lanes,
                                             StateVariableCoefficients StateVariableChain::*set) {
  using C = StateVariableCoefficients;
  const auto field = [&](float C::*number) HWY_ATTR {
    return Gather(n, [&](uint32_t lane) { return lanes[lane].chain->*set.*number; });
  };
  return {field(&C::g1), field(&C::g2), field(&C::g3), field(&C::m0), field(&C::m1), field(&C::m2)};
}

HWY_INLINE void StageGroup(const StageLane* lanes, uint32_t n, uint32_t count) {
  LaneCoefficients now = LoadCoefficients(n, lanes, &StateVariableChain::now);
  const LaneCoefficients step = LoadCoefficients(n, lanes, &StateVariableChain::step);
  LaneState stages[3];
  for (uint32_t s = 0; s < 3; ++s) {
    stages[s].s1 = Gather(n, [&](uint32_t lane) { return lanes[lane].chain->stages[0][s].s1; });
    stages[s].s2 = Gather(n, [&](uint32_t lane) { return lanes[lane].chain->stages[0][s].s2; });
  }

  HWY_ALIGN float frames[kFrames * kLanes];
  HWY_ALIGN float spare[kFrames] = {};
  float* rows[kLanes];
  for (uint32_t start = 0; start < count; start += kFrames) {
    const uint32_t chunk = std::min(kFrames, count - start);
    FillRows(
        n, start, spare, [&](uint32_t lane) { return const_cast<float*>(lanes[lane].in); }, rows);
    ToFrames(rows, 0, chunk, frames);
    for (uint32_t i = 0; i < chunk; ++i) {
      now.g1 = hn::Add(now.g1, step.g1);
      now.g2 = hn::Add(now.g2, step.g2);
      now.g3 = hn::Add(now.g3, step.g3);
      now.m1 = hn::Add(now.m1, step.m1);
      V y = hn::Load(D(), frames + i * kLanes);
      y = StageTick(now, stages[0], y);
      y = StageTick(now, stages[1], y);
      y = StageTick(now, stages[2], y);
      hn::Store(y, D(), frames + i * kLanes);
    }
    FillRows(
        n, start, spare, [&](uint32_t lane) { return lanes[lane].out; }, rows);
    ToRows(frames, 0, chunk, rows);
    for (uint32_t lane = 0; lane < n; ++lane) {
      const float* gain = lanes[lane].gain + start;
      float* out = lanes[lane].out + start;
      for (uint32_t i = 0; i < chunk; ++i) out[i] *= gain[i];
    }
  }

  const auto keep = [&](V x, float StateVariableCoefficients::*number) HWY_ATTR {
    Scatter(x, n, [&](uint32_t lane, float y) { lanes[lane].chain->now.*number = y; });
  };
  keep(now.g1, &StateVariableCoefficients::g1);
  keep(now.g2, &StateVariableCoefficients::g2);
  keep(now.g3, &StateVariableCoefficients::g3);
  keep(now.m1, &StateVariableCoefficients::m1);
  for (uint32_t s = 0; s < 3; ++s) {
    Scatter(stages[s].s1, n, [&](uint32_t lane, float y) { lanes[lane].chain->stages[0][s].s1 = y; });
    Scatter(stages[s].s2, n, [&](uint32_t lane, float y) { lanes[lane].chain->stages[0][s].s2 = y; });
  }
}

void Stages(const StageLane* lanes, uint32_t laneCount, uint32_t count) {
  for (uint32_t first = 0; first < laneCount; first += kLanes) {
    StageGroup(lanes + first, std::min(kLanes, laneCount - first), count);
  }
}

// Crusher ---------------------------------------------------------------------------------------------------

struct LaneSettings {
  V dcGain, dcPole, deadband, halfScale, step, doubleStep, scale, logDivisor, expFactor;
  LaneCoefficients antiAlias;
};

struct LaneChannel {
  V dc, phase, held, slope, period, inversePeriod;
  LaneState antiAlias[2];
};

HWY_INLINE V LimitToOne(V x) {
  const V one = Constant(1.0f);
  const V top = hn::IfThenElse(hn::Lt(x, one), x, one);
  return hn::IfThenElse(hn::Gt(top, Constant(-1.0f)), top, Constant(-1.0f));
}

HWY_INLINE V SignOf(V x) {
  const V zero = hn::Zero(D());
  const V negative = hn::IfThenElse(hn::Lt(x, zero), Constant(-1.0f), zero);
  return hn::IfThenElse(hn::Gt(x, zero), Constant(1.0f), negative);
}

HWY_INLINE V FastLog2(V x) {
  const DI di;
  const auto bits = hn::BitCast(di, x);
  const V mantissa =
      hn::BitCast(D(), hn::Or(hn::And(bits, hn::Set(di, 0x007FFFFF)), hn::Set(di, 0x3F000000)));
  V y = hn::Sub(hn::Mul(hn::ConvertTo(D(), bits), Constant(1.1920929e-07f)), Constant(124.22552f));
  y = hn::Sub(y, hn::Mul(Constant(1.4980303f), mantissa));
  return hn::Sub(y, hn::Div(Constant(1.72588f), hn::Add(mantissa, Constant(0.35208872f))));
}

HWY_INLINE V CubicPow2(V e) {
  const DI di;
  auto p = hn::ConvertTo(di, e);
  const V truncated = hn::ConvertTo(D(), p);
  const V whole = hn::IfThenElse(hn::Gt(truncated, e), hn::Sub(truncated, Constant(1.0f)), truncated);
  p = hn::ConvertTo(di, whole);
  const V r = hn::Sub(e, whole);
  V m = hn::Add(Constant(0.22741129f), hn::Mul(r, Constant(0.07944154f)));
  m = hn::Add(Constant(0.6931472f), hn::Mul(r, m));
  m = hn::Add(Constant(1.0f), hn::Mul(r, m));
  return hn::BitCast(D(), hn::Add(hn::BitCast(di, m), hn::ShiftLeft<23>(p)));
}

HWY_INLINE V Quantise(const LaneSettings& c, V v) {
  const V zero = hn::Zero(D());
  const M above = hn::Gt(v, zero);
  const V magnitude = hn::IfThenElse(above, v, hn::Neg(v));
  const V whole = hn::ConvertTo(D(), hn::ConvertTo(DI(), hn::Mul(c.halfScale, magnitude)));
  const V q = hn::Add(hn::Mul(whole, c.doubleStep), c.step);
  const V onGrid = hn::IfThenElse(above, q, hn::Neg(q));
  const M inside = hn::And(hn::Gt(v, hn::Neg(c.deadband)), hn::Lt(v, c.deadband));
  return hn::IfThenElse(inside, zero, onGrid);
}

template <bool kFiltered, bool kGlide, bool kCompanding>
HWY_INLINE V CrushTick(const LaneSettings& c, LaneChannel& m, V x) {
  const V s = hn::Mul(x, c.dcGain);
  V y = hn::Add(s, m.dc);
  m.dc = hn::Neg(hn::Add(hn::Mul(c.dcPole, y), s));
  if constexpr (kFiltered) {
    y = LowPassTick(c.antiAlias, m.antiAlias[0], y);
    y = LowPassTick(c.antiAlias, m.antiAlias[1], y);
  }
  m.phase = hn::Add(m.phase, Constant(1.0f));
  const M taken = hn::Gt(m.phase, m.period);
  if (!hn::AllFalse(D(), taken)) {
    M beyond = taken;
    do {
      m.phase = hn::IfThenElse(beyond, hn::Sub(m.phase, m.period), m.phase);
      beyond = hn::Gt(m.phase, m.period);
    } while (!hn::AllFalse(D(), beyond));
    if constexpr (kGlide) {
      m.slope = hn::IfThenElse(taken, hn::Mul(hn::Sub(y, m.held), m.inversePeriod), m.slope);
    } else {
      m.held = hn::IfThenElse(taken, y, m.held);
    }
  }
  if constexpr (kGlide) m.held = hn::Add(m.held, m.slope);
  m.held = LimitToOne(m.held);

  V v = m.held;
  const V one = Constant(1.0f);
  if constexpr (kCompanding) {
    const V curve = FastLog2(hn::Add(one, hn::Mul(c.scale, hn::Abs(v))));
    v = hn::Div(hn::Mul(SignOf(v), curve), c.logDivisor);
  }
  v = Quantise(c, v);
  if constexpr (kCompanding) {
    const V e = hn::Mul(c.expFactor, hn::Abs(v));
    const V opened = hn::Div(hn::Sub(CubicPow2(e), one), c.scale);
    const V magnitude = hn::IfThenElse(hn::Ge(e, Constant(-126.0f)), opened, Constant(-1.0f));
    v = hn::Mul(SignOf(v), magnitude);
  }
  return LimitToOne(v);
}

HWY_INLINE LaneSettings LoadSettings(const CrusherLane* lanes, uint32_t n) {
  using S = CrusherSettings;
  using C = StateVariableCoefficients;
  const auto field = [&](float S::*number) HWY_ATTR {
    return Gather(n, [&](uint32_t lane) { return lanes[lane].settings->*number; });
  };
  const auto tuned = [&](float C::*number) HWY_ATTR {
    return Gather(n, [&](uint32_t lane) { return lanes[lane].settings->antiAlias.*number; });
  };
  LaneSettings c;
  c.dcGain = field(&S::dcGain);
  c.dcPole = field(&S::dcPole);
  c.deadband = field(&S::deadband);
  c.halfScale = field(&S::halfScale);
  c.step = field(&S::step);
  c.doubleStep = field(&S::doubleStep);
  c.scale = field(&S::scale);
  c.logDivisor = field(&S::logDivisor);
  c.expFactor = field(&S::expFactor);
  const V zero = hn::Zero(D());
  c.antiAlias = {tuned(&C::g1), tuned(&C::g2), tuned(&C::g3), zero, zero, zero};
  return c;
}

template <bool kFiltered, bool kGlide, bool kCompanding>
HWY_INLINE void CrushGroup(const CrusherLane* lanes, uint32_t n, uint32_t count) {
  const LaneSettings c = LoadSettings(lanes, n);
  using Channel = CrusherChannel;
  const auto field = [&](float Channel::*number) HWY_ATTR {
    return Gather(n, [&](uint32_t lane) { return lanes[lane].channel->*number; });
  };
  LaneChannel m;
  m.dc = field(&Channel::dc);
  m.phase = field(&Channel::phase);
  m.held = field(&Channel::held);
  m.slope = field(&Channel::slope);
  m.inversePeriod = field(&Channel::inversePeriod);
  // Lanes without a clone must not hold a period of 0, or their phase would never fall below it.
  m.period = hn::Max(field(&Channel::period), Constant(1.0f));
  for (uint32_t s = 0; s < 2; ++s) {
    m.antiAlias[s].s1 = Gather(n, [&](uint32_t lane) { return lanes[lane].channel->antiAlias[s].s1; });
    m.antiAlias[s].s2 = Gather(n, [&](uint32_t lane) { return lanes[lane].channel->antiAlias[s].s2; });
  }

  HWY_ALIGN float frames[kFrames * kLanes];
  HWY_ALIGN float spare[kFrames] = {};
  float* rows[kLanes];
  for (uint32_t start = 0; start < count; start += kFrames) {
    const uint32_t chunk = std::min(kFrames, count - start);
    FillRows(
        n, start, spare, [&](uint32_t lane) { return lanes[lane].data; }, rows);
    ToFrames(rows, 0, chunk, frames);
    for (uint32_t i = 0; i < chunk; ++i) {
      const V x = hn::Load(D(), frames + i * kLanes);
      hn::Store(CrushTick<kFiltered, kGlide, kCompanding>(c, m, x), D(), frames + i * kLanes);
    }
    ToRows(frames, 0, chunk, rows);
  }

  const auto keep = [&](V x, float Channel::*number) HWY_ATTR {
    Scatter(x, n, [&](uint32_t lane, float y) { lanes[lane].channel->*number = y; });
  };
  keep(m.dc, &Channel::dc);
  keep(m.phase, &Channel::phase);
  keep(m.held, &Channel::held);
  keep(m.slope, &Channel::slope);
  for (uint32_t s = 0; s < 2; ++s) {
    Scatter(m.antiAlias[s].s1, n, [&](uint32_t lane, float y) { lanes[lane].channel->antiAlias[s].s1 = y; });
    Scatter(m.antiAlias[s].s2, n, [&](uint32_t lane, float y) { lanes[lane].channel->antiAlias[s].s2 = y; });
  }
}

template <bool kFiltered, bool kGlide, bool kCompanding>
void CrushLanes(const CrusherLane* lanes, uint32_t laneCount, uint32_t count) {
  for (uint32_t first = 0; first < laneCount; first += kLanes) {
    CrushGroup<kFiltered, kGlide, kCompanding>(lanes + first, std::min(kLanes, laneCount - first), count);
  }
}

}  // namespace

constexpr LaneKernelTable kLaneKernels{
    .stages = Stages,
    .crush = {CrushLanes<false, false, false>, CrushLanes<false, false, true>, CrushLanes<false, true, false>,
              CrushLanes<false, true, true>, CrushLanes<true, false, false>, CrushLanes<true, false, true>,
              CrushLanes<true, true, false>, CrushLanes<true, true, true>}};

}  // namespace Vantora::dsp::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Vantora::dsp {

const LaneKernelTable& LaneKernelsFor(prims::SimdTarget target) noexcept {
  return *PRISMEL_KERNELS(target, kLaneKernels);
}

}  // namespace Vantora::dsp
#endif  // HWY_ONCE
