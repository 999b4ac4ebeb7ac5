#pragma once

#include <cstdint>

#include "dsp/control/SmootherKernels.h"
#include "dsp/control/SmootherLPF.h"

namespace Vantora::dsp {

/// SmootherInterpLPF: a straight line of fixed length, followed by a one-pole low-pass.
///
/// The line removes the stair at the block border, the low-pass the corners of the line. Used for every
/// continuous parameter that a kernel reads per sample: `SetTarget` once a block, then `Render`. A ramp is
/// meant to last one block, so `rampSamples` is the largest block length.
class SmootherInterpLPF : public SmootherLPF {
 public:
  /// seconds  time of the low-pass to 99.3 % of a step, at least 1e-12
  explicit SmootherInterpLPF(float seconds) noexcept : SmootherLPF(seconds) {}

  /// decimation   samples between two steps, at least 1
  /// rampSamples  length of the line in samples, at least `decimation`
  /// sampleRate   Hz
  void Setup(uint32_t decimation, uint32_t rampSamples, float sampleRate) noexcept;

  float Tick() noexcept override {
    if (counter >= steps - 1) {
      ramp = target;
    } else {
      ramp += increment;
      ++counter;
    }
    return static_cast<float>(StepTowards(ramp));
  }

  /// Starts a line from where the line stands. Intended: a value equal to the line's state is ignored, and
  /// the target stays where it was. SmootherInterpLPF.ComparesANewTargetWithTheRamp holds it.
  void SetTarget(float value) noexcept override {
    const double aim = static_cast<double>(value);
    if (aim != ramp) StartLine(ramp, aim);
  }
  void SetValue(float value) noexcept override;
  void SetRamp(float from, float to) noexcept override;

  /// True when the block to come lies within +-`limit`.
  bool StaysWithin(double limit) const noexcept {
    return std::fabs(current) <= limit && std::fabs(ramp) <= limit && std::fabs(target) <= limit;
  }

  /// Writes the next values into the whole groups of four of out[0..count). Afterwards the line counts as
  /// landed, even when it had steps left. Not settled and with a count below four, the state falls to 0.
  void Render(float* out, uint32_t count) noexcept;

  /// As `Render` of each smoother into its own `outs`, in less time than one after another.
  static void RenderSideBySide(SmootherInterpLPF* const* smoothers, float* const* outs,
                               uint32_t smootherCount, uint32_t count) noexcept;

 protected:
  void StartLine(double from, double to) noexcept {
    target = to;
    counter = 0;
    increment = invSteps * (to - from);
    SetThreshold(to);
  }
  void Line(LineAndDecay& run) const noexcept;
  void Land(double last, uint32_t count) noexcept;

  uint32_t steps = 1;  // ticks a line
  double invSteps = 1.0;
  uint32_t counter = 0;  // ticks of this line so far
  double increment = 0.0;
  using SmootherLPF::ramp;  // where the line stands
};

}  // namespace Vantora::dsp
