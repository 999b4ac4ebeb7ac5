#include "dsp/effects/filter/FilterKernels.h"

#include <algorithm>
#include <cstddef>

#include "basictools/simd/SimdTargets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/effects/filter/FilterKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "dsp/effects/bank/LaneNumber-inl.h"
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

// A section of a cascade. Its coefficients are its own, as they are a sample apart from one section to the
// next.
template <typename T>
struct Section {
  SectionCoefficients<T> now;
  SectionState<T> state;
};

// One by one, so that a compiler keeps them in registers.
template <typename T>
HWY_INLINE void Copy(const Section<T>& from, Section<T>& to) {
  to.now.g1 = from.now.g1, to.now.g2 = from.now.g2, to.now.g3 = from.now.g3;
  to.now.m0 = from.now.m0, to.now.m1 = from.now.m1, to.now.m2 = from.now.m2;
  to.state.s1 = from.state.s1, to.state.s2 = from.state.s2;
}

template <bool kGlides, typename T>
HWY_INLINE T Tick(Section<T>& section, const SectionCoefficients<T>& step, T x) {
  if constexpr (kGlides) section.now = Advanced(section.now, step);
  return SectionTick(section.now, section.state, x);
}

// Through all sections at a time, each at the sample behind the one of the section before: what one waits
// for, the others don't.
template <bool kGlides, uint32_t kOrder, typename T, typename Read, typename Write>
HWY_INLINE void RunCascade(Section<T> (&sections)[kOrder], const SectionCoefficients<T>& step, uint32_t count,
                           Read read, Write write) {
  static_assert(kOrder <= 3);
  constexpr uint32_t kLast = kOrder - 1;
  Section<T> a, b, c;
  Copy(sections[0], a);
  Copy(sections[kOrder > 1 ? 1 : 0], b);
  Copy(sections[kLast], c);
  uint32_t i = 0;
  if (count >= kOrder) {
    if constexpr (kOrder == 3) {
      T fromA = Tick<kGlides>(a, step, read(0));
      T fromB = Tick<kGlides>(b, step, fromA);
      fromA = Tick<kGlides>(a, step, read(1));
      for (i = 2; i < count; ++i) {
        write(i - 2, Tick<kGlides>(c, step, fromB));
        fromB = Tick<kGlides>(b, step, fromA);
        fromA = Tick<kGlides>(a, step, read(i));
      }
      write(i - 2, Tick<kGlides>(c, step, fromB));
      fromB = Tick<kGlides>(b, step, fromA);
      write(i - 1, Tick<kGlides>(c, step, fromB));
    }
  }
  for (; i < count; ++i) {
    T y = Tick<kGlides>(a, step, read(i));
    if constexpr (kOrder > 2) y = Tick<kGlides>(b, step, y);
    if constexpr (kOrder > 1) y = Tick<kGlides>(c, step, y);
    write(i, y);
  }
  Copy(a, sections[0]);
  if constexpr (kOrder > 2) Copy(b, sections[1]);
  if constexpr (kOrder > 1) Copy(c, sections[kLast]);
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
  for (uint32_t b = 0; b < clones; ++b) {
    const StateVariableCoefficients& c = blocks[b].chain->step;
    glides = glides || c.g1 != 0.0f || c.g2 != 0.0f || c.g3 != 0.0f || c.m1 != 0.0f;
  }
  if (!glides) now = Advanced(now, step);  // for all samples: of minus 0 it makes 0
  constexpr uint32_t kStates = std::max(2 * kOrder, 4u);
  T states[kStates];
  CollectRows(
      clones, [&](uint32_t b) { return &blocks[b].sections[0].s1; }, states);
  Section<T> sections[kOrder];
  for (uint32_t s = 0; s < kOrder; ++s) {
    sections[s].now = now;
    sections[s].state.s1 = states[2 * s];
    sections[s].state.s2 = states[2 * s + 1];
  }

  RunChunks<T>(
      clones, count, [&](uint32_t b) { return blocks[b].in; }, [&](uint32_t b) { return blocks[b].out; },
      [&](uint32_t length, auto read, auto write) HWY_ATTR {
        if (glides) {
          RunCascade<true>(sections, step, length, read, write);
        } else {
          RunCascade<false>(sections, step, length, read, write);
        }
      });

  for (uint32_t b = 0; b < clones; ++b) {
    const float* HWY_RESTRICT gain = blocks[b].gain;
    float* HWY_RESTRICT out = blocks[b].out;
    for (uint32_t i = 0; i < count; ++i) out[i] *= gain[i];
  }
  for (uint32_t s = 0; s < kOrder; ++s) {
    states[2 * s] = sections[s].state.s1;
    states[2 * s + 1] = sections[s].state.s2;
  }
  DistributeRows(states, clones, [&](uint32_t b) { return &blocks[b].sections[0].s1; });
  if (!glides) return;
  const auto keep = [&](T x, float StateVariableCoefficients::*number) HWY_ATTR {
    Distribute(x, clones, [&](uint32_t b, float y) {
      if (blocks[b].isLast) blocks[b].chain->now.*number = y;
    });
  };
  keep(sections[0].now.g1, &StateVariableCoefficients::g1);
  keep(sections[0].now.g2, &StateVariableCoefficients::g2);
  keep(sections[0].now.g3, &StateVariableCoefficients::g3);
  keep(sections[0].now.m1, &StateVariableCoefficients::m1);
}

template <uint32_t kOrder>
void Run(const FilterBlock* blocks, uint32_t blockCount, uint32_t count) {
  ForEachGroup(blockCount, [&]<typename T>(uint32_t first, uint32_t clones)
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
