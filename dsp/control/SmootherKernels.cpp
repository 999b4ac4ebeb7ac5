#include "dsp/control/SmootherKernels.h"

#include <cstddef>

#include "basictools/math/WholeQuads.h"
#include "dsp/control/DoublePair.h"

#include "basictools/simd/SimdTargets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/control/SmootherKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace Vantora::dsp::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_EMU128 && HWY_HAVE_FLOAT64

// Two runs with four samples each make eight doubles: one vector, or as many as it takes.
using D = hn::CappedTag<double, 8>;
using V = hn::Vec<D>;
using Narrow = hn::Rebind<float, D>;
constexpr uint32_t kLanes = static_cast<uint32_t>(hn::MaxLanes(D()));
constexpr uint32_t kVectors = 8 / kLanes;
constexpr uint32_t kPerRun = kVectors > 1 ? kVectors / 2 : 1;

struct Eight {
  V part[kVectors];
};

// Four numbers of each run. Not by way of an array: a wide load of what was just stored in parts would stall.
HWY_INLINE Eight LoadFours(const double* first, const double* second) {
  Eight x;
#if HWY_CAP_GE512
  const hn::Half<D> half;
  x.part[0] = hn::Combine(D(), hn::LoadU(half, second), hn::LoadU(half, first));
#else
  for (uint32_t m = 0; m < kVectors; ++m) {
    x.part[m] = hn::LoadU(D(), (m * kLanes < 4 ? first : second) + m * kLanes % 4);
  }
#endif
  return x;
}

HWY_INLINE Eight OfEach(double first, double second) {
  Eight x;
#if HWY_CAP_GE512
  const hn::Half<D> half;
  x.part[0] = hn::Combine(D(), hn::Set(half, second), hn::Set(half, first));
#else
  for (uint32_t m = 0; m < kVectors; ++m) x.part[m] = hn::Set(D(), m * kLanes < 4 ? first : second);
#endif
  return x;
}

HWY_INLINE void StoreNarrow(V x, uint32_t m, std::size_t i, float* first, float* second) {
  const auto narrow = hn::DemoteTo(Narrow(), x);
#if HWY_CAP_GE512
  (void)m;
  const hn::FixedTag<float, 4> quad;
  hn::StoreU(hn::LowerHalf(quad, narrow), quad, first + i);
  hn::StoreU(hn::UpperHalf(quad, narrow), quad, second + i);
#else
  const uint32_t place = m * kLanes;
  hn::StoreU(narrow, Narrow(), (place < 4 ? first : second) + i + place % 4);
#endif
}

// How far the samples are on their line, as many as most blocks have: a load is cheaper than a sum, but for
// vectors of four, where sums are free.
constexpr uint32_t kTabled = 64;
constexpr bool kTakesTable = kLanes != 4;
struct Steps {
  alignas(64) double at[kTabled];
};
constexpr Steps MakeSteps() {
  Steps steps{};
  for (uint32_t i = 0; i < kTabled; ++i) steps.at[i] = static_cast<double>(i + 1);
  return steps;
}
constexpr Steps kSteps = MakeSteps();

// Vector m of four steps for each run.
HWY_INLINE V StepsAt(const double* steps, uint32_t m) {
#if HWY_CAP_GE512
  (void)m;
  return V{_mm512_broadcast_f64x4(_mm256_load_pd(steps))};
#else
  return hn::Load(D(), steps + m * kLanes % 4);
#endif
}

HWY_INLINE bool StayAway(const Eight& first, const Eight& last, const Eight& snap) {
  bool stays = true;
  for (uint32_t m = 0; m < kVectors; ++m) {
    const V a = first.part[m], b = last.part[m], distance = snap.part[m], below = hn::Neg(distance);
    const auto above = hn::And(hn::Ge(a, distance), hn::Ge(b, distance));
    const auto under = hn::And(hn::Le(a, below), hn::Le(b, below));
    stays = stays && hn::AllTrue(D(), hn::Or(above, under));
  }
  return stays;
}

// What is known of all samples of a pair's block.
enum class Course : uint8_t {
  kAny,
  kFarFromLines,  // further from their line than counts as 0
  kFallingFar,    // and the line stands still without a lag: no more than decays
};

// Of a block of at most kTabled samples. Each distance goes from the one of the first four samples towards
// -lag, and never past it; without a lag it loses no more than a pole's power tells, with room for roundings.
HWY_INLINE Course CourseOf(const Eight& decay, const Eight& lag, const Eight& snap, const Eight& slope,
                           const Eight& pole4) {
  static_assert(kTabled == 64);
  const D d;
  Eight first, last;
  for (uint32_t m = 0; m < kVectors; ++m) {
    first.part[m] = hn::Sub(decay.part[m], lag.part[m]);
    last.part[m] = hn::Neg(lag.part[m]);
  }
  if (StayAway(first, last, snap)) return Course::kFarFromLines;
  for (uint32_t m = 0; m < kVectors; ++m) {
    const auto isLine = hn::Or(hn::Ne(lag.part[m], hn::Zero(d)), hn::Ne(slope.part[m], hn::Zero(d)));
    if (!hn::AllFalse(d, isLine)) return Course::kAny;
    V left = pole4.part[m];
    for (uint32_t samples = 4; samples < kTabled; samples *= 2) left = hn::Mul(left, left);
    last.part[m] = hn::Mul(hn::Mul(decay.part[m], left), hn::Set(d, 0.5));
  }
  return StayAway(first, last, snap) ? Course::kFallingFar : Course::kAny;
}

template <Course kCourse, bool kIsTabled>
HWY_INLINE Eight RenderPair(LineAndDecay& first, LineAndDecay& second, Eight decay, const Eight& lag,
                            const Eight& snap, const Eight& slope, const Eight& pole4, uint32_t count) {
  const D d;
  V k[kPerRun];
  for (uint32_t m = 0; m < kPerRun; ++m) k[m] = StepsAt(kSteps.at, m);
  const Eight start = OfEach(first.start, second.start);
  const V four = hn::Set(d, 4.0);
  Eight sample = decay;
  float* firstOut = first.out;
  float* secondOut = second.out;
  for (std::size_t i = 0, end = WholeQuads(count); i < end; i += 4) {
    for (uint32_t m = 0; m < kVectors; ++m) {
      if constexpr (kCourse == Course::kFallingFar) {
        sample.part[m] = hn::Add(start.part[m], decay.part[m]);
      } else {
        const V step = kIsTabled ? StepsAt(kSteps.at + i, m) : k[m % kPerRun];
        const V line = hn::Add(start.part[m], hn::Mul(step, slope.part[m]));
        const V rest = hn::Sub(decay.part[m], lag.part[m]);
        sample.part[m] = hn::Add(line, rest);
        if constexpr (kCourse == Course::kAny) {
          const auto moves = hn::Ge(hn::Abs(rest), snap.part[m]);
          sample.part[m] = hn::IfThenElse(moves, sample.part[m], line);
        }
      }
      StoreNarrow(sample.part[m], m, i, firstOut, secondOut);
      decay.part[m] = hn::Mul(decay.part[m], pole4.part[m]);
    }
    if constexpr (!kIsTabled && kCourse != Course::kFallingFar) {
      for (uint32_t m = 0; m < kPerRun; ++m) k[m] = hn::Add(k[m], four);  // alike for both runs
    }
  }
  return sample;
}

void RenderPair(LineAndDecay& first, LineAndDecay& second, uint32_t count) {
  const D d;
  const Eight decay = LoadFours(first.decay, second.decay);
  const Eight lag = OfEach(first.lag, second.lag);
  const Eight snap = OfEach(first.snap, second.snap);
  const Eight slope = OfEach(first.slope, second.slope);
  const Eight pole4 = OfEach(first.pole4, second.pole4);
  const auto render = [&]<Course kCourse, bool kIsTabled>() HWY_ATTR {
    return RenderPair<kCourse, kIsTabled>(first, second, decay, lag, snap, slope, pole4, count);
  };
  Eight sample;
  const Course course = count <= kTabled ? CourseOf(decay, lag, snap, slope, pole4) : Course::kAny;
  if (course == Course::kFarFromLines) {
    sample = render.template operator()<Course::kFarFromLines, kTakesTable>();
  } else if (course == Course::kFallingFar) {
    sample = render.template operator()<Course::kFallingFar, kTakesTable>();
  } else if (count <= kTabled) {
    sample = render.template operator()<Course::kAny, kTakesTable>();
  } else {
    sample = render.template operator()<Course::kAny, false>();
  }
  HWY_ALIGN double both[8];
  for (uint32_t m = 0; m < kVectors; ++m) hn::Store(sample.part[m], d, both + m * kLanes);
  first.last = both[3];
  second.last = both[7];
}

void RenderLines(LineAndDecay* runs, uint32_t runCount, uint32_t count) {
  for (uint32_t i = 0; i + 1 < runCount; i += 2) RenderPair(runs[i], runs[i + 1], count);
  if (runCount % 2 == 0) return;
  LineAndDecay& single = runs[runCount - 1];
  LineAndDecay twin = single;
  RenderPair(single, twin, count);
}

#else  // pairs, which every machine has; WebAssembly among them, whose vectors hold no doubles for Highway

void RenderLines(LineAndDecay* runs, uint32_t runCount, uint32_t count) {
  for (LineAndDecay* run = runs; run < runs + runCount; ++run) {
    const DoublePair start = MakeDoublePair(run->start);
    const DoublePair slope = MakeDoublePair(run->slope);
    const DoublePair lag = MakeDoublePair(run->lag);
    const DoublePair pole = MakeDoublePair(run->pole4);
    const DoublePair snap = MakeDoublePair(run->snap);
    const DoublePair four = MakeDoublePair(4.0);
    DoublePair k12 = {1.0, 2.0};
    DoublePair k34 = {3.0, 4.0};
    DoublePair decay12 = {run->decay[0], run->decay[1]};
    DoublePair decay34 = {run->decay[2], run->decay[3]};
    DoublePair sample34 = {};
    for (uint32_t i = 0, end = WholeQuads(count); i < end; i += 4) {
      const DoublePair line12 = start + k12 * slope;
      const DoublePair rest12 = decay12 - lag;
      StoreNarrowed(SelectByMagnitude(rest12, snap, line12 + rest12, line12), run->out + i);
      const DoublePair line34 = start + k34 * slope;
      const DoublePair rest34 = decay34 - lag;
      sample34 = SelectByMagnitude(rest34, snap, line34 + rest34, line34);
      StoreNarrowed(sample34, run->out + i + 2);
      decay12 *= pole;
      decay34 *= pole;
      k12 += four;
      k34 += four;
    }
    run->last = sample34[1];
  }
}

#endif

}  // namespace

constexpr SmootherKernelTable kSmootherKernels{.renderLines = RenderLines};

}  // namespace Vantora::dsp::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Vantora::dsp {

const SmootherKernelTable& SmootherKernelsFor(SimdTarget target) noexcept {
  return *PRISMEL_KERNELS(target, kSmootherKernels);
}

namespace {
const SmootherKernelTable& kBest = SmootherKernelsFor(BestSimdTarget());
}  // namespace

const SmootherKernelTable& SmootherKernels() noexcept { return kBest; }

}  // namespace Vantora::dsp
#endif  // HWY_ONCE
