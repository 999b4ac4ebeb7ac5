#include "dsp/effects/bank/LaneBank.h"

#include "basictools/math/WholeQuads.h"

namespace Vantora::dsp {
namespace {

const LaneKernelTable& Kernels() noexcept {
  static const LaneKernelTable& kernels = LaneKernelsFor(prims::BestSimdTarget());
  return kernels;
}

}  // namespace

void LaneBank::Run(uint32_t count) noexcept {
  if (stageCount > 0) Kernels().stages(stages.data(), stageCount, count);
  if (crusherCount > 0) RunCrushers(count);
  stageCount = crusherCount = 0;
  isOpen = false;
}

void LaneBank::RunCrushers(uint32_t count) noexcept {
  // Clones with the same switches go together; they nearly always are all of them.
  for (uint32_t variant = 0; variant < 8; ++variant) {
    std::array<CrusherLane, kCapacity> lanes;
    uint32_t laneCount = 0;
    for (uint32_t i = 0; i < crusherCount; ++i) {
      if (crushers[i].variant == variant) lanes[laneCount++] = crushers[i].lane;
    }
    if (laneCount > 0) Kernels().crush[variant](lanes.data(), laneCount, count);
  }
  for (uint32_t i = 0; i < crusherCount; ++i) {
    const CrusherBlock& block = crushers[i];
    MixCrushed(block.in, block.wet, block.gain, block.lane.data, count);
  }
}

void MixCrushed(const float* in, const float* wet, float gain, float* out, uint32_t count) noexcept {
  for (uint32_t i = 0, end = WholeQuads(count); i < end; ++i) {
    out[i] = in[i] - in[i] * wet[i] + wet[i] * gain * out[i];
  }
}

}  // namespace Vantora::dsp
