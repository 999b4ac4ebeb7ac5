#include "dsp/effects/harmonizer/ShifterKernels.h"

#include <algorithm>
#include <cmath>

#include "basictools/math/Float4.h"
#include "basictools/math/XorshiftJump.h"
#include "dsp/effects/GrainShape.h"

#include "basictools/simd/SimdTargets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/effects/harmonizer/ShifterKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "dsp/effects/harmonizer/ShifterHeads-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Vantora::dsp::HWY_NAMESPACE {
namespace {

// Reads -----

#if HWY_TARGET != HWY_EMU128

// Of two cells each.
using Neighbours = VectorPair<LaneTag>;

// data[index] and data[index + 1] of every lane. A head that plays no faster than twice the signal's pace has
// all lanes' places within two vectors' length, which straight loads and a permutation fetch sooner than a
// gather. `end` is behind the last cell.
HWY_INLINE Neighbours ReadPairs(const float* data, hn::Vec<DI> index, int32_t end) {
#if HWY_CAP_GE256
  const LaneTag d;
  const DI di;
  const int32_t first = hn::GetLane(index);
  const auto offset = hn::Sub(index, hn::Set(di, first));
  const auto fits = [&](uint32_t most) HWY_ATTR {
    const DU du;  // where what lies in front of the first is large
    const auto distance = hn::BitCast(du, offset);
    return hn::AllTrue(du, hn::Eq(hn::Min(distance, hn::Set(du, most)), distance));
  };
  if (HWY_LIKELY(first + 2 * static_cast<int32_t>(kLanes) < end)) {
    const float* x = data + first;
    if (fits(kLanes - 1)) {
      const auto lanes = hn::IndicesFromVec(d, offset);
      return {hn::TableLookupLanes(hn::LoadU(d, x), lanes), hn::TableLookupLanes(hn::LoadU(d, x + 1), lanes)};
    }
#if HWY_CAP_GE512
    if (fits(2 * kLanes - 1)) {
      return {
          LaneVector{_mm512_permutex2var_ps(_mm512_loadu_ps(x), offset.raw, _mm512_loadu_ps(x + 16))},
          LaneVector{_mm512_permutex2var_ps(_mm512_loadu_ps(x + 1), offset.raw, _mm512_loadu_ps(x + 17))}};
    }
#endif
  }
#else
  (void)end;
#endif
  return GatherPairs(LaneTag(), data, hn::BitCast(DU(), index));
}

// Where a vector's samples look: whole cells, and how far from each towards the older one.
struct Places {
  hn::Vec<DI> index;
  LaneVector frac;
};

// `now` is each sample's own cell less one, `place` how far behind the write position at that moment.
HWY_INLINE Places PlacesOf(hn::Vec<DI> now, LaneVector place) {
  const LaneTag d;
  const auto whole = TruncateFitting(d, place);
  return {hn::Sub(now, whole), hn::Sub(place, hn::ConvertTo(d, whole))};
}

HWY_INLINE LaneVector Between(const Neighbours& x, LaneVector frac) {
  return hn::Add(x.second, hn::Mul(hn::Sub(x.first, x.second), frac));
}

// A linear read anywhere in the ring.
template <bool kZeros>
HWY_INLINE LaneVector ReadHead(const DelayLine::Ring& ring, const Places& at) {
  const LaneTag d;
  const DI di;
  const DU du;
  const auto size = hn::Set(du, static_cast<uint32_t>(ring.size));
  // Below 0 and from the ring's size on the index wraps once; as numbers without a sign the wrong ones are
  // large.
  auto index = hn::BitCast(du, at.index);
  index = hn::Min(index, hn::Add(index, size));
  index = hn::Min(index, hn::Sub(index, size));
  Neighbours x = ReadPairs(ring.data, hn::BitCast(di, index), ring.size + 1);
  if constexpr (kZeros) {
    const auto begin = hn::Set(di, ring.zeroBegin);
    const auto end = hn::Set(di, ring.zeroEnd);
    const auto older = hn::BitCast(di, index);
    auto newer = hn::Add(older, hn::Set(di, 1));
    newer = hn::IfThenElse(hn::Eq(newer, hn::Set(di, ring.size)), hn::Zero(di), newer);
    const auto isSilent = [&](auto i) HWY_ATTR {
      return hn::RebindMask(d, hn::AndNot(hn::Lt(i, begin), hn::Lt(i, end)));
    };
    x.first = hn::IfThenElse(isSilent(older), hn::Zero(d), x.first);
    x.second = hn::IfThenElse(isSilent(newer), hn::Zero(d), x.second);
  }
  return Between(x, at.frac);
}

// Runs `read`, which takes the places of heads A and B and gives what they read, over a chunk.
template <bool kSteady, typename Read>
HWY_INLINE void MixHeads(int32_t startA, int32_t startB, const HeadRows& rows, float length, float* out,
                         uint32_t padded, Read read) {
  const LaneTag d;
  const DI di;
  const LaneVector way = hn::Set(d, length);
  const LaneVector one = hn::Set(d, 1.0f);
  const LaneVector steadyA = hn::Set(d, rows.sprayA[0]);
  const LaneVector steadyB = hn::Set(d, rows.sprayB[0]);
  auto nowA = hn::Add(hn::Set(di, startA - 1), hn::Load(di, kPlaces));
  auto nowB = hn::Add(hn::Set(di, startB - 1), hn::Load(di, kPlaces));
  const auto vector = hn::Set(di, static_cast<int32_t>(kLanes));
  for (uint32_t i = 0; i < padded; i += kLanes) {
    const auto place = [&](hn::Vec<DI> now, const float* delays, const float* sprays,
                           LaneVector steady) HWY_ATTR {
      const LaneVector behind = hn::Add(hn::Mul(hn::Load(d, delays + i), way), one);
      return PlacesOf(now, hn::Add(behind, kSteady ? steady : hn::Load(d, sprays + i)));
    };
    const Neighbours y = read(place(nowA, rows.places->delayA + kVector, rows.sprayA, steadyA),
                              place(nowB, rows.places->delayB, rows.sprayB, steadyB));
    hn::StoreU(hn::Add(hn::Mul(hn::Load(d, rows.places->gainA + i), y.first),
                       hn::Mul(hn::Load(d, rows.places->gainB + i), y.second)),
               d, out + i);
    nowA = hn::Add(nowA, vector);
    nowB = hn::Add(nowB, vector);
  }
}

// `start`, or as much behind the ring, for a head that walks on through the chunk and then finds all places
// without a wrap; below 0 for others.
HWY_INLINE int32_t StraightStart(const DelayLine::Ring& ring, int32_t start, const float* delays, float spray,
                                 float length, uint32_t padded) {
  const auto whole = [&](uint32_t i) { return static_cast<int32_t>(delays[i] * length + 1.0f + spray); };
  const int32_t first = whole(0);
  const int32_t last = whole(padded - 1);
  const int32_t oldest = start - 1 - std::max(first, last);
  const int32_t newest = start + static_cast<int32_t>(padded) - std::min(first, last);
  if (oldest >= 0 && newest <= ring.size) return start;
  return newest <= 0 && oldest >= -ring.size ? start + ring.size : -1;
}

void ReadHeads(const DelayLine::Ring& ring, int32_t start, const HeadRows& rows, float length, float* out,
               uint32_t padded) {
  const bool hasZeros = ring.zeroBegin < ring.zeroEnd;
  if (kHasSteadyWay && HWY_LIKELY(!hasZeros && !rows.restarts)) {
    const int32_t a =
        StraightStart(ring, start, rows.places->delayA + kVector, rows.sprayA[0], length, padded);
    const int32_t b = StraightStart(ring, start, rows.places->delayB, rows.sprayB[0], length, padded);
    if (HWY_LIKELY((a | b) >= 0)) {
      const auto read = [&](const Places& at) HWY_ATTR {
        return Between(ReadPairs(ring.data, at.index, ring.size + 1), at.frac);
      };
      MixHeads<true>(a, b, rows, length, out, padded, [&](const Places& atA, const Places& atB) HWY_ATTR {
        return Neighbours{read(atA), read(atB)};
      });
      return;
    }
  }
  const auto anywhere = [&]<bool kZeros, bool kSteady>() HWY_ATTR {
    MixHeads<kSteady>(start, start, rows, length, out, padded,
                      [&](const Places& atA, const Places& atB) HWY_ATTR {
                        return Neighbours{ReadHead<kZeros>(ring, atA), ReadHead<kZeros>(ring, atB)};
                      });
  };
  const bool isSteady = kHasSteadyWay && !rows.restarts;
  if (hasZeros) {
    isSteady ? anywhere.template operator()<true, kHasSteadyWay>()
             : anywhere.template operator()<true, false>();
  } else {
    isSteady ? anywhere.template operator()<false, kHasSteadyWay>()
             : anywhere.template operator()<false, false>();
  }
}

#else

void ReadHeads(const DelayLine::Ring& ring, int32_t start, const HeadRows& rows, float length, float* out,
               uint32_t padded) {
  const auto at = [&](int32_t index) {
    if (index < 0) index += ring.size;
    if (index >= ring.size) index -= ring.size;
    return index >= ring.zeroBegin && index < ring.zeroEnd ? 0.0f : ring.data[index];
  };
  const auto read = [&](float place, int32_t now) {
    const auto whole = static_cast<int32_t>(place);
    const float x = at(now - whole);
    return x + (at(now - whole - 1) - x) * (place - static_cast<float>(whole));
  };
  for (uint32_t i = 0; i < padded; ++i) {
    const int32_t now = start + static_cast<int32_t>(i);
    const uint32_t offset = rows.restarts ? i : 0;
    const float a = read(rows.places->delayA[kVector + i] * length + 1.0f + rows.sprayA[offset], now);
    const float b = read(rows.places->delayB[i] * length + 1.0f + rows.sprayB[offset], now);
    out[i] = rows.places->gainA[i] * a + rows.places->gainB[i] * b;
  }
}

#endif

// Sixteen shifters' lines are more than the near caches hold: what the next one will touch, a restarted
// head's new place included, is asked for while this one reads. As plain instructions, because GCC 12 drops
// its own function for them where it inlines.
HWY_INLINE void Touch(const float* place) {
#if HWY_ARCH_X86
  asm volatile("prefetcht0 %0" : : "m"(*place));
#else
  __builtin_prefetch(place);
#endif
}

// A ring's start was left long ago, and is asked for a line every other chunk.
HWY_INLINE void TouchStart(const DelayLine::Ring& ring, uint32_t count) {
  constexpr uint32_t kStartLines = kShifterChunk / kCacheLine + 1;
  const auto rest = static_cast<uint32_t>(ring.size - ring.writeIndex);
  if (HWY_LIKELY(rest >= 2 * kStartLines * count)) return;
  const uint32_t chunks = rest / count;
  if (chunks % 2 == 0) Touch(ring.data + chunks / 2 * kCacheLine);
}

// Asking for a place behind a ring's end does no harm.
void TouchLines(const ShifterBlock& block, const HeadRows& rows, uint32_t count) {
  const DelayLine::Ring ring = block.grain->GetRing();
  const DelayLine::Ring before = block.preDelay->GetRing();
  for (uint32_t i = 0; i < count + kCacheLine; i += kCacheLine) {
    Touch(ring.data + ring.writeIndex + i);
    Touch(before.data + before.writeIndex + i);
  }
  TouchStart(ring, count);
  TouchStart(before, count);
  // A head walks on as fast as it plays, up to four times as fast as the signal. Where one restarts on the
  // way has been asked for a chunk ago.
  const float pace = std::fabs(1.0f + block.step * block.length);
  const auto lines = static_cast<uint32_t>(pace * static_cast<float>(count)) / kCacheLine + 2;
  constexpr uint32_t kMostLines = kShifterChunk / 4 + 1;
  const auto touch = [&](const float* delays, const float* sprays) {
    const auto back = static_cast<int32_t>(delays[0] * block.length + sprays[0]);
    int32_t at = ring.writeIndex - back - 2;
    if (at < 0) at += ring.size;
    for (uint32_t line = 0; line < std::min(lines, kMostLines); ++line)
      Touch(ring.data + at + line * kCacheLine);
  };
  touch(rows.places->delayA + kVector, rows.sprayA);
  touch(rows.places->delayB, rows.sprayB);
}

// Where a head goes that will restart within the next chunk: from far memory, its first samples would hold up
// the block they are read in. What it draws is worked out another chunk ahead, so that no block has all of
// the trouble. A guess: only the places matter, and to within a sample.
void TouchRestarts(const ShifterBlock& block, uint32_t count) {
  ShifterHeads& heads = *block.heads;
  const float pace = std::fabs(block.step);
  const float chunk = pace * static_cast<float>(count);
  const auto ahead = [&](float place, uint32_t draw, ShifterDraw& known) HWY_ATTR {
    const float rest = block.step > 0.0f ? 1.0f - place : place;
    if (HWY_LIKELY(rest > 2.0f * chunk)) return;
    const auto first = std::min(static_cast<uint32_t>(rest / pace), 2 * count);
    const uint32_t steps = heads.drawn + 2 * first + draw;
    if (known.from != heads.random || known.steps != steps)
      known = {heads.random, steps, XorshiftJump::Apply(heads.random, steps)};
    if (rest > chunk) return;
    const float offset = SprayOf(block, known.drawn);
    const auto back = static_cast<int32_t>((block.step > 0.0f ? block.length : 0.0f) + offset);
    const DelayLine::Ring ring = block.grain->GetRing();
    const int32_t index = ring.writeIndex + static_cast<int32_t>(count + first) - back - 2;
    const float* start = ring.data + (index < 0 ? index + ring.size : index);
    const auto played =
        static_cast<int32_t>((1.0f + block.step * block.length) * static_cast<float>(count - first));
    for (int32_t i = 0; i < played + static_cast<int32_t>(kCacheLine); i += static_cast<int32_t>(kCacheLine))
      Touch(start + i);
  };
  if (pace == 0.0f) return;
  ahead(HeadA(heads.phase), 1, heads.drawA);
  ahead(HeadB(heads.phase), 2, heads.drawB);
}

// One shifter's chunk up to where its heads are and how loud.
void Prepare(const ShifterBlock& block, float* phases, bool isPlaced, HeadRows& rows, uint32_t count) {
  const uint32_t padded = (count + kVector - 1) & ~(kVector - 1);
  if (!isPlaced) {
    std::fill(phases + count, phases + padded, phases[count - 1]);
    if (block.width == 0.5f) {
      PlaceHeads<true>(phases, block.width, *rows.places, padded);
    } else {
      PlaceHeads<false>(phases, block.width, *rows.places, padded);
    }
  }
  SprayHeads(block, rows, count, padded);
  TouchLines(block, rows, count);
  TouchRestarts(block, count);
}

// GCC makes a string instruction of a short copy of unknown length, which takes longer to start than to run;
// here are whole groups of four.
HWY_INLINE void CopyTwice(const float* HWY_RESTRICT from, uint32_t count, float* HWY_RESTRICT to,
                          float* HWY_RESTRICT other) {
  uint32_t i = 0;
#if HWY_TARGET != HWY_EMU128
  const LaneTag d;
  for (; i + kLanes <= count; i += kLanes) {
    const LaneVector x = hn::LoadU(d, from + i);
    hn::StoreU(x, d, to + i);
    hn::StoreU(x, d, other + i);
  }
#endif
  for (; i < count; i += 4) {
    StoreFloat4(LoadFloat4(from + i), to + i);
    StoreFloat4(LoadFloat4(from + i), other + i);
  }
}

HWY_INLINE void CopyQuads(const float* HWY_RESTRICT from, uint32_t count, float* HWY_RESTRICT to) {
  for (uint32_t i = 0; i < count; i += 4) StoreFloat4(LoadFloat4(from + i), to + i);
}

// The rest of the chunk: the signal in, the heads' reads out.
void Finish(const ShifterBlock& block, const HeadRows& rows, uint32_t done, uint32_t count) {
  const uint32_t padded = (count + kVector - 1) & ~(kVector - 1);
  // The chunk goes in before the heads read it: they are at least a sample behind, and far from the ring's
  // end.
  alignas(64) float buffer[kShifterChunk];
  float* const out = block.out + done;
  const float* const in = block.in + done;
  const auto start = static_cast<int32_t>(block.grain->GetRing().writeIndex);
  float* const early = block.preDelay->Room(count);
  float* const late = block.grain->Room(count);
  if (HWY_LIKELY(block.preDelayed == 0 && early != nullptr && late != nullptr)) {
    CopyTwice(in, count, early, late);
    block.preDelay->TakeRoom(count);
    block.grain->TakeRoom(count);
  } else {
    block.preDelay->WriteBlock(in, count);
    if (block.preDelayed > 0) block.preDelay->CopyRun(buffer, block.preDelayed + count, count);
    block.grain->WriteBlock(block.preDelayed > 0 ? buffer : in, count);
  }
  const DelayLine::Ring ring = block.grain->GetRing();
  ReadHeads(ring, start, rows, block.length, padded == count ? out : buffer, padded);
  if (padded != count) CopyQuads(buffer, count, out);
}

// The phases of a group of shifters; those that move as one share a row.
struct GroupPhases {
  uint32_t rowCount = 0;
  uint32_t rowOf[kGroup];  // of each shifter
  alignas(64) float phases[kGroup] = {};
  alignas(64) float steps[kGroup] = {};
  alignas(64) float rows[kGroup][kShifterChunk];
};

// Left and right of a voice nearly always move as one.
HWY_INLINE bool AreTwins(const ShifterBlock& a, const ShifterBlock& b) {
  return a.step == b.step && a.width == b.width && a.heads->phase == b.heads->phase;
}

void CollectPhases(const ShifterBlock* group, uint32_t groupSize, GroupPhases& phases) {
  phases.rowCount = 0;
  for (uint32_t b = 0; b < groupSize; ++b) {
    if (b == 0 || !AreTwins(group[b - 1], group[b])) {
      phases.phases[phases.rowCount] = group[b].heads->phase;
      phases.steps[phases.rowCount] = group[b].step;
      ++phases.rowCount;
    }
    phases.rowOf[b] = phases.rowCount - 1;
  }
}

void Run(const ShifterBlock* blocks, uint32_t blockCount, uint32_t count) {
  GroupPhases phases;
  HeadPlaces places[2];
  HeadRows rows[2];
  for (uint32_t first = 0; first < blockCount; first += kGroup) {
    const ShifterBlock* const group = blocks + first;
    const uint32_t groupSize = std::min(kGroup, blockCount - first);
    for (uint32_t b = 0; b < groupSize; ++b)
      group[b].heads->way = {group[b].heads->phase, group[b].step, group[b].width, count};
    CollectPhases(group, groupSize, phases);
    for (uint32_t done = 0; done < count; done += kShifterChunk) {
      const uint32_t chunk = std::min(kShifterChunk, count - done);
      AdvancePhases(phases.phases, phases.steps, phases.rowCount, chunk, phases.rows);
      for (uint32_t b = 0; b < groupSize; ++b) group[b].heads->phase = phases.phases[phases.rowOf[b]];
      const auto prepare = [&](uint32_t b) HWY_ATTR {
        const uint32_t row = phases.rowOf[b];
        rows[b % 2].places = &places[row % 2];
        Prepare(group[b], phases.rows[row], b > 0 && phases.rowOf[b - 1] == row, rows[b % 2], chunk);
      };
      prepare(0);
      for (uint32_t b = 0; b < groupSize; ++b) {
        if (b + 1 < groupSize) prepare(b + 1);
        Finish(group[b], rows[b % 2], done, chunk);
      }
    }
  }
}

}  // namespace

constexpr ShifterKernelTable kShifterKernels{.run = Run};

}  // namespace Vantora::dsp::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Vantora::dsp {

const ShifterKernelTable& ShifterKernelsFor(SimdTarget target) noexcept {
  return *PRISMEL_KERNELS(target, kShifterKernels);
}

namespace {
const ShifterKernelTable& kBest = ShifterKernelsFor(BestSimdTarget());
}  // namespace

const ShifterKernelTable& ShifterKernels() noexcept { return kBest; }

}  // namespace Vantora::dsp
#endif  // HWY_ONCE
