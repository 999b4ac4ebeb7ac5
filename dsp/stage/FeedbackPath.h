#pragma once

#include <array>
#include <cstdint>
#include <vector>

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
/// moved knob aims 1 ms short. Intended: a reset snaps to the full time, 1 ms long.
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

  /// The next `count` delays, in samples, and gains.
  void RenderDelay(float* out, uint32_t count) { delay.Render(out, count); }
  void RenderGain(float* out, uint32_t count) { gain.Render(out, count); }

  /// The previous block's return of one side, 0 left or 1 right.
  const float* Output(uint32_t side) const { return outputs[side]; }

  /// The two output buffers of a block's length, the owner's.
  void SetOutputs(float* left, float* right) { outputs = {left, right}; }

  /// Reads, filters and writes one side's wet sum.
  void Process(uint32_t side, const float* wetSum, const float* delaySamples, uint32_t count);

 private:
  bool ReadsStandingDelay(const DelayLine& line, const float* delaySamples, uint32_t count) const;
  void ReadRun(const DelayLine& line, float delaySample, float* out, uint32_t count);

  float sampleRate = 0.0f;
  uint32_t blockLength = 0;
  BiquadCoefficients highPass;
  SmootherInterpLPF delay{0.2f};  // samples
  SmootherInterpLPF gain{0.01f};
  std::array<DelayLine, 2> lines;
  std::array<BiquadTransposed2, 2> highPassStates;
  std::array<float*, 2> outputs{};
  std::vector<float> scratch;  // a block and the three neighbours that a read between samples takes
};

}  // namespace Vantora::dsp
