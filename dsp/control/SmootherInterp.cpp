#include "dsp/control/SmootherInterp.h"

#include <algorithm>

#include "basictools/math/WholeQuads.h"

namespace Vantora::dsp {

void SmootherInterp::Setup(uint32_t newDecimation, uint32_t rampSamples, float newSampleRate) noexcept {
  decimation = newDecimation;
  sampleRate = newSampleRate;
  UpdateCoefficients();
  steps = rampSamples / decimation;
  invSteps = static_cast<float>(1.0 / steps);
}

void SmootherInterp::SetTarget(float value) noexcept {
  if (value == target) return;
  target = value;
  counter = 0;
  increment = (value - current) * invSteps;
}

void SmootherInterp::SetValue(float value) noexcept {
  target = current = value;
  increment = 0.0f;
  // Intended: from `decimation`, not from `steps`. Ticks that are left over add an increment of 0.
  // SmootherInterp.SnapTakesItsCounterFromTheDecimation holds it.
  counter = decimation - 1;
}

void SmootherInterp::SetRamp(float from, float to) noexcept {
  if (from == to) {
    increment = 0.0f;
    counter = decimation - 1;
  }
  target = to;
  current = from;
}

void SmootherInterp::Render(float* out, uint32_t count) noexcept {
  if (count == 0) return;
  const uint32_t quads = WholeQuads(count);
  if (current != target && counter < steps - 1) {
    const float from = current;
    const float slope = increment;
    for (int32_t i = 0, end = static_cast<int32_t>(quads); i < end; ++i) {
      out[i] = from + static_cast<float>(i + 1) * slope;
    }
    counter += count;
  } else {
    std::fill_n(out, quads, target);
  }
  current = out[count - 1];
}

}  // namespace Vantora::dsp
