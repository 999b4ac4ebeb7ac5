#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "basictools/math/Float4.h"
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

/// Gain of a head at place `h` of its way, 0..1, for a crossfade width `w`, four samples: a quarter of a sine
/// up at the start, 1, the same down behind the middle, and silence until it restarts.
inline Float4 HeadGain(Float4 h, Float4 w) noexcept {
  const Float4 unlimited = (1.0f - 2.0f * h) * (1.0f - w) + w;
  const Float4 zero = MakeFloat4(0.0f);
  const Float4 one = MakeFloat4(1.0f);
  const Float4 t = unlimited < zero ? zero : (unlimited > one ? one : unlimited);
  const Float4 v = t < w ? t : one - t;
  // Inside the window the turn is at most a quarter; outside, the sine is not used. A true division: the
  // processors' fast reciprocals differ from maker to maker.
  const Float4 turn = v / (4.0f * (w == zero ? MakeFloat4(1e-8f) : w));
  return v < w ? ParabolicSine(6.2831855f * turn) : one;
}

}  // namespace Vantora::dsp
