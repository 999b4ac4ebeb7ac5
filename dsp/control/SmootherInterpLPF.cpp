#include "dsp/control/SmootherInterpLPF.h"

#include <algorithm>

#include "basictools/math/WholeQuads.h"
#include "dsp/control/SmootherKernels.h"

namespace Vantora::dsp {

void SmootherInterpLPF::Setup(uint32_t newDecimation, uint32_t rampSamples, float newSampleRate) noexcept {
  SmootherLPF::Setup(newDecimation, newSampleRate);
  steps = rampSamples / decimation;
  invSteps = 1.0 / steps;
}

void SmootherInterpLPF::SetValue(float value) noexcept {
  target = current = ramp = static_cast<double>(value);
  counter = steps - 1;
  increment = 0.0;
}

void SmootherInterpLPF::SetRamp(float from, float to) noexcept {
  if (from == to) {
    SetValue(from);
    return;
  }
  current = ramp = static_cast<double>(from);
  StartLine(ramp, static_cast<double>(to));
}

void SmootherInterpLPF::Render(float* out, uint32_t count) noexcept {
  SmootherInterpLPF* self = this;
  RenderSideBySide(&self, &out, 1, count);
}

void SmootherInterpLPF::RenderSideBySide(SmootherInterpLPF* const* smoothers, float* const* outs,
                                         uint32_t smootherCount, uint32_t count) noexcept {
  if (count == 0) return;
  constexpr uint32_t kMost = 16;
  LineAndDecay runs[kMost];
  SmootherInterpLPF* moving[kMost];
  uint32_t runCount = 0;
  const auto render = [&] {
    SmootherKernels().renderLines(runs, runCount, count);
    for (uint32_t r = 0; r < runCount; ++r) moving[r]->Land(count < 4 ? 0.0 : runs[r].last, count);
    runCount = 0;
  };
  for (uint32_t i = 0; i < smootherCount; ++i) {
    SmootherInterpLPF& smoother = *smoothers[i];
    if (smoother.current == smoother.target) {
      std::fill_n(outs[i], WholeQuads(count), static_cast<float>(smoother.target));
      continue;
    }
    if (smoother.counter >= smoother.steps - 1) {  // the line has landed
      smoother.Decay(runs[runCount]);
    } else {
      smoother.Line(runs[runCount]);
    }
    runs[runCount].out = outs[i];
    moving[runCount++] = &smoother;
    if (runCount == kMost) render();
  }
  if (runCount > 0) render();
}

void SmootherInterpLPF::Line(LineAndDecay& run) const noexcept {
  // The low-pass lags a line by a constant. What it is away from the line after k steps is a decay towards
  // that lag: e(k) = (current - ramp + lag) * p^k - lag.
  run.start = ramp;
  run.slope = increment;
  run.lag = lagOfSlope * increment;
  Fill(run, current - ramp + run.lag);
}

void SmootherInterpLPF::Land(double last, uint32_t count) noexcept {
  current = last;
  if (counter < steps - 1) counter += count;
  ramp = target;
}

}  // namespace Vantora::dsp
