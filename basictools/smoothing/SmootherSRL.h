#pragma once

#include <cstdint>

#include "basictools/smoothing/Smoother.h"

namespace Vantora::dsp {

/// SmootherSRL: slew rate limiter, a straight line of constant slope that stops exactly on its target.
///
/// The slope is `range` in `time` seconds whatever the distance, so a fade of 0..1 is over after a known
/// number of samples. Used for crossfade gains.
class SmootherSRL : public Smoother<float> {
 public:
  /// seconds  time for a full travel, at least 1e-12
  /// travel   the full travel, in the unit of the value
  explicit SmootherSRL(float seconds, float travel = 1.0f) noexcept;

  /// decimation  samples between two steps: 1 when ticked or rendered per sample
  /// sampleRate  Hz
  void Setup(uint32_t decimation, float sampleRate) noexcept;

  /// Changes the time of a full travel, in seconds, at least 1e-12. A glide in progress goes on with it.
  void SetTime(float seconds) noexcept;

  /// Changes the full travel, and so the slope. A glide in progress goes on with the new one.
  void SetRange(float newRange) noexcept;

  float Tick() noexcept override {
    if (current == target) return current;
    const float distance = target - current;
    if (distance > step) {
      current += step;
    } else if (distance > -step) {
      current = target;
    } else {
      current -= step;
    }
    return current;
  }

  /// step = decimation * range / (time * sampleRate). Without
  /// a sample rate it is infinite: the next tick lands.
  void UpdateCoefficients() noexcept override;

  /// Writes the next values into the whole groups of four of out[0..count) and continues from out[count - 1].
  /// Returns how many of them lie before the landing: all others are alike.
  uint32_t Render(float* out, uint32_t count) noexcept;

 protected:
  float time;               // seconds
  uint32_t decimation = 1;  // samples a step
  float sampleRate = 0.0f;  // Hz
  float range;
  float step = 0.0f;  // travel a step
};

}  // namespace Vantora::dsp
