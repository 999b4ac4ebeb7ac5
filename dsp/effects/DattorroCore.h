#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "dsp/control/AllPassDelay.h"
#include "dsp/control/DelayLine.h"
#include "dsp/control/SmootherLPF.h"
#include "dsp/effects/DattorroCoreRows.h"
#include "engine/UnitModule.h"

namespace Vantora::dsp {

/// DattorroCore: the tank of a plate reverb, a figure of eight of delays and all-passes. Wet signal only.
///
///     (L + R) / 2 -- predelay -- four diffusers -- x
///
///     x --(+)-- allpass 908~ -- delay 4217 -- damping -- * Decay -- allpass 2656~ -- delay 3163 --+
///          ^                                                                                       |
///          +--- * Decay ---------------------- the other half ----------------- * Decay ---(+)-- x |
///          |                                                                                ^      |
///          +--- delay 3720 -- allpass 1800~ -- * Decay -- damping -- delay 4453 -- allpass 672~    |
///                                                                                           ^------+
///
/// Each side of the output is the sum of seven taps into both halves. ~ is a slow modulation of the delay by
/// up to E_Excursion, two sines a little apart in rate and their quadratures. Lengths are for 29761 Hz and
/// follow the sample rate; E_Size scales them, EarlySize the taps.
///
/// Inputs   0, 1 audio; without input 1, input 0 alone
/// Outputs  0, 1 audio
/// Moves    "Predelay" and "E_Excursion" glide within "E_Smoothing"; coefficients go to a new value in a line
///          over one block; lengths ("E_Size", "EarlySize") jump, they are for setting up
/// Reset    empty lines, settled values: what follows is repeatable
/// Threads  Configure off the audio thread, the rest on it; allocates in Configure only
/// Source   J. Dattorro, "Effect Design Part 1: Reverberator and Other Filters", J. Audio Eng. Soc.
///          45(9), 1997
class DattorroCore : public UnitModule, public DattorroCoreKnobs::Indices {
 public:
  static constexpr uint32_t kInputCount = 2, kOutputCount = 2;
  static constexpr uint32_t kParamCount = DattorroCoreKnobs::kRows.size();
  using ParamIndex = DattorroCoreKnobs::ParamIndex;

  explicit DattorroCore(std::string name);

  void Configure(uint32_t maxBlockSize, float sampleRate) override;
  void DoReset(bool hard) override;
  bool UpdateParams(ProcessContext& context) override;
  uint32_t DoProcess(ProcessContext& context) override;

 private:
  static constexpr uint32_t kTapCount = 14;

  /// What the loop multiplies with. All of it may move in a line over a block.
  struct Coefficients {
    float inputDiffusion1 = 0.0f;
    float inputDiffusion2 = 0.0f;
    float decay = 0.0f;
    float decayDiffusion1 = 0.0f;  // enters negated
    float decayDiffusion2 = 0.0f;
    float brightness = 0.0f;  // 1 - damping

    bool operator==(const Coefficients&) const = default;
    Coefficients StepTo(const Coefficients& target, uint32_t count) const;
    void Add(const Coefficients& step);
  };

  /// A sine and its quadrature, turned by a fixed angle each sample.
  /// Double precision, so that the angle of a slow one doesn't drown.
  struct Phasor {
    double sine = 0.0;
    double cosine = 1.0;
    double turnSine = 0.0;
    double turnCosine = 1.0;
    double increment = 0.0;  // radians a sample

    void SetIncrement(double radians);
    void Restart();
    void Turn();
    void Normalize();
  };

  /// How a modulated all-pass is read in one sample.
  struct Reading {
    float offset;  // samples
    float gain;
  };

  /// One half of the figure of eight.
  struct Half {
    AllPassDelay first;  // modulated
    DelayLine longDelay;
    AllPassDelay second;  // modulated
    DelayLine endDelay;
    uint32_t longLength = 1;  // in use, samples
    uint32_t endLength = 1;
    float firstRoom = 0.0f;  // largest modulation upwards, samples
    float secondRoom = 0.0f;
    float damped = 0.0f;  // state of the one-pole
  };

  Coefficients ReadCoefficients();
  void SetGains(const Coefficients& coefficients);
  void SetLengths();
  void SetTaps();
  float Delayed(float input);
  static Reading ReadAt(double position, double slope, double excursion, double increment);
  void RunHalf(Half& half, float input, const Coefficients& k, float end, const Phasor& phasor,
               double excursion);
  float LeftTaps() const;
  float RightTaps() const;
  template <bool isMoving>
  void Run(const float* left, const float* right, float* outLeft, float* outRight, uint32_t count);

  // Settings, written by Configure.
  float rate = 0.0f;   // Hz
  float scale = 0.0f;  // of the table's lengths
  std::array<uint32_t, kTapCount> fullTaps{};

  // Aims, written by UpdateParams.
  Coefficients target;
  std::array<uint32_t, kTapCount> taps{};
  float earlySign = 1.0f;
  SmootherLPF predelaySamples{0.1f};
  SmootherLPF excursionSamples{0.1f};

  // State, written by DoProcess, cleared by DoReset.
  Coefficients current;
  Coefficients step;
  DelayLine predelayLine;
  std::array<AllPassDelay, 4> diffusers;
  std::array<Half, 2> halves;
  std::array<Phasor, 2> phasors;
};

}  // namespace Vantora::dsp
