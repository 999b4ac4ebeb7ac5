#pragma once

#include <cstdint>

#include "basictools/simd/SimdTarget.h"

namespace Vantora::dsp {

/// A glide along a straight line that a low-pass rounds off, as the loop over a block sees it:
/// after k samples the line stands at start + k slope and the low-pass decay[(k - 1) % 4] - lag away from it,
/// where each of the four decays is multiplied by pole4 every four samples.
struct LineAndDecay {
  double start;
  double slope;     ///< a sample
  double lag;       ///< of the low-pass behind the line
  double pole4;     ///< p to the fourth power
  double snap;      ///< a distance from the line below this counts as 0
  double decay[4];  ///< of the first four samples
  float* out;       ///< whole groups of four are written
  double last;      ///< result: the last sample, not yet narrowed
};

/// Loops over blocks of smoothers, for each instruction set, with the same bits on all of them.
struct SmootherKernelTable {
  void (*renderLines)(LineAndDecay* runs, uint32_t runCount, uint32_t count);
};

/// The kernels for `target`, which must not be above BestSimdTarget().
const SmootherKernelTable& SmootherKernelsFor(SimdTarget target) noexcept;

/// The best kernels of this machine.
const SmootherKernelTable& SmootherKernels() noexcept;

}  // namespace Vantora::dsp
