#pragma once

#include <cstdint>

#include "dsp/control/Smoother.h"

namespace Vantora::dsp {

/// SmootherInterp: a straight line of fixed length in samples, whatever the distance.
class SmootherInterp : public Smoother<float> {
 public:
  SmootherInterp() noexcept = default;

  /// decimation   samples between two steps, at least 1
  /// rampSamples  length of a glide in samples, at least `decimation`
  /// sampleRate   Hz
  void Setup(uint32_t decimation, uint32_t rampSamples, float sampleRate) noexcept;

  float Tick() noexcept override {
    if (counter >= steps - 1) {
      current = target;
    } else {
      current += increment;
      ++counter;
    }
    return current;
  }

  /// Starts a glide, unless `value` is the target already: then the one in progress goes on.
  void SetTarget(float value) noexcept override;
  void SetValue(float value) noexcept override;
  void SetRamp(float from, float to) noexcept override;
  void UpdateCoefficients() noexcept override {}

  /// Writes the next values into the whole groups of four of out[0..count) and continues from out[count - 1].
  /// A ramp shorter than the block runs beyond its target until the block ends; the next block lands.
  void Render(float* out, uint32_t count) noexcept;

 protected:
  float time = 1e-12f;  // unused: the length is given in samples
  uint32_t decimation = 1;
  float sampleRate = 0.0f;  // Hz
  uint32_t steps = 1;       // ticks a glide
  float invSteps = 1.0f;
  uint32_t counter = 0;  // ticks of this glide so far
  float increment = 0.0f;
};

}  // namespace Vantora::dsp
