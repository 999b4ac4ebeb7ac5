#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "dsp/control/Smoother.h"
#include "dsp/control/SmootherKernels.h"

namespace Vantora::dsp {

/// SmootherLPF: a one-pole low-pass that snaps to its target when the rest is negligible.
///
///     current += coef * (target - current),  coef = 1 - exp(-5 * decimation / (time * sampleRate))
///
/// `time` is five time constants: after it the rest of a step is exp(-5), under 0.7 %. The snap, at a step
/// below 1e-12 of the target, keeps denormal numbers out of what follows. The state is double precision, so
/// that the repeated multiplication of the block form doesn't drift.
class SmootherLPF : public Smoother<double> {
 public:
  /// seconds  time to 99.3 % of a step, at least 1e-12
  explicit SmootherLPF(float seconds) noexcept;

  /// decimation  samples between two steps: 1 when ticked or rendered per sample
  /// sampleRate  Hz. At 0, as before the first call, the value follows at once.
  void Setup(uint32_t decimation, float sampleRate) noexcept;

  /// Changes the time, in seconds, at least 1e-12. A glide in progress goes on with the new one.
  void SetTime(double seconds) noexcept {
    const double wanted = std::max(seconds, 1e-12);
    if (wanted == time) return;
    time = wanted;
    UpdateCoefficients();
  }

  float Tick() noexcept override { return static_cast<float>(StepTowards(target)); }

  /// Starts a glide, unless `value` is the target already.
  void SetTarget(float value) noexcept override {
    if (static_cast<double>(value) == target) return;
    target = static_cast<double>(value);
    SetThreshold(target);
  }

  void UpdateCoefficients() noexcept override;

  /// Writes the next values into the whole groups of four of out[0..count), by the closed form of the
  /// recursion. Not settled and with a count below four, the state falls to 0.
  void Render(float* out, uint32_t count) noexcept;

 protected:
  double ramp = 0.0;  // SmootherInterpLPF's, beside what tells whether it moves

 public:
  /// Seconds to 99.3 % of a step. Whoever writes it keeps it at 1e-12 or above and calls UpdateCoefficients.
  double time;

 protected:
  /// The snap distance that belongs to a target: steps below it land.
  void SetThreshold(double value) noexcept { threshold = std::max(std::fabs(value) * 1e-12, 1e-20); }

  /// One step of the low-pass towards `aim`, snapping to it.
  double StepTowards(double aim) noexcept {
    const double change = (aim - current) * coef;
    current = std::fabs(change) >= threshold ? current + change : aim;
    return current;
  }

  /// The block form when not settled.
  void RenderDecay(float* out, uint32_t count) noexcept;
  /// What a block's kernel is told of a glide towards a target: a line that stands still. A slope of minus
  /// nothing keeps a target of minus nothing.
  void Decay(LineAndDecay& run) const noexcept {
    run.start = target;
    run.slope = -0.0;
    run.lag = 0.0;
    Fill(run, current - target);
  }
  /// What is alike for any glide that is `distance` away from its line.
  void Fill(LineAndDecay& run, double distance) const noexcept {
    run.pole4 = pole4;
    run.snap = RestThreshold();
    for (double& decay : run.decay) decay = distance = distance * pole;
  }

  /// The snap distance as a distance from the target after a step instead of the step itself: the block form
  /// snaps at the same sample as Tick.
  double RestThreshold() const noexcept { return threshold * pole * invCoef; }

  uint32_t decimation = 1;
  double sampleRate = 0.0;  // Hz
  double coef = 1.0;        // 1 - p, p the pole
  double invCoef = 1.0;     // 1 / (1 - p)
  double pole = 0.0;        // 1 - coef
  double lagOfSlope = 0.0;  // p / (1 - p): how far it comes to lie behind a line
  double pole4 = 0.0;       // p to the fourth power
  double threshold = 1e-12;
};

}  // namespace Vantora::dsp
