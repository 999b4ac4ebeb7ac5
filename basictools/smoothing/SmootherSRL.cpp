#include "basictools/smoothing/SmootherSRL.h"

#include <algorithm>
#include <cmath>

#include "basictools/math/Float4.h"
#include "basictools/math/WholeQuads.h"

namespace Vantora::dsp {
namespace {

/// out[k - 1] = from + k * step
void RenderLine(float* __restrict out, uint32_t count, float from, float step) noexcept {
  for (int32_t i = 0, end = static_cast<int32_t>(count); i < end; ++i) {
    out[i] = from + static_cast<float>(i + 1) * step;
  }
}

/// A line towards `target` that lands when it has travelled `distance`: whole groups of four up to the
/// landing. Returns how many samples lie before it: the line never falls back.
uint32_t RenderApproach(float* out, uint32_t count, float from, float signedStep, float step, float distance,
                        float target) noexcept {
  Float4 samples = {1.0f, 2.0f, 3.0f, 4.0f};
  for (uint32_t i = 0; i < count; i += 4) {
    const auto isBefore = samples * step < MakeFloat4(distance);
    StoreFloat4(Choose(isBefore, from + samples * signedStep, MakeFloat4(target)), out + i);
    if (isBefore[3] == 0) return i - static_cast<uint32_t>(isBefore[0] + isBefore[1] + isBefore[2]);
    samples = samples + 4.0f;
  }
  return count;
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
  uint32_t before = 0;
  if (distance >= reach || distance <= -reach) {
    RenderLine(out, quads, current, signedStep);
    before = quads;
  } else {
    before = RenderApproach(out, quads, current, signedStep, step, std::fabs(distance), target);
    if (before < quads) std::fill(out + WholeQuads(before) + 4, out + quads, target);
  }
  current = out[count - 1];
  return before;
}

}  // namespace Vantora::dsp
