#include "dsp/control/SmootherInterpLPF.h"

#include "basictools/math/WholeQuads.h"
#include "dsp/control/DoublePair.h"

namespace Vantora::dsp {

void SmootherInterpLPF::Setup(uint32_t newDecimation, uint32_t rampSamples, float newSampleRate) noexcept {
  SmootherLPF::Setup(newDecimation, newSampleRate);
  steps = rampSamples / decimation;
  invSteps = 1.0 / steps;
}

void SmootherInterpLPF::StartLine(double from, double to) noexcept {
  target = to;
  counter = 0;
  increment = invSteps * (to - from);
  SetThreshold(to);
}

void SmootherInterpLPF::SetTarget(float value) noexcept {
  const double aim = static_cast<double>(value);
  if (aim == ramp) return;
  StartLine(ramp, aim);
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
  if (count == 0) return;
  if (current == target) {
    std::fill_n(out, WholeQuads(count), static_cast<float>(target));
    return;
  }
  if (counter >= steps - 1) {
    RenderDecay(out, count);
  } else {
    RenderLineAndDecay(out, count);
    counter += count;
  }
  ramp = target;
}

void SmootherInterpLPF::RenderLineAndDecay(float* out, uint32_t count) noexcept {
  // The low-pass lags a line by a constant. What it is away from the line after k steps is a decay towards
  // that lag: e(k) = (current - ramp + lag) * p^k - lag.
  const double p = 1.0 - coef;
  const double lag = p * invCoef * increment;
  const double d = current - ramp + lag;
  const DoublePair start = MakeDoublePair(ramp);
  const DoublePair slope = MakeDoublePair(increment);
  const DoublePair offset = MakeDoublePair(lag);
  const DoublePair pole = MakeDoublePair(pole4);
  const DoublePair snap = MakeDoublePair(RestThreshold());
  const DoublePair four = MakeDoublePair(4.0);
  DoublePair k12 = {1.0, 2.0};
  DoublePair k34 = {3.0, 4.0};
  DoublePair decay12 = {d * p, d * p * p};
  DoublePair decay34 = {d * p * p * p, d * p * p * p * p};
  DoublePair sample34 = {};
  for (uint32_t i = 0, end = WholeQuads(count); i < end; i += 4) {
    const DoublePair line12 = start + k12 * slope;
    const DoublePair rest12 = decay12 - offset;
    StoreNarrowed(SelectByMagnitude(rest12, snap, line12 + rest12, line12), out + i);
    const DoublePair line34 = start + k34 * slope;
    const DoublePair rest34 = decay34 - offset;
    sample34 = SelectByMagnitude(rest34, snap, line34 + rest34, line34);
    StoreNarrowed(sample34, out + i + 2);
    decay12 *= pole;
    decay34 *= pole;
    k12 += four;
    k34 += four;
  }
  current = sample34[1];
}

}  // namespace Vantora::dsp
