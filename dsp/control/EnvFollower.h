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
class EnvFollower : public UnitModule, public EnvFollowerKnobs::Indices {
 public:
  static constexpr uint32_t kInputCount = 2, kOutputCount = 1;
  static constexpr uint32_t kParamCount = EnvFollowerKnobs::kRows.size();
  using ParamIndex = EnvFollowerKnobs::ParamIndex;
  using Parameter = ParamIndex;

  explicit EnvFollower(std::string name);

  void Configure(uint32_t maxBlockSize, float newSampleRate) override;
  void DoReset(bool hard) override;
  bool UpdateParams(ProcessContext& context) override;
  uint32_t DoProcess(ProcessContext& context) override;

  /// As `Process` of one and then the other. While both run on RMS, their recursions share a loop, which
  /// takes the time of one. Blocks of equal length.
  static void ProcessBoth(EnvFollower& first, ProcessContext& firstContext, EnvFollower& second,
                          ProcessContext& secondContext);

  /// A ring of squares and their running sum over the latest `window` of them.
  struct DelayLineDouble {
    /// Sets the length and clears. Allocates.
    void Resize(uint32_t newSize);
    /// Back to silence: a pass over the ring.
    void Clear() noexcept;
    uint32_t Size() const noexcept { return static_cast<uint32_t>(squares.size()); }

    std::vector<double> squares;
    uint32_t writeIndex = 0;
    double sum = 0.0;
  };

  /// The window's ring, for tests.
  const DelayLineDouble& GetRing() const { return ring; }

 private:
  template <bool kStereo, bool kGate>
  void FollowPeaks(const float* left, const float* right, float* out, uint32_t count) noexcept;
  template <uint32_t kFollowers, bool kGate, bool kOneSpeed>
  static void FollowRms(EnvFollower* const* followers, ProcessContext* const* contexts) noexcept;
  template <uint32_t kFollowers>
  static void FollowRms(EnvFollower* const* followers, ProcessContext* const* contexts) noexcept;
  bool HasOneSpeed() const { return attackCoef == releaseCoef; }
  void WriteSquares(const ProcessContext& context, uint32_t start, uint32_t count,
                    double* squares) const noexcept;

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
