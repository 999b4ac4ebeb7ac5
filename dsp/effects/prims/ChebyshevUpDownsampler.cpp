#include "dsp/effects/prims/ChebyshevUpDownsampler.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

namespace Vantora::prims {

void ChebyshevUpDownsampler::Init(std::uint32_t newFactor, std::uint32_t order, double stopBandDb,
                                  double stopBandEdge) {
  factor = newFactor;
  sections.clear();
  const double ripple = 1.0 / std::sqrt(std::pow(10.0, 0.1 * stopBandDb) - 1.0);
  const double mu = std::asinh(1.0 / ripple) / order;
  const double edge = std::tan(std::numbers::pi * stopBandEdge / factor);  // prewarped, s plane
  for (std::uint32_t k = 0; k < order / 2; ++k) {
    const double theta = std::numbers::pi * (2.0 * k + 1.0) / (2.0 * order);
    // The poles are those of the Chebyshev low-pass turned inside out, the zeros the points of infinite loss.
    const std::complex<double> pole =
        edge / std::complex<double>(-std::sinh(mu) * std::sin(theta), std::cosh(mu) * std::cos(theta));
    const std::complex<double> z = (1.0 + pole) / (1.0 - pole);
    Section section{};
    section.zero = -2.0 * std::cos(2.0 * std::atan(edge / std::cos(theta)));
    section.a1 = -2.0 * z.real();
    section.a2 = std::norm(z);
    section.gain = (1.0 + section.a1 + section.a2) / (2.0 + section.zero);
    sections.push_back(section);
  }
  up.assign(sections.size(), State{});
  down.assign(sections.size(), State{});
}

void ChebyshevUpDownsampler::Reset() noexcept {
  std::fill(up.begin(), up.end(), State{});
  std::fill(down.begin(), down.end(), State{});
}

double ChebyshevUpDownsampler::Filter(double x, std::vector<State>& states) const noexcept {
  for (std::size_t i = 0; i < sections.size(); ++i) {
    const Section& section = sections[i];
    State& state = states[i];
    const double u = section.gain * x;
    const double y = u + state.s1;
    state.s1 = section.zero * u - section.a1 * y + state.s2;
    state.s2 = u - section.a2 * y;
    x = y;
  }
  return x;
}

void ChebyshevUpDownsampler::Upsample(const float* in, float* out, std::uint32_t n) noexcept {
  for (std::uint32_t i = 0; i < n; ++i) {
    *out++ = static_cast<float>(Filter(factor * static_cast<double>(in[i]), up));
    for (std::uint32_t p = 1; p < factor; ++p) *out++ = static_cast<float>(Filter(0.0, up));
  }
}

void ChebyshevUpDownsampler::Downsample(const float* in, float* out, std::uint32_t n) noexcept {
  for (std::uint32_t i = 0; i < n; ++i) {
    out[i] = static_cast<float>(Filter(static_cast<double>(*in++), down));
    for (std::uint32_t p = 1; p < factor; ++p) Filter(static_cast<double>(*in++), down);
  }
}

}  // namespace Vantora::prims
