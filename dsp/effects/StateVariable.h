#pragma once

namespace Vantora::dsp {

/// Coefficients of the zero-delay state-variable filter in its trapezoidal form (A. Simper, "Solving the
/// continuous SVF equations using trapezoidal integration", 2013): g = tan(pi f / rate), k = 1 / Q. The mix
/// m0 x + m1 b + m2 l of input, band-pass and low-pass makes the response.
struct StateVariableCoefficients {
  float g1 = 0.0f;  // 1 / (1 + g (g + k))
  float g2 = 0.0f;  // g g1
  float g3 = 0.0f;  // g g2
  float m0 = 0.0f;
  float m1 = 0.0f;
  float m2 = 0.0f;

  /// Sets g1, g2, g3.
  void Tune(float g, float k) noexcept {
    g1 = 1.0f / (1.0f + g * (g + k));
    g2 = g * g1;
    g3 = g * g2;
  }
};

/// True when adding `step` changes none of those that glide.
inline bool StandsThrough(const StateVariableCoefficients& now,
                          const StateVariableCoefficients& step) noexcept {
  return now.g1 + step.g1 == now.g1 && now.g2 + step.g2 == now.g2 && now.g3 + step.g3 == now.g3 &&
         now.m1 + step.m1 == now.m1;
}

/// One section's memory, of one channel.
template <typename T>
struct StateVariableState {
  T s1{};
  T s2{};
};

}  // namespace Vantora::dsp
