#include "dsp/stage/StageKernels.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "basictools/BitCast.h"
#include "basictools/math/SinCos.h"
#include "basictools/math/WholeQuads.h"
#include "dsp/control/DelayLine.h"

#include "basictools/simd/SimdTargets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/stage/StageKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "dsp/effects/prims/VectorMath-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Vantora::dsp::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_EMU128

using D = hn::CappedTag<float, kVectorPadding>;
using DI = hn::RebindToSigned<D>;
constexpr uint32_t kLanes = static_cast<uint32_t>(hn::MaxLanes(D()));

// Highway 1.0.3's Iota becomes sixteen stores and a load that waits for them.
alignas(64) constexpr int32_t kPlaces[kVectorPadding] = {0, 1, 2,  3,  4,  5,  6,  7,
                                                         8, 9, 10, 11, 12, 13, 14, 15};

// How many whole samples the samples of `kParts` vectors look back, and how much further.
struct TapPlaces {
  hn::Vec<DI> whole;
  hn::Vec<D> frac;
};
constexpr uint32_t kParts = kVectorPadding / kLanes;

HWY_INLINE hn::Vec<D> Between(hn::Vec<D> newer, hn::Vec<D> older, hn::Vec<D> frac) {
  return hn::Add(newer, hn::Mul(hn::Sub(older, newer), frac));
}

HWY_INLINE void ReadTapApart(const TapPlaces& at, int32_t furthest, const float* x, float* tap) {
  const D d;
  const DI di;
  const auto older = hn::Sub(hn::Load(di, kPlaces), hn::Min(at.whole, hn::Set(di, furthest)));
  const VectorPair<D> read = GatherPairs(d, x - 1, older);
  hn::StoreU(Between(read.second, read.first, at.frac), d, tap);
}

// No lane has a bit outside of `bits`.
HWY_INLINE bool HasOnly(int32_t bits, hn::Vec<DI> x) {
  const DI di;
#if HWY_TARGET == HWY_AVX2
  return _mm256_testz_si256(x.raw, hn::Set(di, ~bits).raw) != 0;
#elif HWY_TARGET == HWY_SSE4
  return _mm_testz_si128(x.raw, hn::Set(di, ~bits).raw) != 0;
#else
  return hn::AllTrue(di, hn::Eq(hn::And(x, hn::Set(di, bits)), x));
#endif
}

// The whole vectors of a block whose samples all look at the whole place `whole`; false when they don't.
HWY_INLINE bool ReadTapStanding(const TapRead& read, int32_t whole, uint32_t count) {
  const D d;
  const DI di;
  const auto from = static_cast<float>(whole);
  const auto bits = BitCast<int32_t>(from);
  const float* HWY_RESTRICT ramp = read.ramp;
  const float* HWY_RESTRICT depth = read.depth;
  const float* HWY_RESTRICT x = read.line - whole;
  float* HWY_RESTRICT tap = read.tap;
  const auto start = hn::Set(d, from);
  const auto startBits = hn::Set(di, bits);
  auto all = hn::Zero(di);
  for (std::size_t i = 0; i + kLanes <= count; i += kLanes) {
    const auto delay = hn::Mul(hn::Load(d, ramp + i), hn::Load(d, depth + i));
    all = hn::Or(all, hn::Sub(hn::BitCast(di, delay), startBits));
    const auto frac = hn::Sub(delay, start);
    hn::StoreU(Between(hn::LoadU(d, x + i), hn::LoadU(d, x + i - 1), frac), d, tap + i);
  }
  // Numbers are in the order of their bits; from a whole one to the next there are a power of two of them.
  return HasOnly((1 << (150 - (bits >> 23))) - 1, all);
}

#if !HWY_CAP_GE256
// The same where they look at that place or the next further one: three straight loads serve.
HWY_INLINE bool ReadTapBetweenTwo(const TapRead& read, int32_t whole, uint32_t count) {
  const D d;
  const float* HWY_RESTRICT ramp = read.ramp;
  const float* HWY_RESTRICT depth = read.depth;
  const float* HWY_RESTRICT x = read.line - whole;
  float* HWY_RESTRICT tap = read.tap;
  const auto start = hn::Set(d, static_cast<float>(whole));
  const auto one = hn::Set(d, 1.0f);
  auto all = hn::Zero(d);
  for (std::size_t i = 0; i + kLanes <= count; i += kLanes) {
    const auto delay = hn::Mul(hn::Load(d, ramp + i), hn::Load(d, depth + i));
    const auto a = hn::LoadU(d, x + i);
    const auto b = hn::LoadU(d, x + i - 1);
    const auto c = hn::LoadU(d, x + i - 2);
    const auto beyond = hn::Sub(delay, start);
    const auto isFar = hn::Ge(beyond, one);
    all = hn::Or(all, beyond);
    const auto frac = hn::Sub(beyond, hn::IfThenElseZero(isFar, one));
    hn::StoreU(Between(hn::IfThenElse(isFar, b, a), hn::IfThenElse(isFar, c, b), frac), d, tap + i);
  }
  // Numbers from 0 up to 2 are those without the two highest bits.
  return HasOnly(0x3FFFFFFF, hn::BitCast(DI(), all));
}
#endif

#if HWY_CAP_GE256
// False when one of the samples looks some samples further or less far back than the first one. Else two
// straight loads hold all places of a vector.
HWY_INLINE bool ReadTapNear(const TapPlaces (&at)[kParts], int32_t furthest, const float* x, float* tap) {
  const D d;
  const DI di;
  constexpr int32_t kMost = kLanes / 2;  // samples further back than the first
  const int32_t last = std::min(hn::GetLane(at[0].whole), furthest) + kMost;
  hn::Vec<DI> nearer[kParts];
  auto all = hn::Zero(di);
  for (uint32_t p = 0; p < kParts; ++p) {
    nearer[p] = hn::Sub(hn::Set(di, last), hn::Min(at[p].whole, hn::Set(di, furthest)));
    all = hn::Or(all, nearer[p]);
  }
  if (HWY_UNLIKELY(!HasOnly(kLanes - 1, all))) return false;
  const float* window = x - last - 1;
  for (uint32_t p = 0; p < kParts; ++p) {
    const float* from = window + p * kLanes;
    const auto place = hn::Add(nearer[p], hn::Load(di, kPlaces));
    const auto older = LookUpTwo(d, hn::LoadU(d, from), hn::LoadU(d, from + kLanes), place);
    const auto newer = LookUpTwo(d, hn::LoadU(d, from + 1), hn::LoadU(d, from + 1 + kLanes), place);
    hn::StoreU(Between(newer, older, at[p].frac), d, tap + p * kLanes);
  }
  return true;
}
#else
// False when the samples look at more than two whole places: else these are neighbours, and three straight
// loads serve.
HWY_INLINE bool ReadTapNear(const TapPlaces (&at)[kParts], int32_t furthest, const float* x, float* tap) {
  const D d;
  const DI di;
  int32_t nearest = hn::GetLane(at[0].whole);
  hn::Vec<DI> steps[kParts];
  const auto areBits = [&]() HWY_ATTR {
    auto all = hn::Zero(di);
    for (uint32_t p = 0; p < kParts; ++p) {
      steps[p] = hn::Sub(at[p].whole, hn::Set(di, nearest));
      all = hn::Or(all, steps[p]);
    }
    return HasOnly(1, all);
  };
  if (HWY_UNLIKELY(nearest >= furthest)) return false;
  if (HWY_UNLIKELY(!areBits())) {
    --nearest;  // the first one may look at the further place
    if (!areBits()) return false;
  }
  x -= nearest;
  for (uint32_t p = 0; p < kParts; ++p) {
    const uint32_t k = p * kLanes;
    const auto a = hn::LoadU(d, x + k);
    const auto b = hn::LoadU(d, x + k - 1);
    const auto c = hn::LoadU(d, x + k - 2);
    const auto isFar = hn::RebindMask(d, hn::Eq(steps[p], hn::Set(di, 1)));
    hn::StoreU(Between(hn::IfThenElse(isFar, b, a), hn::IfThenElse(isFar, c, b), at[p].frac), d, tap + k);
  }
  return true;
}
#endif

void ReadTap(const TapRead& read, uint32_t count) {
  if (count == 0) return;
  const D d;
  const DI di;
  const auto one = hn::Set(d, 1.0f);
  const float* HWY_RESTRICT line = read.line;
  const float* HWY_RESTRICT ramp = read.ramp;
  const float* HWY_RESTRICT depth = read.depth;
  float* HWY_RESTRICT tap = read.tap;
  // The ends tell nearly always what the whole block looks at. Where one vector is a run it is no gain.
  std::size_t i = 0;
  const float first = ramp[0] * depth[0];
  const float last = ramp[count - 1] * depth[count - 1];
  const auto isWithin = [&](float delay) {
    return delay >= 1.0f && delay < static_cast<float>(read.furthest);
  };
  if (kParts > 1 && HWY_LIKELY(isWithin(first) && isWithin(last))) {
    const auto begin = static_cast<int32_t>(first);
    const auto end = static_cast<int32_t>(last);
    // What is left goes on at a run.
    const uint32_t whole = count % kLanes == 0 ? count : count / kVectorPadding * kVectorPadding;
    if (begin == end) {
      if (HWY_LIKELY(ReadTapStanding(read, begin, whole))) i = whole;
    }
#if !HWY_CAP_GE256
    else if (begin - end == 1 || end - begin == 1) {
      if (HWY_LIKELY(ReadTapBetweenTwo(read, std::min(begin, end), whole))) i = whole;
    }
#endif
  }
  for (; i < count; i += kVectorPadding) {
    TapPlaces at[kParts];
    for (uint32_t p = 0; p < kParts; ++p) {
      const std::size_t k = i + p * kLanes;
      const auto delay = GreaterOf(d, hn::Mul(hn::Load(d, ramp + k), hn::Load(d, depth + k)), one);
      const auto whole = TruncateFitting(d, delay);
      at[p] = {whole, hn::Sub(delay, hn::ConvertTo(d, whole))};
    }
    // What lies behind the block looks where the first one does.
    if (HWY_UNLIKELY(count - i < kVectorPadding)) {
      const auto theFirst = hn::Set(di, hn::GetLane(at[0].whole));
      for (std::size_t p = 0, left = count - i; p < kParts; ++p) {
        at[p].whole =
            hn::IfThenElse(hn::FirstN(di, std::min<std::size_t>(left, kLanes)), at[p].whole, theFirst);
        left -= std::min<std::size_t>(left, kLanes);
      }
    }
    if (HWY_LIKELY(ReadTapNear(at, read.furthest, line + i, tap + i))) continue;
    for (uint32_t p = 0; p < kParts; ++p) {
      const std::size_t k = i + p * kLanes;
      ReadTapApart(at[p], read.furthest, line + k, tap + k);
    }
  }
}

void SumVoices(const float* const* voices, const float* const* gains, uint32_t voiceCount,
               const float* common, float* sum, uint32_t count) {
  const D d;
  for (std::size_t i = 0; i < count; i += kVectorPadding) {
    hn::Vec<D> shared[kParts];
    hn::Vec<D> total[kParts];
    for (uint32_t p = 0; p < kParts; ++p) {
      shared[p] = hn::Load(d, common + i + p * kLanes);
      total[p] = hn::Zero(d);
    }
    for (uint32_t v = 0; v < voiceCount; ++v) {
      const float* HWY_RESTRICT voice = voices[v] + i;
      const float* HWY_RESTRICT gain = gains[v] + i;
      for (uint32_t p = 0; p < kParts; ++p) {
        const auto heard = hn::Mul(hn::Load(d, voice + p * kLanes), shared[p]);
        total[p] = hn::Add(total[p], hn::Mul(heard, hn::Load(d, gain + p * kLanes)));
      }
    }
    for (uint32_t p = 0; p < kParts; ++p) hn::Store(total[p], d, sum + i + p * kLanes);
  }
}

#else  // plain loops serve where there are no vectors of a known kind

void ReadTap(const TapRead& read, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) {
    const float swept = read.ramp[i] * read.depth[i];
    const float delay = swept > 1.0f ? swept : 1.0f;
    const auto whole = static_cast<int32_t>(delay);
    const float* x = read.line + (static_cast<int32_t>(i) - std::min(whole, read.furthest));
    read.tap[i] = x[0] + (x[-1] - x[0]) * (delay - static_cast<float>(whole));
  }
}

void SumVoices(const float* const* voices, const float* const* gains, uint32_t voiceCount,
               const float* common, float* __restrict sum, uint32_t count) {
  std::fill_n(sum, count, 0.0f);
  for (uint32_t v = 0; v < voiceCount; ++v) {
    const float* __restrict voice = voices[v];
    const float* __restrict gain = gains[v];
    for (uint32_t i = 0; i < count; ++i) sum[i] += voice[i] * common[i] * gain[i];
  }
}

#endif

// The two below are left to the compiler, which knows the width.

void ReadFifthOrder(const float* __restrict past, float frac, float* __restrict out, uint32_t count) {
  // As arrays of their own: an unsigned index plus something might wrap, and would be gathered.
  const float* __restrict before = past + 1;
  const float* __restrict after = past + 2;
  const float* __restrict newest = past + 3;
  for (uint32_t i = 0; i < count; ++i)
    out[i] = DelayLine::FifthOrder(newest[i], after[i], before[i], past[i], frac);
}

void Mix(const float* wet, const float* const* dry, float* const* signal, uint32_t count) {
  const float* __restrict dryLeft = dry[0];
  const float* __restrict dryRight = dry[1];
  float* __restrict left = signal[0];
  float* __restrict right = signal[1];
  for (uint32_t i = 0, end = WholeQuads(count); i < end; ++i) {
    const SinCosPair share = SinCos(wet[i] * 1.5707964f);
    left[i] = left[i] * share.sin + dryLeft[i] * share.cos;
    right[i] = right[i] * share.sin + dryRight[i] * share.cos;
  }
}

}  // namespace

constexpr StageKernelTable kStageKernels{
    .readTap = ReadTap, .sumVoices = SumVoices, .readFifthOrder = ReadFifthOrder, .mix = Mix};

}  // namespace Vantora::dsp::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Vantora::dsp {

const StageKernelTable& StageKernelsFor(SimdTarget target) noexcept {
  return *PRISMEL_KERNELS(target, kStageKernels);
}

namespace {
// Chosen while the library is loaded, so that no block does it.
const StageKernelTable& kBest = StageKernelsFor(BestSimdTarget());
}  // namespace

const StageKernelTable& StageKernels() noexcept { return kBest; }

}  // namespace Vantora::dsp
#endif  // HWY_ONCE
