#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "dsp/control/IGenerator.h"
#include "dsp/control/LFORows.h"
#include "dsp/control/SmootherLPF.h"

namespace Vantora::dsp {

/// LFO: a low-frequency generator with six waveforms, one or two channels.
///
///     phases (+ offset of the second channel, + port 2) --> waveform --> unipolar
///       --> Amp (+ port 1) --> smooth --> fade in --> out 0, 1
///
/// Port 0 modulates the rate, port 1 "Amp", port 2 "PhaseInit"; all are read once a block.
///
/// Waveform       0 sine, 1 triangle, 2 falling saw, 3 rising saw, 4 square, 5 sample and hold; others are
///                silent
/// Amp            0..1, without a glide of its own
/// Smooth         seconds of a low-pass, or periods of the LFO with "SmoothRateLinked"
/// Fade           seconds of an exponential fade-in after a restart
/// Stereo         a second channel, "StereoSpread" degrees ahead. Sample and hold lags by that instead, or is
///                mirrored
/// Feedback       the phase at the block's start and the first output sample, to be read as parameters
/// Control rate   one output sample a block
class LFO : public IGenerator, public LFOKnobs::Indices {
 public:
  static constexpr uint32_t kInputCount = 3, kOutputCount = 2;
  static constexpr uint32_t kParamCount = LFOKnobs::kRows.size();
  using ParamIndex = LFOKnobs::ParamIndex;
  using OwnParameter = ParamIndex;
  enum Waveform : uint32_t { kSine, kTriangle, kFallingSaw, kRisingSaw, kSquare, kSampleAndHold };

  /// seed  start of the random sequence; 0 takes the clock
  explicit LFO(std::string text, uint32_t seed = 0);

  void Configure(uint32_t maxBlockSize, float newSampleRate) override;
  void DoReset(bool hard) override;
  bool UpdateParams(ProcessContext& context) override;
  void Restart() override;

 protected:
  void RenderShape(ProcessContext& context) override;

 private:
  /// What the samples of one block share.
  struct Shape {
    uint32_t steps;
    float amp;              // 0..1
    float phaseModulation;  // cycles, plus 1 when modulated
    bool fading;
    float* out[2];  // null where nothing is connected
  };

  float Draw() noexcept;
  void SetSmoothingTime(double time) noexcept;
  float OffsetOf(uint32_t channel);
  template <typename Function>
  void RenderWaveform(const Shape& shape, uint32_t channel, Function&& function);
  void RenderSampleAndHold(const Shape& shape);
  void HoldFirst(uint32_t step) noexcept;
  void HoldSecond(uint32_t step, float lag) noexcept;
  float Finish(const Shape& shape, uint32_t channel, uint32_t step, float v) noexcept;

  std::array<SmootherLPF, 2> smoothers{SmootherLPF(0.0f), SmootherLPF(0.0f)};
  std::array<float, 2> held{};  // sample and hold, by channel
  uint32_t waveform = kSine;
  uint32_t channels = 1;
  uint32_t snhStereoMode = 0;  // 0 the second lags, 1 it is mirrored
  uint32_t randomState;
  float fadeScale = 22025.5f;  // exp(10) - 1, rounded for its place in the formula
  float fadeStep = 0.0f;
  float fadePosition = 0.0f;    // 0..1 of the fade-in
  float fadeSampleRate = 1.0f;  // Hz
  float delayPhase = 0.0f;
  float previousHeld = 0.0f;
  bool heldIsPrevious = false;
  bool unipolar = false;
  bool smoothOn = false;
  bool smoothLinked = false;
  float samplesPerStep = 44.0f;  // 1, or the block length
};

}  // namespace Vantora::dsp
