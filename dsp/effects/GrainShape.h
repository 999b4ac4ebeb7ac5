#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "basictools/math/ParabolicSine.h"

namespace Vantora::dsp {

/// GrainShape: how the two read heads of the pitch shifter move for an interval. Small intervals get long,
/// smooth grains, large ones short crossfades.
struct GrainShape {
  float width = 0.0f;   // crossfade, 0..0.5 of the head's way
  float length = 0.0f;  // way of a head, samples
  float rate =
      0.0f;  // Hz, signed: a delay that shrinks by `length` so often raises the pitch by the interval

  static GrainShape ForInterval(float semitones, float sampleRate) noexcept {
    const float a = std::fabs(semitones);
    const float sign = semitones >= 0.0f ? 1.0f : -1.0f;
    float seconds = 0.029985627f;
    if (a > 2.63155f) {
      seconds = 0.0100279f * a - 0.0002163307f +
                (0.02872614f - 0.008806685f * a) / (1.0f + std::pow(0.34744045f * a, 8.770802f));
    }
    const float magnitude = (std::exp2(semitones / 12.0f) - 1.0f) * sign / seconds;
    const float w = 0.498f * magnitude / (1.0f + 0.498f * magnitude);
    return {std::clamp(w, 0.0f, 0.5f), seconds * sampleRate, magnitude * sign};
  }
};

/// Gain of a head at place `h` of its way, 0..1, for a crossfade width `w`: a quarter of a sine up at the
/// start, 1, the same down behind the middle, and silence until it restarts. Without branches, so that loops
/// over it vectorise. `kHalf` where w is 0.5, whose quotient is a product.
template <bool kHalf = false>
inline float HeadGain(float h, float w) noexcept {
  const float unlimited = (1.0f - 2.0f * h) * (1.0f - w) + w;
  const float t = unlimited < 0.0f ? 0.0f : (unlimited > 1.0f ? 1.0f : unlimited);
  const float v = t < w ? t : 1.0f - t;
  // Inside the window the turn is at most a quarter; outside, the sine is not used. A true division: the
  // processors' fast reciprocals differ from maker to maker.
  const float turn = kHalf ? v * 0.5f : v / (4.0f * (w == 0.0f ? 1e-8f : w));
  return v < w ? ParabolicSine(6.2831855f * turn) : 1.0f;
}

/// Way that a head has left to go, 0..1 of its length, at place `h`.
inline float HeadDelay(float h) noexcept {
  const float rest = 1.0f - h;
  return rest < 0.0f ? 0.0f : (rest > 1.0f ? 1.0f : rest);
}

/// What lies behind the point, with the number's sign.
inline float Fraction(float x) noexcept { return x - static_cast<float>(static_cast<int32_t>(x)); }

/// Places of the two heads on their ways, 0..1, at a phase of -1..1 cycles.
inline float HeadA(float phase) noexcept { return Fraction(phase + 1.0f); }
inline float HeadB(float phase) noexcept { return Fraction(phase + 1.5f); }

}  // namespace Vantora::dsp
