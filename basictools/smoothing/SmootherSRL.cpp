#include "basictools/smoothing/SmootherSRL.h"

#include <algorithm>
#include <cmath>

#include "basictools/math/WholeQuads.h"

namespace Vantora::dsp {
namespace {

/// out[k - 1] = from + k * step
void RenderLine(float* __restrict out, uint32_t count, float from, float step) noexcept {
  for (int32_t i = 0, end = static_cast<int32_t>(count); i < end; ++i) {
    out[i] = from + static_cast<float>(i + 1) * step;
  }
}

/// How many samples of a line lie before the first that has travelled `distance`, at most `count`.
uint32_t SamplesBeforeLanding(uint32_t count, float step, float distance) noexcept {
  // The quotient is right but for roundings, and the line never falls back.
  const float quotient = distance / step;
  uint32_t before = quotient < static_cast<float>(count) ? static_cast<uint32_t>(quotient) : count;
  while (before > 0 && !(static_cast<float>(before) * step < distance)) --before;
  while (before < count && static_cast<float>(before + 1) * step < distance) ++before;
  return before;
}

}  // namespace

SmootherSRL::SmootherSRL(float seconds, float travel) noexcept
    : time(std::max(seconds, 1e-12f)), range(travel) {
  SmootherSRL::UpdateCoefficients();
}

void SmootherSRL::Setup(uint32_t newDecimation, float newSampleRate) noexcept {
  decimation = newDecimation;
  sampleRate = newSampleRate;
  UpdateCoefficients();
}

void SmootherSRL::SetTime(float seconds) noexcept {
  time = std::max(seconds, 1e-12f);
  UpdateCoefficients();
}

void SmootherSRL::SetRange(float newRange) noexcept {
  range = newRange;
  UpdateCoefficients();
}

void SmootherSRL::UpdateCoefficients() noexcept {
  step = static_cast<float>(static_cast<double>(decimation) * static_cast<double>(range) /
                            (static_cast<double>(time) * static_cast<double>(sampleRate)));
}

uint32_t SmootherSRL::Render(float* out, uint32_t count) noexcept {
  if (count == 0) return 0;
  const uint32_t quads = WholeQuads(count);
  if (current == target) {
    std::fill_n(out, quads, target);
    return 0;
  }
  const float distance = target - current;
  const float reach = step * static_cast<float>(count);
  const float signedStep = distance > 0.0f ? step : -step;
  uint32_t before = quads;
  if (distance >= reach || distance <= -reach) {
    RenderLine(out, quads, current, signedStep);
  } else {
    before = SamplesBeforeLanding(quads, step, std::fabs(distance));
    RenderLine(out, before, current, signedStep);
    std::fill(out + before, out + quads, target);
  }
  current = out[count - 1];
  return before;
}

}  // namespace Vantora::dsp
