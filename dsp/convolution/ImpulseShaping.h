#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "dsp/convolution/ImpulseFile.h"

namespace Vantora::dsp {

/// ImpulseResampler: libresample at high quality, for factors from 1/256 to 256.
class ImpulseResampler {
 public:
  ImpulseResampler();
  ~ImpulseResampler();
  ImpulseResampler(const ImpulseResampler&) = delete;
  ImpulseResampler& operator=(const ImpulseResampler&) = delete;

  /// `factor` times as many samples, cut or filled with zeros to `length`. An output of no samples is the
  /// first sample of the input. Throws gsl::narrowing_error where libresample can't count the samples.
  std::vector<float> Run(std::vector<float>& input, double factor, size_t length) const;

  static constexpr double kLeastFactor = 1.0 / 256.0, kHighestFactor = 256.0;

 private:
  void* fresh = nullptr;  // never used itself; each run works on a copy, and so starts without a past
};

/// What the impulse's knobs ask for, and the rate it will run at.
struct ImpulseShape {
  float sampleRate = 0.0f;   ///< Hz, of the module
  uint64_t rateDivisor = 0;  ///< the engine runs at sampleRate / rateDivisor; 0: at sampleRate
  float gainDb = 0.0f;
  float decay = 1.0f;         ///< 1 leaves the impulse alone, 0 has it fall by exp(-5) in a second
  float stretch = 1.0f;       ///< times as long, and as much lower
  float lengthFactor = 1.0f;  ///< times as long, by cutting or by silence
};

/// The divisor for an engine at a reduced rate: the first of 2, 4, 6 and 8 that divides `sampleRate` evenly
/// and gets it down to `limit`; 0 when the rate isn't above the limit or none does.
uint64_t ChooseRateDivisor(float sampleRate, float limit);

/// Length, hinted fade, resampling, second channel, gain, decay: in this order, in place. Afterwards both
/// channels are there and equally long.
void ShapeImpulse(Impulse& impulse, const ImpulseShape& shape, const ImpulseResampler& resampler);

}  // namespace Vantora::dsp
