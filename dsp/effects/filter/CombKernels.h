#pragma once

#include <cstdint>

#include "basictools/simd/SimdTarget.h"
#include "dsp/control/DelayLine.h"

namespace Vantora::dsp {

/// One channel's block through a comb, delays in whole samples:
///
///     fed back      y = in + feedback * y(-delay);   out = y * gain
///     fed forward   out = in + feedback * in(-delay)
struct CombBlock {
  DelayLine* line;
  const float* delays;  ///< samples, one for each sample, at least 1; what lies behind the point is dropped.
                        ///< Behind the block kVectorPadding more may be read
  uint32_t moving;      ///< samples; all delays from there on are alike
  bool isFedBack;
  float feedback;
  const float* gain;  ///< one for each sample
  const float* in;
  float* out;  ///< may be `in`
};

/// The comb's loop, for each instruction set, with the same bits on all of them. As far as a delay reaches
/// behind the samples that are being made, these don't depend on each other and are made together.
struct CombKernelTable {
  void (*run)(const CombBlock& block, uint32_t count);
};

/// The kernels for `target`, which must not be above BestSimdTarget().
const CombKernelTable& CombKernelsFor(SimdTarget target) noexcept;

/// The best kernels of this machine.
const CombKernelTable& CombKernels() noexcept;

}  // namespace Vantora::dsp
