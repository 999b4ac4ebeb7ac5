#pragma once

#include <array>
#include <cstdint>

#include "basictools/AlignedVector.h"
#include "basictools/smoothing/RestingBlock.h"
#include "dsp/control/Biquad.h"
#include "dsp/control/DelayLine.h"
#include "dsp/control/SmootherInterpLPF.h"

namespace Vantora::dsp {

/// FeedbackPath: the wet sum, high-passed at 20 Hz, through a
/// long delay and back to the voice input, one block later.
///
///     wet sum --> 20 Hz high-pass --> delay line --(fifth-order read)--> output buffer
///       --x gain--> next block's input
///
/// The path always runs, so that it is ready when the harmonizer comes on; its gain is above 0 only then. The
/// gain never exceeds 0.3535 and nothing limits the signal. The loop's time is the delay plus one block, so a
/// moved knob aims 1 ms short. Intended: a reset snaps to the full time, 1 ms long. The stored render
/// "cascade" holds it.
class FeedbackPath {
 public:
  /// Longest delay in ms is the top of the knob's range. Allocates.
  void Configure(uint32_t maxBlockSize, float sampleRate, float maxMs);

  /// Clears lines and filters; snaps the delay to `ms`. What the output buffers hold stays, save what isn't
  /// finite: a gain of 0 wouldn't silence it.
  void Reset(float ms);

  /// Aims the delay at a knob's value, in ms.
  void AimDelay(float ms) { delay.SetTarget((ms - 1.0f) * 0.001f * sampleRate); }

  /// Return gain of a spray position: 0 in its lower half, then up to 0.3535.
  static float GainOf(float sprayPosition) {
    return sprayPosition < 0.5f ? 0.0f : 0.707f * sprayPosition - 0.3535f;
  }

  void SnapGain(float target) { gain.SetValue(target); }
  void AimGain(float target) { gain.SetTarget(target); }

  /// The next `count` delays, in samples, and gains, each into the same buffer of the owner's on every call,
  /// which nobody else writes.
  void RenderDelay(float* out, uint32_t count);
  void RenderGain(float* out, uint32_t count) { gainBlock.Render(gain, out, count); }

  /// The previous block's return of one side, 0 left or 1 right.
  const float* Output(uint32_t side) const { return outputs[side]; }

  /// The two output buffers, the owner's: whole vectors of a block's length.
  void SetOutputs(float* left, float* right) { outputs = {left, right}; }

  /// A low-pass of the owner's over the same sums, run in the same loop: its recursions wait while these do.
  struct LowPassAlongside {
    const BiquadCoefficients* coefficients;
    DirectForm1<Float4>* states;
    std::array<float*, 2> out;  ///< may be the sums
  };

  /// Reads, filters and writes both sides' wet sums; with them runs `lowPass`, unless that is null.
  void Process(const std::array<const float*, 2>& wetSums, const float* delaySamples, uint32_t count,
               const LowPassAlongside* lowPass);

 private:
  bool ReadsStandingDelay(const float* delaySamples, uint32_t count) const;
  void ReadMoving(uint32_t side, const float* delaySamples, uint32_t count);
  template <bool kLowPass>
  void FilterSides(const std::array<const float*, 2>& wetSums, uint32_t count,
                   const LowPassAlongside* lowPass);

  float sampleRate = 0.0f;
  uint32_t blockLength = 0;
  BiquadCoefficients highPass;
  SmootherInterpLPF delay{0.2f};  // samples
  SmootherInterpLPF gain{0.01f};
  RestingBlock delayBlock, gainBlock;
  std::array<DelayLine, 2> lines;
  Transposed2<Float4> highPassStates;
  std::array<float*, 2> outputs{};
  bool isDelaySettled = false;            // throughout the block
  std::array<AlignedFloats, 2> past;      // a block of each side and the three neighbours that a read takes
  std::array<AlignedFloats, 2> filtered;  // a block of each side's sum behind the high-pass
};

}  // namespace Vantora::dsp
