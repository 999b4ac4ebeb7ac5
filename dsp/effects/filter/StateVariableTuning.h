#pragma once

#include <cmath>

#include "dsp/effects/FilterModes.h"
#include "dsp/effects/StateVariable.h"

namespace Vantora::dsp {

/// What the coefficients of a state-variable mode are made from.
struct StateVariableTuning {
  float frequency = 0.0f;  ///< Hz, below half the rate
  float q = 0.0f;
  float bellGainDb = 0.0f;  ///< of the bell alone
  bool operator==(const StateVariableTuning&) const = default;

  /// The mix of a use with the tuning, for one section. `sampleRate` in Hz.
  StateVariableCoefficients Coefficients(FilterUse use, float sampleRate) const noexcept {
    const float k = 1.0f / q;
    StateVariableCoefficients c;
    c.Tune(std::tan(3.14159265f * frequency / sampleRate), k);
    switch (use) {
      case FilterUse::LowPass:
        c.m2 = 1.0f;
        break;
      case FilterUse::HighPass:
        c.m0 = 1.0f;
        c.m1 = -k;
        c.m2 = -1.0f;
        break;
      case FilterUse::BandPass:
        c.m1 = 1.0f;
        break;
      case FilterUse::Notch:
        c.m0 = 1.0f;
        c.m1 = -k;
        break;
      default:
        // ln(10) / 20: the bell's gain is an exponential of its own and keeps its own constant.
        c.m0 = 1.0f;
        c.m1 = k * (std::exp(bellGainDb * 0.115129255f) - 1.0f);
        break;
    }
    return c;
  }
};

}  // namespace Vantora::dsp
