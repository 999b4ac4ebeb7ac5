#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "dsp/control/EnvFollowerRows.h"
#include "engine/UnitModule.h"

namespace Vantora::dsp {

/// EnvFollower: audio in, its level out, one value per sample in linear amplitude.
///
///     in 0 (,1) -->|x|--> gain, or RMS over a window, gain --> gate --> attack / release --> out 0
///
/// Attack, Release       seconds, five time constants each
/// RMSWindowDurationMs   milliseconds; below two samples the follower works on peaks. A change restarts it
/// FixedLinearGain       linear; the default makes the RMS of a sine read as its peak
/// StereoInput           left and right are averaged; a missing right counts as mono
/// Threshold, ThresholdActive   dB; a level not above it counts as silence. At its lowest the gate is off
/// Smallest output       1e-6 (-120 dB); below it the output is exactly 0, so no denormal number arises
/// Threads               Configure off the audio thread, the rest on it; allocates in Configure only
class EnvFollower : public UnitModule {
 public:
  static constexpr uint32_t kInputCount = 2, kOutputCount = 1, kParamCount = 7;
  using enum EnvFollowerKnobs::ParamIndex;
  using ParamIndex = EnvFollowerKnobs::ParamIndex;
  using Parameter = ParamIndex;

  explicit EnvFollower(std::string name);

  void Configure(uint32_t maxBlockSize, float newSampleRate) override;
  void DoReset(bool hard) override;
  bool UpdateParams(ProcessContext& context) override;
  uint32_t DoProcess(ProcessContext& context) override;

  /// A ring of squares and their running sum over the latest `window` of them.
  class DelayLineDouble {
   public:
    virtual ~DelayLineDouble() = default;

    /// Sets the length and clears. Allocates.
    void Resize(uint32_t newSize);
    /// Back to silence: a pass over the ring.
    void Clear() noexcept;
    /// Takes in one square and lets go of the one `window` back; returns the sum.
    double Push(double square, int32_t window) noexcept {
      int32_t oldest = static_cast<int32_t>(writeIndex) - window;
      while (oldest < 0) oldest += static_cast<int32_t>(size);
      sum = sum - data[oldest] + square;
      // Also while the ring still holds values: it stops the rounding drift of the running sum.
      if (sum < 1e-10) sum = 0.0;
      data[writeIndex] = square;
      if (++writeIndex >= size) writeIndex = 0;
      return sum;
    }
    uint32_t Size() const noexcept { return size; }

   private:
    std::vector<double> buffer;
    double* data = nullptr;  // its first element
    uint32_t size = 0;
    uint32_t writeIndex = 0;
    double sum = 0.0;
  };

  /// The window's ring, for tests.
  const DelayLineDouble& Ring() const { return ring; }

 private:
  template <bool kStereo, bool kGate, bool kRms>
  void Follow(const float* left, const float* right, float* out, uint32_t count) noexcept;

  // Settings, written by Configure and UpdateParams.
  float sampleRate = 1.0f;  // Hz
  float gain = 1.0f;
  bool stereoIn = false;
  // State, written by DoProcess, cleared by DoReset.
  float envelope = 0.0f;
  // Settings again.
  bool thresholdOn = false;
  float thresholdLinear = 0.0f;
  DelayLineDouble ring;
  double invWindow = 1.0;     // 1 / windowSamples
  int32_t windowSamples = 1;  // at least 1
  bool rmsOn = false;
  float releaseCoef = 0.0f;
  float attackCoef = 0.0f;
};

}  // namespace Vantora::dsp
