#pragma once

#include <cmath>

namespace Vantora::dsp {

/// First-order section: y = b0 x + z, z = b1 x - a1 y.
struct FirstOrderCoefficients {
  float b0 = 0.0f;
  float b1 = 0.0f;
  float a1 = 0.0f;

  /// Bilinear low-pass, prewarped: -3 dB exactly at `frequency`. Both in Hz, frequency below rate / 2.
  static FirstOrderCoefficients LowPass(float frequency, float sampleRate) noexcept {
    const float c = 1.0f / std::tan(3.14159265f * frequency / sampleRate);
    const float b = 1.0f / (c + 1.0f);
    return {b, b, b * (1.0f - c)};
  }

  /// Bilinear high-pass. Intended: no prewarp, unlike the
  /// low-pass; its corner sinks as it nears half the rate.
  /// MultiModeFilter.EveryModeHasTheResponseOfItsPrototype holds it.
  static FirstOrderCoefficients HighPass(float frequency, float sampleRate) noexcept {
    const float c = sampleRate / (3.14159265f * frequency);
    const float b = c / (c + 1.0f);
    return {b, -b, (1.0f - c) / (c + 1.0f)};
  }
};

/// One sample. T is float, or Float4 with a channel in each lane.
template <typename T>
inline T FirstOrderTick(const FirstOrderCoefficients& c, T& z, T x) noexcept {
  const T y = c.b0 * x + z;
  z = c.b1 * x - c.a1 * y;
  return y;
}

}  // namespace Vantora::dsp
