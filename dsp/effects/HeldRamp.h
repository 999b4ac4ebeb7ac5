#pragma once

#include <cstdint>

#include "dsp/control/SmootherInterpLPF.h"

namespace Vantora::dsp {

/// HeldRamp: a smoother's block in a buffer, which is written no more once it holds a value on and on.
struct HeldRamp {
  float* samples = nullptr;  ///< the owner's
  double value = 0.0;        ///< throughout the first `count` samples
  uint32_t count = 0;        ///< 0: they glide, or nothing is known of them

  /// True when rendering a block of `wanted` samples would change nothing.
  bool Holds(const SmootherInterpLPF& smoother, uint32_t wanted) const noexcept {
    return smoother.IsSettled() && count >= wanted && value == smoother.Target();
  }

  /// Before `smoother` renders a block of `rendered` samples here.
  void Note(const SmootherInterpLPF& smoother, uint32_t rendered) noexcept {
    value = smoother.Target();
    count = smoother.IsSettled() ? rendered : 0;
  }
};

/// HeldRamps: ramps that a block needs anew, of several modules, to be rendered side by side.
template <uint32_t kMost>
class HeldRamps {
 public:
  /// True when the ramp has to be rendered, in whole groups of four of `count` samples; then it is noted.
  bool Add(SmootherInterpLPF& smoother, HeldRamp& ramp, uint32_t count) noexcept {
    if (ramp.Holds(smoother, count)) return false;
    ramp.Note(smoother, count);
    smoothers[added] = &smoother;
    outs[added++] = ramp.samples;
    return true;
  }

  void Render(uint32_t sampleCount) noexcept {
    SmootherInterpLPF::RenderSideBySide(smoothers, outs, added, sampleCount);
  }

 private:
  SmootherInterpLPF* smoothers[kMost];
  float* outs[kMost];
  uint32_t added = 0;
};

}  // namespace Vantora::dsp
