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

/// One stage's memory. T is float, or Float4 with a channel in each lane.
template <typename T>
struct StateVariableState {
  T s1{};
  T s2{};
};

/// One sample through one stage.
template <typename T>
inline T StateVariableTick(const StateVariableCoefficients& c, StateVariableState<T>& s, T x) noexcept {
  const T u = x - s.s2;
  const T b = c.g1 * s.s1 + c.g2 * u;
  const T l = s.s2 + c.g2 * s.s1 + c.g3 * u;
  s.s1 = 2.0f * b - s.s1;
  s.s2 = 2.0f * l - s.s2;
  return c.m0 * x + c.m1 * b + c.m2 * l;
}

/// One sample through one low-pass stage, without the sum of the mix.
template <typename T>
inline T StateVariableLowPassTick(const StateVariableCoefficients& c, StateVariableState<T>& s,
                                  T x) noexcept {
  const T u = x - s.s2;
  const T b = c.g1 * s.s1 + c.g2 * u;
  const T l = s.s2 + c.g2 * s.s1 + c.g3 * u;
  s.s1 = 2.0f * b - s.s1;
  s.s2 = 2.0f * l - s.s2;
  return l;
}

}  // namespace Vantora::dsp
