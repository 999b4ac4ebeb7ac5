#pragma once

#include <cstdint>

#include "dsp/effects/FilterModes.h"
#include "dsp/effects/FirstOrderSection.h"

namespace Vantora::dsp {

/// FirstOrderFilter: low-pass, high-pass, or both in series at twice the gain as a band-pass, two channels.
class FirstOrderFilter {
 public:
  /// `frequency` and `sampleRate` in Hz, the former below half the latter.
  void Tune(FilterUse newUse, float frequency, float sampleRate) noexcept {
    use = newUse;
    if (use == FilterUse::HighPass) {
      sections[0] = FirstOrderCoefficients::HighPass(frequency, sampleRate);
      return;
    }
    sections[0] = FirstOrderCoefficients::LowPass(frequency, sampleRate);
    if (use == FilterUse::BandPass) {
      sections[1] = FirstOrderCoefficients::HighPass(frequency, sampleRate);
      // Intended: a pole at half the place, which flattens the upper slope.
      // MultiModeFilter.EveryModeHasTheResponseOfItsPrototype holds it.
      sections[1].a1 *= 0.5f;
    }
  }

  void Clear() noexcept {
    for (auto& channel : states) channel[0] = channel[1] = 0.0f;
  }

  /// A block of a channel, 0 or 1; `out` may be `in`.
  void Process(uint32_t channel, const float* in, float* out, uint32_t count) noexcept {
    const FirstOrderCoefficients first = sections[0];
    const FirstOrderCoefficients second = sections[1];
    float z0 = states[channel][0];
    float z1 = states[channel][1];
    if (use == FilterUse::BandPass) {
      for (uint32_t i = 0; i < count; ++i) {
        out[i] = FirstOrderTick(second, z1, 2.0f * FirstOrderTick(first, z0, in[i]));
      }
    } else {
      for (uint32_t i = 0; i < count; ++i) out[i] = FirstOrderTick(first, z0, in[i]);
    }
    states[channel][0] = z0;
    states[channel][1] = z1;
  }

 private:
  FilterUse use = FilterUse::LowPass;
  FirstOrderCoefficients sections[2];
  float states[2][2] = {};  // channel, section
};

}  // namespace Vantora::dsp
