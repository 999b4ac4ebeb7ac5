#include "dsp/effects/filter/FilterKernels.h"

#include <algorithm>
#include <cstddef>

#include "basictools/simd/SimdTargets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/effects/filter/FilterKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "dsp/effects/bank/LaneNumber-inl.h"
#include "dsp/effects/bank/LaneRuns-inl.h"
#include "dsp/effects/filter/StateVariableTick-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Vantora::dsp::HWY_NAMESPACE {
namespace {

// m0 and m2 never glide.
template <typename T>
HWY_INLINE SectionCoefficients<T> Advanced(SectionCoefficients<T> c, const SectionCoefficients<T>& step) {
  c.g1 = c.g1 + step.g1;
  c.g2 = c.g2 + step.g2;
  c.g3 = c.g3 + step.g3;
  c.m1 = c.m1 + step.m1;
  return c;
}

// A cascade over some samples. Three sections run side by side, each at the sample behind the one of the
// section before: what one waits for, the others don't. On their way that takes coefficients for each of
// them, for which vectors have no registers left.
template <bool kGlides, uint32_t kOrder, typename T, typename Read, typename Write>
HWY_INLINE void RunCascade(SectionCoefficients<T>& coefficients, const SectionCoefficients<T>& step,
                           SectionState<T> (&states)[kOrder], uint32_t count, Read read, Write write) {
  static_assert(kOrder <= 3);
  constexpr uint32_t kLast = kOrder - 1;
  // One by one, so that a compiler keeps them in registers.
  SectionCoefficients<T> now{coefficients.g1, coefficients.g2, coefficients.g3,
                             coefficients.m0, coefficients.m1, coefficients.m2};
  SectionState<T> a{states[0].s1, states[0].s2};
  SectionState<T> b{states[kOrder / 2].s1, states[kOrder / 2].s2};
  SectionState<T> c{states[kLast].s1, states[kLast].s2};
  uint32_t i = 0;
  if constexpr ((!kGlides || std::is_same_v<T, float>)&&kOrder == 3) {
    if (count >= kOrder) {
      SectionCoefficients<T> nowB = now;
      SectionCoefficients<T> nowC = now;
      const auto tick = [&](SectionCoefficients<T>& own, SectionState<T>& state, T x) HWY_ATTR {
        if constexpr (kGlides) own = Advanced(own, step);
        return SectionTick(own, state, x);
      };
      T fromA = tick(now, a, read(0));
      T fromB = tick(nowB, b, fromA);
      fromA = tick(now, a, read(1));
      for (i = 2; i < count; ++i) {
        write(i - 2, tick(nowC, c, fromB));
        fromB = tick(nowB, b, fromA);
        fromA = tick(now, a, read(i));
      }
      write(i - 2, tick(nowC, c, fromB));
      fromB = tick(nowB, b, fromA);
      write(i - 1, tick(nowC, c, fromB));
    }
  }
  for (; i < count; ++i) {
    if constexpr (kGlides) now = Advanced(now, step);
    T y = SectionTick(now, a, read(i));
    if constexpr (kOrder > 2) y = SectionTick(now, b, y);
    if constexpr (kOrder > 1) y = SectionTick(now, c, y);
    write(i, y);
  }
  coefficients.g1 = now.g1, coefficients.g2 = now.g2, coefficients.g3 = now.g3, coefficients.m1 = now.m1;
  states[0].s1 = a.s1, states[0].s2 = a.s2;
  if constexpr (kOrder > 2) states[1].s1 = b.s1, states[1].s2 = b.s2;
  if constexpr (kOrder > 1) states[kLast].s1 = c.s1, states[kLast].s2 = c.s2;
}

// The chain's coefficients and the sections' memories are rows of floats.
static_assert(sizeof(StateVariableCoefficients) == 6 * sizeof(float) &&
              offsetof(StateVariableChain, step) == 6 * sizeof(float) &&
              sizeof(StateVariableState<float>) == 2 * sizeof(float));

template <typename T, uint32_t kOrder>
void RunGroup(const FilterBlock* blocks, uint32_t clones, uint32_t count) {
  T numbers[12];
  CollectRows(
      clones, [&](uint32_t b) { return &blocks[b].chain->now.g1; }, numbers);
  SectionCoefficients<T> now{numbers[0], numbers[1], numbers[2], numbers[3], numbers[4], numbers[5]};
  const SectionCoefficients<T> step{numbers[6], numbers[7], numbers[8], numbers[9], numbers[10], numbers[11]};
  bool glides = false;
  bool gainStands = true;
  for (uint32_t b = 0; b < clones; ++b) {
    glides = glides || !StandsThrough(blocks[b].chain->now, blocks[b].chain->step);
    gainStands = gainStands && blocks[b].gainStands;
  }
  gainStands = gainStands && !glides;
  if (!glides) now = Advanced(now, step);  // for all samples: of minus 0 it makes 0
  constexpr uint32_t kStates = std::max(2 * kOrder, 4u);
  T memories[kStates];
  const auto memory = [&](uint32_t b) { return &blocks[b].sections[0].s1; };
  CollectRows(clones, memory, memories);
  SectionState<T> states[kOrder];
  for (uint32_t s = 0; s < kOrder; ++s) {
    states[s].s1 = memories[2 * s];
    states[s].s2 = memories[2 * s + 1];
  }

  const T gain = Collect<T>(clones, [&](uint32_t b) { return blocks[b].gain[0]; });
  RunChunks<T>(
      clones, count, [&](uint32_t b) { return blocks[b].in; }, [&](uint32_t b) { return blocks[b].out; },
      [&](uint32_t length, auto read, auto write) HWY_ATTR {
        if (glides) {
          RunCascade<true>(now, step, states, length, read, write);
        } else if (gainStands) {
          RunCascade<false>(now, step, states, length, read,
                            [&](uint32_t i, T y) HWY_ATTR { write(i, y * gain); });
        } else {
          RunCascade<false>(now, step, states, length, read, write);
        }
      });

  for (uint32_t b = 0; b < clones && !gainStands; ++b) {
    const float* HWY_RESTRICT gains = blocks[b].gain;
    float* HWY_RESTRICT out = blocks[b].out;
    for (uint32_t i = 0; i < count; ++i) out[i] *= gains[i];
  }
  for (uint32_t s = 0; s < kOrder; ++s) {
    memories[2 * s] = states[s].s1;
    memories[2 * s + 1] = states[s].s2;
  }
  DistributeRows(memories, clones, memory);
  if (!glides) return;
  const auto keep = [&](T x, float StateVariableCoefficients::*number) HWY_ATTR {
    Distribute(x, clones, [&](uint32_t b, float y) {
      if (blocks[b].isLast) blocks[b].chain->now.*number = y;
    });
  };
  keep(now.g1, &StateVariableCoefficients::g1);
  keep(now.g2, &StateVariableCoefficients::g2);
  keep(now.g3, &StateVariableCoefficients::g3);
  keep(now.m1, &StateVariableCoefficients::m1);
}

template <uint32_t kOrder>
void Run(const FilterBlock* blocks, uint32_t blockCount, uint32_t count) {
  ForEachGroup<false, true>(blockCount, [&]<typename T>(uint32_t first, uint32_t clones)
                                            HWY_ATTR { RunGroup<T, kOrder>(blocks + first, clones, count); });
}

}  // namespace

constexpr FilterKernelTable kFilterKernels{.run = {Run<1>, Run<2>, Run<3>}};

}  // namespace Vantora::dsp::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Vantora::dsp {

const FilterKernelTable& FilterKernelsFor(SimdTarget target) noexcept {
  return *PRISMEL_KERNELS(target, kFilterKernels);
}

namespace {
const FilterKernelTable& kBest = FilterKernelsFor(BestSimdTarget());
}  // namespace

const FilterKernelTable& FilterKernels() noexcept { return kBest; }

}  // namespace Vantora::dsp
#endif  // HWY_ONCE
