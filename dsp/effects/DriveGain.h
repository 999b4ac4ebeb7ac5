#pragma once

#include <algorithm>
#include <cstdint>

#include "dsp/effects/distortion/DistortionKernels.h"

namespace Vantora::dsp {

/// gain[i] = 10^(dB[i] / 20) over the whole groups of four, by the vector exponential: once a sample, on the
/// drive alone. A drive that `isSettled` throughout the block is taken once, with the same result. Both
/// arrays have room for whole vectors.
inline void RenderDriveGain(const float* dB, float* gain, uint32_t count, bool isSettled) noexcept {
  const uint32_t different = isSettled ? std::min(count, 4u) : count;
  DistortionKernels().driveGains(dB, gain, WholeVectors(different));
  std::fill(gain + different, gain + count, gain[0]);
}

}  // namespace Vantora::dsp
