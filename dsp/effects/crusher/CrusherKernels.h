#pragma once

#include <cstdint>

#include "basictools/simd/SimdTarget.h"
#include "dsp/effects/CrusherChannel.h"

namespace Vantora::dsp {

/// One channel's block through the crusher:
///
///     crushed = crush(dataGain data);   send = crushed;
///     out = in - wet in + wet gain crushed, in whole groups of four
struct CrusherBlock {
  const CrusherSettings* settings;
  CrusherChannel* channel;
  const float* in;    ///< not `out`
  const float* data;  ///< `in` or `out`
  float* out;
  const float* wet;  ///< one for each sample
  float dataGain;
  float gain;
  float* send;            ///< null: none
  bool isAllWet = false;  ///< the product of `wet` and `gain` is 1 throughout
};

/// The crusher's loop, for each instruction set. Several blocks run side by side in the lanes of a vector;
/// each gets the single crusher's sequence of single roundings.
struct CrusherKernelTable {
  /// Index: filtered * 4 + glide * 2 + companding, which all blocks share.
  void (*run[8])(const CrusherBlock* blocks, uint32_t blockCount, uint32_t count);
};

/// The kernels for `target`, which must not be above BestSimdTarget().
const CrusherKernelTable& CrusherKernelsFor(SimdTarget target) noexcept;

/// The best kernels of this machine.
const CrusherKernelTable& CrusherKernels() noexcept;

}  // namespace Vantora::dsp
