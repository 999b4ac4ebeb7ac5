#include "dsp/stage/StageKernels.h"

#include <algorithm>

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

// Where the samples of `kParts` vectors look: `back` whole samples behind their own places and `frac` more.
struct TapPlaces {
  hn::Vec<DI> back;
  hn::Vec<D> frac;
};
constexpr uint32_t kParts = kVectorPadding / kLanes;

HWY_INLINE void ReadTapApart(const TapPlaces& at, const float* x, float* tap) {
  const D d;
  const auto place = hn::Sub(hn::Load(DI(), kPlaces), at.back);
  const auto newer = hn::GatherIndex(d, x, place);
  const auto older = hn::GatherIndex(d, x, hn::Sub(place, hn::Set(DI(), 1)));
  hn::StoreU(hn::Add(newer, hn::Mul(hn::Sub(older, newer), at.frac)), d, tap);
}

#if HWY_CAP_GE256
// False when one of the first `count` samples looks some samples further or less far back than the first one.
// Else two straight loads hold all places of a vector.
HWY_INLINE bool ReadTapNear(const TapPlaces (&at)[kParts], const float* x, float* tap, uint32_t count) {
  const D d;
  const DI di;
  constexpr int32_t kMost = kLanes / 2;  // samples further back than the first
  const int32_t furthest = hn::GetLane(at[0].back) + kMost;
  hn::Vec<DI> nearer[kParts];
  auto all = hn::Zero(di);
  for (uint32_t p = 0; p < kParts; ++p) {
    nearer[p] = hn::Sub(hn::Set(di, furthest), at[p].back);
    if (HWY_UNLIKELY(count < (p + 1) * kLanes))
      nearer[p] = hn::IfThenElseZero(hn::FirstN(di, count - std::min(count, p * kLanes)), nearer[p]);
    all = hn::Or(all, nearer[p]);
  }
  if (HWY_UNLIKELY(!hn::AllTrue(di, hn::Eq(hn::And(all, hn::Set(di, kLanes - 1)), all)))) return false;
  const float* window = x - furthest - 1;
  for (uint32_t p = 0; p < kParts; ++p) {
    const float* from = window + p * kLanes;
    const auto place = hn::Add(nearer[p], hn::Load(di, kPlaces));
    const auto older = LookUpTwo(d, hn::LoadU(d, from), hn::LoadU(d, from + kLanes), place);
    const auto newer = LookUpTwo(d, hn::LoadU(d, from + 1), hn::LoadU(d, from + 1 + kLanes), place);
    hn::StoreU(hn::Add(newer, hn::Mul(hn::Sub(older, newer), at[p].frac)), d, tap + p * kLanes);
  }
  return true;
}
#else
// False when a vector's samples look at more than two whole places. A tap drifts by less than a sample in
// most runs of sixteen: then these are neighbours, and three straight loads serve.
HWY_INLINE bool ReadTapNear(const TapPlaces (&at)[kParts], const float* x, float* tap, uint32_t) {
  const D d;
  const DI di;
  int32_t nearest = hn::GetLane(at[0].back);
  hn::Vec<DI> steps[kParts];
  const auto areSteps = [&]() HWY_ATTR {
    const auto near = hn::Set(di, nearest);
    auto all = hn::Zero(di);
    for (uint32_t p = 0; p < kParts; ++p) {
      steps[p] = hn::Sub(at[p].back, near);
      all = hn::Or(all, steps[p]);
    }
    return hn::AllTrue(di, hn::Eq(hn::And(all, hn::Set(di, 1)), all));
  };
  if (HWY_UNLIKELY(!areSteps())) {
    --nearest;  // the first one may look at the further place
    if (!areSteps()) return false;
  }
  x -= nearest;
  for (uint32_t p = 0; p < kParts; ++p) {
    const uint32_t k = p * kLanes;
    const auto a = hn::LoadU(d, x + k);
    const auto b = hn::LoadU(d, x + k - 1);
    const auto c = hn::LoadU(d, x + k - 2);
    const auto isFar = hn::RebindMask(d, hn::Eq(steps[p], hn::Set(di, 1)));
    const auto newer = hn::IfThenElse(isFar, b, a);
    const auto older = hn::IfThenElse(isFar, c, b);
    hn::StoreU(hn::Add(newer, hn::Mul(hn::Sub(older, newer), at[p].frac)), d, tap + k);
  }
  return true;
}
#endif

void ReadTap(const TapRead& read, uint32_t count) {
  const D d;
  const DI di;
  const auto furthest = hn::Set(di, read.furthest);
  const auto one = hn::Set(d, 1.0f);
  const float* HWY_RESTRICT line = read.line;
  const float* HWY_RESTRICT ramp = read.ramp;
  const float* HWY_RESTRICT depth = read.depth;
  float* HWY_RESTRICT tap = read.tap;
  for (uint32_t i = 0; i < count; i += kVectorPadding) {
    TapPlaces at[kParts];
    for (uint32_t p = 0; p < kParts; ++p) {
      const uint32_t k = i + p * kLanes;
      const auto swept = hn::Mul(hn::LoadU(d, ramp + k), hn::LoadU(d, depth + k));
      const auto delay = GreaterOf(d, swept, one);
      const auto whole = TruncateFitting(d, delay);
      at[p] = {hn::Min(whole, furthest), hn::Sub(delay, hn::ConvertTo(d, whole))};
    }
    if (HWY_LIKELY(ReadTapNear(at, line + i, tap + i, count - i))) continue;
    for (uint32_t p = 0; p < kParts; ++p) {
      const uint32_t k = i + p * kLanes;
      ReadTapApart(at[p], line + k, tap + k);
    }
  }
}

void SumVoices(const float* const* voices, const float* const* gains, uint32_t voiceCount,
               const float* common, float* sum, uint32_t count) {
  const D d;
  for (uint32_t i = 0; i < count; i += kLanes) {
    const auto shared = hn::LoadU(d, common + i);
    auto total = hn::Zero(d);
    for (uint32_t v = 0; v < voiceCount; ++v) {
      const auto voice = hn::Mul(hn::LoadU(d, voices[v] + i), shared);
      total = hn::Add(total, hn::Mul(voice, hn::LoadU(d, gains[v] + i)));
    }
    hn::StoreU(total, d, sum + i);
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
