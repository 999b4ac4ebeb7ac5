#include "dsp/effects/filter/FilterKernels.h"

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

template <typename T, uint32_t kOrder>
void RunGroup(const FilterBlock* blocks, uint32_t clones, uint32_t count) {
  using C = StateVariableCoefficients;
  const auto set = [&](C StateVariableChain::*which) HWY_ATTR {
    const auto field = [&](float C::*number) HWY_ATTR {
      return Collect<T>(clones, [&](uint32_t b) { return blocks[b].chain->*which.*number; });
    };
    return SectionCoefficients<T>{field(&C::g1), field(&C::g2), field(&C::g3),
                                  field(&C::m0), field(&C::m1), field(&C::m2)};
  };
  SectionCoefficients<T> now = set(&StateVariableChain::now);
  const SectionCoefficients<T> step = set(&StateVariableChain::step);
  SectionState<T> sections[kOrder];
  for (uint32_t s = 0; s < kOrder; ++s) {
    sections[s].s1 = Collect<T>(clones, [&](uint32_t b) { return blocks[b].sections[s].s1; });
    sections[s].s2 = Collect<T>(clones, [&](uint32_t b) { return blocks[b].sections[s].s2; });
  }

  RunStreams<T>(
      clones, count, [&](uint32_t b) { return blocks[b].in; }, [&](uint32_t b) { return blocks[b].out; },
      [&](T y) HWY_ATTR {
        now.g1 = now.g1 + step.g1;
        now.g2 = now.g2 + step.g2;
        now.g3 = now.g3 + step.g3;
        now.m1 = now.m1 + step.m1;
        for (uint32_t s = 0; s < kOrder; ++s) y = SectionTick(now, sections[s], y);
        return y;
      });

  for (uint32_t b = 0; b < clones; ++b) {
    const float* HWY_RESTRICT gain = blocks[b].gain;
    float* HWY_RESTRICT out = blocks[b].out;
    for (uint32_t i = 0; i < count; ++i) out[i] *= gain[i];
  }
  const auto keep = [&](T x, float C::*number) HWY_ATTR {
    Distribute(x, clones, [&](uint32_t b, float y) {
      if (blocks[b].isLast) blocks[b].chain->now.*number = y;
    });
  };
  keep(now.g1, &C::g1);
  keep(now.g2, &C::g2);
  keep(now.g3, &C::g3);
  keep(now.m1, &C::m1);
  for (uint32_t s = 0; s < kOrder; ++s) {
    Distribute(sections[s].s1, clones, [&](uint32_t b, float y) { blocks[b].sections[s].s1 = y; });
    Distribute(sections[s].s2, clones, [&](uint32_t b, float y) { blocks[b].sections[s].s2 = y; });
  }
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
