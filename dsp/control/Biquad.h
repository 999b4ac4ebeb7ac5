#pragma once

#include <cmath>

#include "basictools/math/Float4.h"

namespace Vantora::dsp {

/// BiquadCoefficients: b0..a2 of y = b0 x + b1 x1 + b2 x2 - a1 y1 - a2 y2, as the second-order low-pass and
/// high-pass of R. Bristow-Johnson's audio equaliser cookbook (bilinear transform). `w` is 2 pi f / rate;
/// `alpha` is sin(w) / (2 Q), written by the caller, whose rounding is part of the sound.
struct BiquadCoefficients {
  float b0 = 0.0f;
  float b1 = 0.0f;
  float b2 = 0.0f;
  float a1 = 0.0f;
  float a2 = 0.0f;

  static BiquadCoefficients LowPass(float w, float alpha) noexcept {
    const float c = std::cos(w);
    const float a0 = 1.0f + alpha;
    const float b0 = (1.0f - c) * 0.5f / a0;
    return {b0, (1.0f - c) / a0, b0, -2.0f * c / a0, (1.0f - alpha) / a0};
  }

  static BiquadCoefficients HighPass(float w, float alpha) noexcept {
    const float c = std::cos(w);
    const float a0 = 1.0f + alpha;
    const float b0 = (1.0f + c) * 0.5f / a0;
    return {b0, -(1.0f + c) / a0, b0, -2.0f * c / a0, (1.0f - alpha) / a0};
  }
};

/// Reciprocal of a Butterworth section's Q, as the engine's filters hold it.
inline constexpr float kButterworthInverseQ = 1.41421354f;

/// Direct form one: the states are past inputs and outputs, so coefficients may change at any sample. `T` is
/// a float, or a Float4 for as many channels at once.
template <typename T>
struct DirectForm1 {
  T x1{};
  T x2{};
  T y1{};
  T y2{};

  T Tick(const BiquadCoefficients& k, T x) noexcept {
    const T y = k.b0 * x + k.b1 * x1 + k.b2 * x2 - k.a1 * y1 - k.a2 * y2;
    x2 = x1;
    x1 = x;
    y2 = y1;
    y1 = y;
    return y;
  }
};
using BiquadDirectForm1 = DirectForm1<float>;

/// Transposed direct form two: two states, for coefficients that stay. `T` as above.
template <typename T>
struct Transposed2 {
  T z1{};
  T z2{};

  T Tick(const BiquadCoefficients& k, T s) noexcept {
    const T y = k.b0 * s + z1;
    z1 = k.b1 * s - k.a1 * y + z2;
    z2 = k.b2 * s - k.a2 * y;
    return y;
  }
};
using BiquadTransposed2 = Transposed2<float>;

/// Left and right as the lower lanes: both channels' recursion for the instructions of one.
inline Float4 MakeStereo(float left, float right) noexcept { return Float4{left, right, 0.0f, 0.0f}; }

}  // namespace Vantora::dsp
