#pragma once

#include <cstdint>

#include "dsp/effects/CrusherChannel.h"
#include "dsp/effects/StateVariableChain.h"
#include "dsp/effects/prims/SimdTarget.h"

namespace Vantora::dsp {

/// One clone's block through three state-variable stages on channel 0, and what comes out times `gain`.
struct StageLane {
  StateVariableChain* chain;
  const float* in;
  const float* gain;  // one for each sample
  float* out;         // may be `in`
};

/// One clone's block through the crusher, in place.
struct CrusherLane {
  const CrusherSettings* settings;
  CrusherChannel* channel;
  float* data;
};

/// Kernels that run clones of one effect side by side in the lanes of a vector.
/// Each lane computes the scalar module's sequence of single roundings, nothing
/// fused or reordered: results are the same bit for bit on every machine.
struct LaneKernelTable {
  void (*stages)(const StageLane* lanes, uint32_t laneCount, uint32_t count);
  /// Index: filtered * 4 + glide * 2 + companding, which all lanes share.
  void (*crush[8])(const CrusherLane* lanes, uint32_t laneCount, uint32_t count);
};

/// The kernels for `target`, which must not be above BestSimdTarget(). Tests run them all; everyone else goes
/// through `LaneBank`, which takes the best.
const LaneKernelTable& LaneKernelsFor(prims::SimdTarget target) noexcept;

}  // namespace Vantora::dsp
