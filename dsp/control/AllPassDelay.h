#pragma once

#include <cmath>
#include <cstdint>

#include "dsp/control/DelayLine.h"

namespace Vantora::dsp {

/// AllPassDelay: a delay line with an all-pass around it (Schroeder).
///
///     v = in - gain * line(delay);   out = gain * v + line(delay)
///
/// The delay lies between 1 and the line's size; it isn't checked.
class AllPassDelay {
 public:
  /// maxSize  length of the line in samples. Allocates.
  /// delay    samples
  /// gain     -1..1
  void Configure(uint32_t newMaxSize, int32_t newDelay, float newGain) {
    gain = newGain;
    SetDelay(newDelay);
    maxSize = newMaxSize;
    line.Resize(maxSize);
  }

  /// Samples.
  void SetDelay(int32_t newDelay) noexcept {
    delay = newDelay;
    delayF = static_cast<float>(newDelay);
  }

  void SetGain(float newGain) noexcept { gain = newGain; }

  /// From here on it sounds like a new one.
  void Clear() noexcept { line.Clear(); }

  float Process(float input) noexcept { return Finish(input, line.Read(static_cast<uint32_t>(delay))); }

  /// mode        an InterpolationMode
  /// modulation  samples, added to the delay; a sum below 1 reads one sample back
  /// readGain    of what is read: with sqrt(1 - the delay's growth per sample) a read that slows down adds no
  ///             energy
  float ProcessModulated(uint32_t mode, float input, float modulation, float readGain = 1.0f) noexcept {
    const float t = delayF + modulation;
    const float delayed = t >= 1.0f ? line.ReadInterpolated(static_cast<uint32_t>(static_cast<int32_t>(t)),
                                                            mode, t - std::floor(t))
                                    : line.Read(1);
    return Finish(input, readGain * delayed);
  }

  /// The ring itself, for taps.
  const DelayLine& Line() const noexcept { return line; }

 private:
  float Finish(float input, float delayed) noexcept {
    const float v = input - gain * delayed;
    line.Write(v);
    return gain * v + delayed;
  }

  DelayLine line;
  float gain = 0.0f;
  int32_t delay = 0;     // samples
  float delayF = 0.0f;   // the same
  uint32_t maxSize = 0;  // samples
};

}  // namespace Vantora::dsp
