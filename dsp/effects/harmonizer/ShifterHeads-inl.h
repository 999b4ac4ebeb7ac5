// Where a shifter's two heads stand, how loud they are and when they restart: phases of up to sixteen
// shifters side by side, then one shifter's chunk with its samples as lanes. Compiled anew for each
// instruction set: included inside ShifterKernels.cpp, before its own HWY_BEFORE_NAMESPACE.
#include <algorithm>
#include <cmath>
#include <cstdint>

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
#endif

// Phases -----

#if HWY_TARGET != HWY_EMU128

// rows[shifter][sample], for up to sixteen of them.
void AdvancePhases(const ShifterBlock* blocks, uint32_t blockCount, uint32_t count,
                   float (*rows)[kShifterChunk]) {
  constexpr uint32_t kParts = kGroup / kLanes;
  const LaneTag d;
  HWY_ALIGN float phases[kGroup] = {};
  HWY_ALIGN float steps[kGroup] = {};
  for (uint32_t b = 0; b < blockCount; ++b) {
    phases[b] = blocks[b].heads->phase;
    steps[b] = blocks[b].step;
  }
  LaneVector phase[kParts];
  LaneVector step[kParts];
  for (uint32_t p = 0; p < kParts; ++p) {
    phase[p] = hn::Load(d, phases + p * kLanes);
    step[p] = hn::Load(d, steps + p * kLanes);
  }
  const LaneVector one = hn::Set(d, 1.0f);
  const hn::RebindToSigned<LaneTag> di;
  HWY_ALIGN float frames[kParts][kFrames * kLanes];
  for (uint32_t start = 0; start < count; start += kFrames) {
    const uint32_t chunk = std::min(kFrames, count - start);
    for (uint32_t i = 0; i < chunk; ++i) {
      for (uint32_t p = 0; p < kParts; ++p) {
        phase[p] = hn::Add(phase[p], step[p]);
        // A wrap is rare: the branch keeps the truncation out of the chain from sample to sample.
        if (HWY_UNLIKELY(!hn::AllTrue(d, hn::Lt(hn::Abs(phase[p]), one)))) {
          phase[p] = hn::Sub(phase[p], hn::ConvertTo(d, hn::ConvertTo(di, phase[p])));
        }
        hn::Store(phase[p], d, frames[p] + i * kLanes);
      }
    }
    for (uint32_t p = 0; p < kParts; ++p) {
      float* part[kLanes];
      for (uint32_t lane = 0; lane < kLanes; ++lane) part[lane] = rows[p * kLanes + lane] + start;
      ToRows<kLanes>(frames[p], chunk, part);
    }
  }
  for (uint32_t p = 0; p < kParts; ++p) hn::Store(phase[p], d, phases + p * kLanes);
  for (uint32_t b = 0; b < blockCount; ++b) blocks[b].heads->phase = phases[b];
}

#else

void AdvancePhases(const ShifterBlock* blocks, uint32_t blockCount, uint32_t count,
                   float (*rows)[kShifterChunk]) {
  for (uint32_t b = 0; b < blockCount; ++b) {
    float phase = blocks[b].heads->phase;
    for (uint32_t i = 0; i < count; ++i) {
      phase += blocks[b].step;
      if (!(std::fabs(phase) < 1.0f)) phase = Fraction(phase);
      rows[b][i] = phase;
    }
    blocks[b].heads->phase = phase;
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

// What the reads of one shifter's chunk need.
struct HeadRows {
  HeadPlaces* places;
  alignas(64) float sprayA[kShifterChunk];
  alignas(64) float sprayB[kShifterChunk];
};

#if HWY_TARGET != HWY_EMU128

// ParabolicSine.
HWY_INLINE LaneVector SineOf(LaneVector angle) {
  const LaneTag d;
  const LaneVector bend = hn::Mul(hn::Set(d, 0.40528473f), hn::Abs(angle));
  const LaneVector y = hn::Mul(angle, hn::Sub(hn::Set(d, 1.2732395f), bend));
  return hn::Add(y, hn::Mul(hn::Set(d, 0.225f), hn::Sub(hn::Mul(y, hn::Abs(y)), y)));
}

// 0..1, with what isn't a number left as it is.
HWY_INLINE LaneVector HeldInRange(LaneVector x) {
  const LaneTag d;
  return GreaterOf(d, hn::Zero(d), LesserOf(d, hn::Set(d, 1.0f), x));
}

// HeadGain of GrainShape.h.
template <bool kHalf>
HWY_INLINE LaneVector GainOf(LaneVector h, LaneVector width, LaneVector narrowing, LaneVector quarterTurns) {
  const LaneTag d;
  const LaneVector one = hn::Set(d, 1.0f);
  const LaneVector way = hn::Sub(one, hn::Add(h, h));
  const LaneVector t = HeldInRange(hn::Add(hn::Mul(way, narrowing), width));
  const LaneVector v = hn::IfThenElse(hn::Lt(t, width), t, hn::Sub(one, t));
  const LaneVector turn = kHalf ? hn::Mul(v, hn::Set(d, 0.5f)) : hn::Div(v, quarterTurns);
  return hn::IfThenElse(hn::Lt(v, width), SineOf(hn::Mul(hn::Set(d, 6.2831855f), turn)), one);
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
    hn::Store(GainOf<kHalf>(a, crossfade, narrowing, quarterTurns), d, places.gainA + i);
    hn::Store(GainOf<kHalf>(b, crossfade, narrowing, quarterTurns), d, places.gainB + i);
    hn::Store(HeldInRange(hn::Sub(one, a)), d, places.delayA + kVector + i);
    hn::Store(HeldInRange(hn::Sub(one, b)), d, places.delayB + i);
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

// A head restarts where its delay jumps back; head B where A's passes the middle of its way. Each restart
// draws a new offset, from where the generator stands at that sample. Returns it.
HWY_INLINE float Restart(const ShifterBlock& block, bool isA, uint32_t i) {
  ShifterHeads& heads = *block.heads;
  const ShifterDraw& known = isA ? heads.drawA : heads.drawB;
  const uint32_t steps = 2 * i + (isA ? 1 : 2);
  const uint32_t draw = known.from == heads.random && known.steps == steps
                            ? known.drawn
                            : XorshiftJump::Apply(heads.random, steps);
  const float size = std::fabs(block.semitones);
  const float offset = size * 2.3283064e-10f * static_cast<float>(draw) * block.spraySize / (size + 0.01f);
  (isA ? heads.sprayA : heads.sprayB) = offset;
  return offset;
}

#if HWY_TARGET != HWY_EMU128

using DI = hn::RebindToSigned<LaneTag>;
using DU = hn::RebindToUnsigned<LaneTag>;

alignas(64) constexpr int32_t kPlaces[kGroup] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};

// spray[from..end) = offset.
HWY_INLINE void FillFrom(float* spray, uint32_t from, uint32_t end, float offset) {
  const LaneTag d;
  const DI di;
  const LaneVector all = hn::Set(d, offset);
  uint32_t i = from & ~(kLanes - 1);
  const auto stays = hn::Lt(hn::Load(di, kPlaces), hn::Set(di, static_cast<int32_t>(from - i)));
  hn::Store(hn::IfThenElse(hn::RebindMask(d, stays), hn::Load(d, spray + i), all), d, spray + i);
  for (i += kLanes; i < end; i += kLanes) hn::Store(all, d, spray + i);
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
  for (uint32_t first = 0; first < count; first += kLanes) {
    const LaneVector now = hn::Load(d, delayA + first);
    const LaneVector before = hn::LoadU(d, delayA + first - 1);
    const auto isA = rising ? hn::Gt(now, before) : hn::Lt(now, before);
    const auto isB = rising ? hn::And(hn::Gt(before, half), hn::Le(now, half))
                            : hn::And(hn::Le(before, half), hn::Gt(now, half));
    if (HWY_LIKELY(hn::AllFalse(d, hn::Or(isA, isB)))) continue;
    const uint32_t a = BitsOfMask(isA);
    uint32_t either = a | BitsOfMask(isB);
    if (count - first < kLanes) either &= (1u << (count - first)) - 1u;
    for (; either != 0; either &= either - 1) {
      const auto lane = static_cast<uint32_t>(__builtin_ctz(either));
      const bool restartsA = (a >> lane & 1u) != 0;
      FillFrom(restartsA ? rows.sprayA : rows.sprayB, first + lane, padded,
               Restart(block, restartsA, first + lane));
    }
  }
}

#else

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
  delayA[-1] = heads.previousDelayA;
  std::fill_n(rows.sprayA, padded, heads.sprayA);
  std::fill_n(rows.sprayB, padded, heads.sprayB);
  FindRestarts(block, rows, count, padded);
  heads.previousDelayA = delayA[count - 1];
  heads.random = XorshiftJump::Apply(heads.random, 2 * count);
}

}  // namespace
}  // namespace Vantora::dsp::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // toggle
