#pragma once

#include <cstdint>

#include "basictools/math/WholeQuads.h"
#include "basictools/simd/SimdTarget.h"

namespace Vantora::dsp {

/// One voice's moving tap through a block of one side. In front of the past, and behind the block rounded up
/// to whole vectors, `line` has room for one more vector that may be looked at and isn't heard.
struct TapRead {
  const float* line;   ///< the block's first sample as it went into the line; the past lies in front of it
  int32_t furthest;    ///< samples back that a tap lies at most
  const float* ramp;   ///< 0..1, of the depth
  const float* depth;  ///< samples
  float* tap;
};

/// The stage's loops over samples that don't depend on one another, for each instruction set. Each sample
/// goes through the same single roundings, whatever the width: results are the same bit for bit on every
/// machine.
///
/// Buffers of `readTap` and `sumVoices`, all but the line, hold whole vectors up to the next multiple of
/// `kVectorPadding`, and lie at multiples of such a vector; the others touch exactly `count` samples.
struct StageKernelTable {
  /// tap = the line, read linearly ramp * depth samples back, at least one.
  void (*readTap)(const TapRead& read, uint32_t count);

  /// sum = the sum of voice * common * gain over `voices`, from 0 and in their order.
  void (*sumVoices)(const float* const* voices, const float* const* gains, uint32_t voiceCount,
                    const float* common, float* sum, uint32_t count);

  /// out[i] = between past[i + 2] and past[i + 1], `frac` 0..1 from the former, by DelayLine::FifthOrder.
  void (*readFifthOrder)(const float* past, float frac, float* out, uint32_t count);

  /// signal = signal * sine + dry * cosine of wet * pi / 2, in whole groups of four.
  void (*mix)(const float* wet, const float* const* dry, float* const* signal, uint32_t count);
};

/// The kernels for `target`, which must not be above BestSimdTarget().
const StageKernelTable& StageKernelsFor(SimdTarget target) noexcept;

/// The best kernels of this machine.
const StageKernelTable& StageKernels() noexcept;

}  // namespace Vantora::dsp
