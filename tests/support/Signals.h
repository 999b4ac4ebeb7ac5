#pragma once

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <numbers>
#include <random>
#include <vector>

/// What tests put in, and how they measure what comes out.
namespace Vantora::test {

using Samples = std::vector<float>;

inline Samples Impulse(std::size_t length) {
  Samples x(length);
  x[0] = 1.0f;
  return x;
}

inline Samples Sine(std::size_t length, double hz, double sampleRate, double amplitude = 1.0) {
  Samples x(length);
  for (std::size_t i = 0; i < length; ++i) {
    x[i] = static_cast<float>(amplitude *
                              std::sin(2.0 * std::numbers::pi * hz * static_cast<double>(i) / sampleRate));
  }
  return x;
}

/// White noise between -amplitude and amplitude, the same for the same seed.
inline Samples Noise(std::size_t length, uint32_t seed, float amplitude = 1.0f) {
  std::mt19937 draw(seed);
  std::uniform_real_distribution<float> level(-amplitude, amplitude);
  Samples x(length);
  for (float& sample : x) sample = level(draw);
  return x;
}

inline double MeanSquare(const Samples& x, std::size_t from = 0) {
  double sum = 0.0;
  for (std::size_t i = from; i < x.size(); ++i) sum += double{x[i]} * double{x[i]};
  return sum / static_cast<double>(x.size() - from);
}

inline double Rms(const Samples& x, std::size_t from = 0) { return std::sqrt(MeanSquare(x, from)); }

inline double Decibels(double gain) { return 20.0 * std::log10(gain); }

/// Spectrum of an impulse response at one frequency.
inline std::complex<double> ResponseAt(const Samples& impulse, double hz, double sampleRate) {
  std::complex<double> sum = 0.0;
  const double w = 2.0 * std::numbers::pi * hz / sampleRate;
  for (std::size_t i = 0; i < impulse.size(); ++i)
    sum += double{impulse[i]} * std::polar(1.0, -w * static_cast<double>(i));
  return sum;
}

/// Power of `x` at whole bin `bin` of its length, as the square of an amplitude over 2.
inline double PowerAt(const Samples& x, uint32_t bin) {
  const double length = static_cast<double>(x.size());
  return (bin == 0 ? 1.0 : 2.0) * std::norm(ResponseAt(x, bin, length)) / (length * length);
}

/// Level in dB of what lies on none of the harmonics of `bin`, against what lies on them: the aliases of a
/// distorted sine whose period fits the buffer.
inline double AliasDb(const Samples& x, uint32_t bin) {
  double harmonics = 0.0;
  for (uint32_t k = bin; k <= x.size() / 2; k += bin) harmonics += PowerAt(x, k);
  const double aliases = MeanSquare(x) - PowerAt(x, 0) - harmonics;
  return 10.0 * std::log10(std::max(aliases, 1e-20) / harmonics);
}

}  // namespace Vantora::test
