#pragma once

#include <cstdint>

#include "basictools/simd/SimdTarget.h"
#include "dsp/effects/StateVariableChain.h"

namespace Vantora::dsp {

/// One channel's block through a cascade of state-variable sections, and what comes out times `gain`.
struct FilterBlock {
  StateVariableChain* chain;
  StateVariableState<float>* sections;  ///< of the channel, in the chain
  const float* in;
  const float* gain;        ///< one for each sample
  float* out;               ///< may be `in`
  bool isLast;              ///< of the chain's channels: its coefficients move on
  bool gainStands = false;  ///< `gain` is the first one throughout
};

/// The loop over a block of state-variable sections, for each instruction set and one to three sections.
/// Several blocks run side by side in the lanes of a vector; each gets the single filter's sequence of single
/// roundings.
struct FilterKernelTable {
  void (*run[StateVariableChain::kMaxSections])(const FilterBlock* blocks, uint32_t blockCount,
                                                uint32_t count);
};

/// The kernels for `target`, which must not be above BestSimdTarget().
const FilterKernelTable& FilterKernelsFor(SimdTarget target) noexcept;

/// The best kernels of this machine.
const FilterKernelTable& FilterKernels() noexcept;

}  // namespace Vantora::dsp
