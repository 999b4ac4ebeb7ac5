#include "dsp/control/SmootherLPF.h"

#include "basictools/math/WholeQuads.h"

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
  pole = 1.0 - coef;
  lagOfSlope = pole * invCoef;
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
  LineAndDecay run;
  Decay(run);
  run.out = out;
  SmootherKernels().renderLines(&run, 1, count);
  current = count < 4 ? 0.0 : run.last;
}

}  // namespace Vantora::dsp
