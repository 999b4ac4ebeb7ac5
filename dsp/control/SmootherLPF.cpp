#include "dsp/control/SmootherLPF.h"

#include "basictools/math/WholeQuads.h"
#include "dsp/control/DoublePair.h"

namespace Vantora::dsp {

SmootherLPF::SmootherLPF(float seconds) noexcept : time(std::max(static_cast<double>(seconds), 1e-12)) {
  SmootherLPF::UpdateCoefficients();
}

void SmootherLPF::Setup(uint32_t newDecimation, float newSampleRate) noexcept {
  decimation = newDecimation;
  sampleRate = static_cast<double>(newSampleRate);
  UpdateCoefficients();
}

void SmootherLPF::UpdateCoefficients() noexcept {
  const double p = std::exp(decimation / (time * -0.2 * sampleRate));
  const double p2 = p * p;
  coef = 1.0 - p;
  invCoef = 1.0 / (1.0 - p);
  pole4 = p2 * p2;
}

void SmootherLPF::Render(float* out, uint32_t count) noexcept {
  if (count == 0) return;
  if (current == target) {
    std::fill_n(out, WholeQuads(count), static_cast<float>(target));
    return;
  }
  RenderDecay(out, count);
}

void SmootherLPF::RenderDecay(float* out, uint32_t count) noexcept {
  // Four lanes of the rest after k steps, d * p^k, each advanced by p^4 a round.
  const double p = 1.0 - coef;
  const double d = current - target;
  const DoublePair aim = MakeDoublePair(target);
  const DoublePair pole = MakeDoublePair(pole4);
  const DoublePair snap = MakeDoublePair(RestThreshold());
  DoublePair rest12 = {d * p, d * p * p};
  DoublePair rest34 = {d * p * p * p, d * p * p * p * p};
  DoublePair sample34 = {};
  for (uint32_t i = 0, end = WholeQuads(count); i < end; i += 4) {
    StoreNarrowed(SelectByMagnitude(rest12, snap, aim + rest12, aim), out + i);
    sample34 = SelectByMagnitude(rest34, snap, aim + rest34, aim);
    StoreNarrowed(sample34, out + i + 2);
    rest12 *= pole;
    rest34 *= pole;
  }
  current = sample34[1];
}

}  // namespace Vantora::dsp
