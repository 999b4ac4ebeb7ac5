#include "dsp/effects/prims/SamplerTaps.h"

#include <cmath>
#include <numbers>

namespace Vantora::prims {

namespace {

// What fits a delay of about 1 ms at 48 kHz: the counts
// grow with the factor, the transition width in Hz stays.
std::size_t TapCount(std::uint32_t factor) {
  switch (factor) {
    case 2:
      return 95;
    case 4:
      return 207;
    case 6:
      return 279;
    case 8:
      return 391;
    case 16:
      return 743;
    case 32:
      return 1431;
    default:
      return 0;
  }
}

// Modified Bessel function of the first kind and order 0, by its power series.
double BesselI0(double x) {
  double term = 1.0, sum = 1.0;
  for (int k = 1; term > 1e-18 * sum; ++k) {
    const double ratio = 0.5 * x / k;
    term *= ratio * ratio;
    sum += term;
  }
  return sum;
}

}  // namespace

std::vector<double> DesignKaiserLowPass(std::size_t tapCount, double cutoff, double attenuationDb) {
  const double beta = 0.1102 * (attenuationDb - 8.7);
  const double center = 0.5 * (static_cast<double>(tapCount) - 1.0);
  std::vector<double> taps(tapCount);
  double sum = 0.0;
  for (std::size_t i = 0; i < tapCount; ++i) {
    const double offset = static_cast<double>(i) - center;
    const double angle = 2.0 * std::numbers::pi * cutoff * offset;
    const double sinc = offset == 0.0 ? 1.0 : std::sin(angle) / angle;
    const double place = center > 0.0 ? offset / center : 0.0;  // -1..1
    taps[i] = sinc * BesselI0(beta * std::sqrt(std::fmax(0.0, 1.0 - place * place)));
    sum += taps[i];
  }
  for (double& tap : taps) tap /= sum;
  return taps;
}

std::vector<float> DesignSamplerTaps(std::uint32_t factor) {
  constexpr double kStopBandDb = 100.0;
  const std::size_t tapCount = TapCount(factor);
  if (tapCount == 0) return {};
  const std::size_t designed = factor * ((tapCount - 1) / factor) + 1;
  const std::vector<double> design = DesignKaiserLowPass(designed, 0.5 / factor, kStopBandDb);
  std::vector<float> taps(tapCount, 0.0f);
  for (std::size_t i = 0; i < designed; ++i) taps[i] = static_cast<float>(design[i]);
  return taps;
}

}  // namespace Vantora::prims
