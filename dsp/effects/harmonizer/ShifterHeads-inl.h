// Where a shifter's two heads stand, how loud they are and when they restart: phases of up to sixteen
// shifters side by side, then one shifter's chunk with its samples as lanes. Compiled anew for each
// instruction set: included inside ShifterKernels.cpp, before its own HWY_BEFORE_NAMESPACE.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

#include <hwy/highway.h>

#include "basictools/math/XorshiftJump.h"
#include "dsp/effects/GrainShape.h"
#include "dsp/effects/bank/LaneFrames-inl.h"
#include "dsp/effects/harmonizer/ShifterKernels.h"
#include "dsp/effects/prims/VectorMath-inl.h"

#if defined(PRISMEL_SHIFTER_HEADS_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef PRISMEL_SHIFTER_HEADS_INL
#undef PRISMEL_SHIFTER_HEADS_INL
#else
#define PRISMEL_SHIFTER_HEADS_INL
#endif

HWY_BEFORE_NAMESPACE();
namespace Vantora::dsp::HWY_NAMESPACE {
namespace {

constexpr uint32_t kVector = 16;     // loops over samples run to whole multiples of it
constexpr uint32_t kCacheLine = 16;  // floats
constexpr uint32_t kGroup = 16;      // shifters whose phases advance together

#if HWY_TARGET != HWY_EMU128
using LaneTag = hn::CappedTag<float, kGroup>;
using LaneVector = hn::Vec<LaneTag>;
constexpr uint32_t kLanes = static_cast<uint32_t>(hn::MaxLanes(LaneTag()));
#else
constexpr uint32_t kLanes = 1;
#endif

// Phases -----

#if HWY_TARGET != HWY_EMU128

// Some samples of all phases, as frames. Without `kMayWrap` none of them comes near a whole cycle.
template <bool kMayWrap, uint32_t kParts>
HWY_INLINE void AdvanceSome(LaneVector (&phase)[kParts], const LaneVector (&step)[kParts], uint32_t count,
                            float (&frames)[kParts][kFrames * kLanes]) {
  const LaneTag d;
  const hn::RebindToSigned<LaneTag> di;
  for (uint32_t i = 0; i < count; ++i) {
    for (uint32_t p = 0; p < kParts; ++p) {
      phase[p] = hn::Add(phase[p], step[p]);
      // A wrap is rare: the branch keeps the truncation out of the chain from sample to sample.
      if (kMayWrap && HWY_UNLIKELY(!hn::AllTrue(d, hn::Lt(hn::Abs(phase[p]), hn::Set(d, 1.0f)))))
        phase[p] = hn::Sub(phase[p], hn::ConvertTo(d, hn::ConvertTo(di, phase[p])));
      hn::Store(phase[p], d, frames[p] + i * kLanes);
    }
  }
}

template <uint32_t kParts>
void AdvanceParts(float* phases, const float* steps, uint32_t count, float (*rows)[kShifterChunk]) {
  const LaneTag d;
  LaneVector phase[kParts];
  LaneVector step[kParts];
  for (uint32_t p = 0; p < kParts; ++p) {
    phase[p] = hn::Load(d, phases + p * kLanes);
    step[p] = hn::Load(d, steps + p * kLanes);
  }
  HWY_ALIGN float frames[kParts][kFrames * kLanes];
  for (uint32_t start = 0; start < count; start += kFrames) {
    const uint32_t chunk = std::min(kFrames, count - start);
    // Far enough from a whole cycle for the roundings of that many sums.
    auto furthest = hn::Zero(d);
    for (uint32_t p = 0; p < kParts; ++p) {
      const auto way = hn::Mul(hn::Abs(step[p]), hn::Set(d, static_cast<float>(kFrames)));
      furthest = hn::Max(furthest, hn::Add(hn::Abs(phase[p]), way));
    }
    if (HWY_LIKELY(hn::AllTrue(d, hn::Lt(furthest, hn::Set(d, 0.999f))))) {
      AdvanceSome<false>(phase, step, chunk, frames);
    } else {
      AdvanceSome<true>(phase, step, chunk, frames);
    }
    for (uint32_t p = 0; p < kParts; ++p) {
      float* part[kLanes];
      for (uint32_t lane = 0; lane < kLanes; ++lane) part[lane] = rows[p * kLanes + lane] + start;
      ToRows<kLanes>(frames[p], chunk, part);
    }
  }
  for (uint32_t p = 0; p < kParts; ++p) hn::Store(phase[p], d, phases + p * kLanes);
}

// rows[shifter][sample], for up to sixteen phases with the steps that they take.
void AdvancePhases(float (&phases)[kGroup], const float (&steps)[kGroup], uint32_t phaseCount, uint32_t count,
                   float (*rows)[kShifterChunk]) {
  if (phaseCount <= kLanes) {
    AdvanceParts<1>(phases, steps, count, rows);
  } else if (kLanes < kGroup / 2 && phaseCount <= 2 * kLanes) {
    AdvanceParts<std::min(2u, kGroup / kLanes)>(phases, steps, count, rows);
  } else {
    AdvanceParts<kGroup / kLanes>(phases, steps, count, rows);
  }
}

#else

void AdvancePhases(float (&phases)[kGroup], const float (&steps)[kGroup], uint32_t phaseCount, uint32_t count,
                   float (*rows)[kShifterChunk]) {
  for (uint32_t b = 0; b < phaseCount; ++b) {
    float phase = phases[b];
    for (uint32_t i = 0; i < count; ++i) {
      phase += steps[b];
      if (!(std::fabs(phase) < 1.0f)) phase = Fraction(phase);
      rows[b][i] = phase;
    }
    phases[b] = phase;
  }
}

#endif

// Heads -----

// Where the heads stand and how loud they are, in whole vectors. One vector in front of `delayA` belongs to
// the sample before.
struct HeadPlaces {
  alignas(64) float delayA[kVector + kShifterChunk];
  alignas(64) float delayB[kShifterChunk];
  alignas(64) float gainA[kShifterChunk];
  alignas(64) float gainB[kShifterChunk];
};

// Whether a chunk in which no head restarts is read on a way of its own. With few vectors in a chunk that
// saves nothing, and who restarts would wait for instructions that are far.
constexpr bool kHasSteadyWay = kLanes < 16;

// What the reads of one shifter's chunk need. The offsets lie in rows only if one of the heads restarts, or
// there is but one way.
struct HeadRows {
  HeadPlaces* places;
  bool restarts;
  alignas(64) float sprayA[kShifterChunk];
  alignas(64) float sprayB[kShifterChunk];
};

#if HWY_TARGET != HWY_EMU128

// ParabolicSine of 0 to half a turn, where neither angle nor sine is negative.
HWY_INLINE LaneVector SineOf(LaneVector angle) {
  const LaneTag d;
  const LaneVector bend = hn::Mul(hn::Set(d, 0.40528473f), angle);
  const LaneVector y = hn::Mul(angle, hn::Sub(hn::Set(d, 1.2732395f), bend));
  return hn::Add(y, hn::Mul(hn::Set(d, 0.225f), hn::Sub(hn::Mul(y, y), y)));
}

// HeadGain of GrainShape.h, with `rest` of 1 - h, without what a phase leaves no use for: h is a multiple of
// 2^-24 from 0 to below 1, so that 1 - h and 1 - 2 h are exact and nothing exceeds a limit of 1; the lesser
// of both ends of the way is the one that lies inside a window, if any does.
template <bool kHalf>
HWY_INLINE LaneVector GainOf(LaneVector h, LaneVector rest, LaneVector width, LaneVector narrowing,
                             LaneVector quarterTurns) {
  const LaneTag d;
  const LaneVector one = hn::Set(d, 1.0f);
  if constexpr (kHalf) {
    const LaneVector v = LesserOf(d, h, rest);
    const LaneVector middle = hn::IfThenElseZero(hn::Eq(v, hn::Set(d, 0.5f)), one);  // the sine misses it
    return GreaterOf(d, SineOf(hn::Mul(hn::Set(d, 3.1415927f), v)), middle);
  } else {
    const LaneVector way = hn::Sub(one, hn::Add(h, h));
    const LaneVector t = GreaterOf(d, hn::Zero(d), hn::Add(hn::Mul(way, narrowing), width));
    const LaneVector v = LesserOf(d, t, hn::Sub(one, t));
    const LaneVector angle = hn::Mul(hn::Set(d, 6.2831855f), hn::Div(v, quarterTurns));
    return hn::IfThenElse(hn::Lt(v, width), SineOf(angle), one);
  }
}

template <bool kHalf>
void PlaceHeads(const float* HWY_RESTRICT phases, float width, HeadPlaces& places, uint32_t padded) {
  const LaneTag d;
  const LaneVector one = hn::Set(d, 1.0f);
  const LaneVector crossfade = hn::Set(d, width);
  const LaneVector narrowing = hn::Set(d, 1.0f - width);
  const LaneVector quarterTurns = hn::Set(d, 4.0f * (width == 0.0f ? 1e-8f : width));
  const auto fraction = [&](LaneVector x)
                            HWY_ATTR { return hn::Sub(x, hn::ConvertTo(d, TruncateFitting(d, x))); };
  for (uint32_t i = 0; i < padded; i += kLanes) {
    const LaneVector phase = hn::Load(d, phases + i);
    const LaneVector a = fraction(hn::Add(phase, one));
    const LaneVector b = fraction(hn::Add(phase, hn::Set(d, 1.5f)));
    const LaneVector restA = hn::Sub(one, a);
    const LaneVector restB = hn::Sub(one, b);
    hn::Store(GainOf<kHalf>(a, restA, crossfade, narrowing, quarterTurns), d, places.gainA + i);
    hn::Store(GainOf<kHalf>(b, restB, crossfade, narrowing, quarterTurns), d, places.gainB + i);
    hn::Store(restA, d, places.delayA + kVector + i);
    hn::Store(restB, d, places.delayB + i);
  }
}

#else

template <bool kHalf>
void PlaceHeads(const float* __restrict phases, float width, HeadPlaces& places, uint32_t padded) {
  float* __restrict delayA = places.delayA + kVector;
  float* __restrict delayB = places.delayB;
  float* __restrict gainA = places.gainA;
  float* __restrict gainB = places.gainB;
  for (uint32_t i = 0; i < padded; ++i) {
    const float a = HeadA(phases[i]);
    const float b = HeadB(phases[i]);
    gainA[i] = HeadGain<kHalf>(a, width);
    gainB[i] = HeadGain<kHalf>(b, width);
    delayA[i] = HeadDelay(a);
    delayB[i] = HeadDelay(b);
  }
}

#endif

// False where both heads walk on through the chunk: by less than a quarter of their way, so that where their
// delays begin and end shows whether one jumped, or A passed the middle.
HWY_INLINE bool MayRestart(const ShifterBlock& block, const HeadPlaces& places, uint32_t count) {
  const float before = block.heads->previousDelayA;
  const float a = places.delayA[kVector];
  const float b = places.delayB[0];
  const float lastA = places.delayA[kVector + count - 1];
  const float lastB = places.delayB[count - 1];
  if (!(std::fabs(block.step) * static_cast<float>(count) < 0.25f)) return true;
  if (block.semitones >= 0.0f) {
    return !(block.step >= 0.0f && before >= a && a >= lastA && b >= lastB) ||
           (before > 0.5f && lastA <= 0.5f);
  }
  return !(block.step <= 0.0f && before <= a && a <= lastA && b <= lastB) || (before <= 0.5f && lastA > 0.5f);
}

// How much further back a head goes that has drawn so.
HWY_INLINE float SprayOf(const ShifterBlock& block, uint32_t draw) {
  const float size = std::fabs(block.semitones);
  return size * 2.3283064e-10f * static_cast<float>(draw) * block.spraySize / (size + 0.01f);
}

// A head restarts where its delay jumps back; head B where A's passes the middle of its way. Each restart
// draws a new offset, from where the generator stands at that sample. Returns it.
HWY_INLINE float Restart(const ShifterBlock& block, bool isA, uint32_t i) {
  ShifterHeads& heads = *block.heads;
  const ShifterDraw& known = isA ? heads.drawA : heads.drawB;
  const uint32_t steps = heads.drawn + 2 * i + (isA ? 1 : 2);
  const uint32_t draw = known.from == heads.random && known.steps == steps
                            ? known.drawn
                            : XorshiftJump::Apply(heads.random, steps);
  const float offset = SprayOf(block, draw);
  (isA ? heads.sprayA : heads.sprayB) = offset;
  return offset;
}

#if HWY_TARGET != HWY_EMU128

using DI = hn::RebindToSigned<LaneTag>;
using DU = hn::RebindToUnsigned<LaneTag>;

alignas(64) constexpr int32_t kPlaces[kGroup] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};

// By whole vectors, as they are loaded: a load across narrower stores would wait for them.
HWY_INLINE void FillRow(float* spray, uint32_t padded, float offset) {
  const LaneTag d;
  for (uint32_t i = 0; i < padded; i += kLanes) hn::Store(hn::Set(d, offset), d, spray + i);
}

// spray[from..padded) = offset.
HWY_INLINE void FillFrom(float* spray, uint32_t from, uint32_t padded, float offset) {
  const LaneTag d;
  const DI di;
  const auto start = hn::Set(di, static_cast<int32_t>(from));
  for (uint32_t i = 0; i < padded; i += kLanes) {
    const auto place = hn::Add(hn::Load(di, kPlaces), hn::Set(di, static_cast<int32_t>(i)));
    const auto stays = hn::RebindMask(d, hn::Lt(place, start));
    hn::Store(hn::IfThenElse(stays, hn::Load(d, spray + i), hn::Set(d, offset)), d, spray + i);
  }
}

HWY_INLINE uint32_t BitsOfMask(hn::Mask<LaneTag> mask) {
  alignas(8) uint8_t bytes[8] = {};
  hn::StoreMaskBits(LaneTag(), mask, bytes);
  return bytes[0] | static_cast<uint32_t>(bytes[1]) << 8;
}

void FindRestarts(const ShifterBlock& block, HeadRows& rows, uint32_t count, uint32_t padded) {
  const LaneTag d;
  const LaneVector half = hn::Set(d, 0.5f);
  const float* delayA = rows.places->delayA + kVector;
  const bool rising = block.semitones >= 0.0f;
  static_assert(kShifterChunk <= 64);
  uint64_t a = 0;
  uint64_t either = 0;
  for (uint32_t first = 0; first < count; first += kLanes) {
    const LaneVector now = hn::Load(d, delayA + first);
    const LaneVector before = hn::LoadU(d, delayA + first - 1);
    const auto isA = rising ? hn::Gt(now, before) : hn::Lt(now, before);
    const auto isB = rising ? hn::And(hn::Gt(before, half), hn::Le(now, half))
                            : hn::And(hn::Le(before, half), hn::Gt(now, half));
    a |= static_cast<uint64_t>(BitsOfMask(isA)) << first;
    either |= static_cast<uint64_t>(BitsOfMask(hn::Or(isA, isB))) << first;
  }
  if (count < 64) either &= (uint64_t{1} << count) - 1u;
  for (; either != 0; either &= either - 1) {
    const auto i = static_cast<uint32_t>(__builtin_ctzll(either));
    const bool restartsA = (a >> i & 1u) != 0;
    FillFrom(restartsA ? rows.sprayA : rows.sprayB, i, padded, Restart(block, restartsA, i));
  }
}

#else

void FillRow(float* spray, uint32_t padded, float offset) { std::fill_n(spray, padded, offset); }

void FindRestarts(const ShifterBlock& block, HeadRows& rows, uint32_t count, uint32_t padded) {
  const float* now = rows.places->delayA + kVector;
  const float* before = now - 1;
  const bool rising = block.semitones >= 0.0f;
  for (uint32_t i = 0; i < count; ++i) {
    const bool isA = rising ? now[i] > before[i] : now[i] < before[i];
    const bool isB = rising ? before[i] > 0.5f && now[i] <= 0.5f : before[i] <= 0.5f && now[i] > 0.5f;
    if (!isA && !isB) continue;
    float* spray = isA ? rows.sprayA : rows.sprayB;
    std::fill(spray + i, spray + padded, Restart(block, isA, i));
  }
}

#endif

void SprayHeads(const ShifterBlock& block, HeadRows& rows, uint32_t count, uint32_t padded) {
  ShifterHeads& heads = *block.heads;
  float* delayA = rows.places->delayA + kVector;
  rows.restarts = MayRestart(block, *rows.places, count);
  if (kHasSteadyWay && HWY_LIKELY(!rows.restarts)) {
    rows.sprayA[0] = heads.sprayA;
    rows.sprayB[0] = heads.sprayB;
  } else {
    FillRow(rows.sprayA, padded, heads.sprayA);
    FillRow(rows.sprayB, padded, heads.sprayB);
  }
  if (HWY_UNLIKELY(rows.restarts)) {
    delayA[-1] = heads.previousDelayA;
    FindRestarts(block, rows, count, padded);
  }
  heads.previousDelayA = delayA[count - 1];
  heads.drawn += 2 * count;
  // A jump of many steps costs what one of few does, so that blocks take theirs together.
  static_assert(XorshiftJump::kHalf > 6 * kShifterChunk + 2);
  if (HWY_LIKELY(heads.drawn < XorshiftJump::kHalf)) return;
  const uint32_t before = std::exchange(heads.random, XorshiftJump::ApplyHalf(heads.random));
  heads.drawn -= XorshiftJump::kHalf;
  for (ShifterDraw* known : {&heads.drawA, &heads.drawB}) {
    if (known->from == before) *known = {heads.random, known->steps - XorshiftJump::kHalf, known->drawn};
  }
}

}  // namespace
}  // namespace Vantora::dsp::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // toggle
