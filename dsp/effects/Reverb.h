#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "basictools/BlockBuffers.h"
#include "dsp/control/Biquad.h"
#include "dsp/control/SmootherInterpLPF.h"
#include "dsp/control/SmootherLPF.h"
#include "dsp/effects/DattorroCore.h"
#include "dsp/effects/ReverbRows.h"
#include "engine/ModuleContainer.h"

namespace Vantora::dsp {

/// Reverb: a stereo plate. The tank of `DattorroCore` between a band limit and a mid and side mix.
///
///     in --+-- low-pass, high-pass -- tank -- mid/side -- * output gain -- * sin(wet) --(+)-- out
///          |                                                                             ^
///          +---------------------------------------- * cos(wet) -------------------------+
///
/// Inputs       0, 1 audio; without input 1, input 0 feeds both sides
/// Outputs      0, 1 audio
/// Parameters   the tank's 14, then:
///   LPBandWith   Hz, upper band limit of what enters the tank; off at its upper end
///   HPBandWith   Hz, lower band limit; off at its lower end
///   Wet          0..1 on a quarter turn of constant power: 0 is the input, bit for bit
///   OutputGain   dB, of the wet signal only
///   MSMix        0 mid only, 0.5 as it comes, 1 sides only
/// Reset        the tank is empty, filters are clear, all values settled
/// Threads      Configure off the audio thread, the rest on it; allocates in Configure only
class Reverb : public ModuleContainer<DattorroCore>, public ReverbKnobs::Indices {
 public:
  static constexpr uint32_t kInputCount = 2, kOutputCount = 2;
  /// Positions behind the tank's parameters; `kOwnBase` + position is the index.
  using OwnParam = ReverbKnobs::OwnParam;
  using OwnIndex = OwnParam;
  static constexpr uint32_t kParamCount = kOwnBase + kOwnCount;

  explicit Reverb(std::string name);

  void Configure(uint32_t maxBlockSize, float sampleRate) override;
  void DoReset(bool hard) override;
  bool UpdateParams(ProcessContext& context) override;
  uint32_t DoProcess(ProcessContext& context) override;

 private:
  /// A band limit: one design for both sides.
  struct BandLimit {
    BiquadCoefficients coefficients;
    std::array<BiquadDirectForm1, 2> states;
    SmootherLPF position{0.05f};  // of the knob, one tick a block
    bool isOn = false;
  };
  /// A gain that glides from block to block and runs in a line within one.
  struct BlockGain {
    SmootherLPF glide{0.05f};
    float from = 1.0f;
    float to = 1.0f;

    void Aim(float value, bool isFresh);
  };

  void AimBandLimit(BandLimit& limit, uint32_t own, bool wanted, bool isFresh);
  void LimitBand(uint32_t side, const float* in, float* out, uint32_t count);
  void Mix(const ProcessContext& context, const float* dryLeft, const float* dryRight);

  // Settings, written by Configure.
  float rate = 0.0f;       // Hz
  BlockBuffers workspace;  // two inputs and two outputs of the tank
  std::array<float*, 4> buffers{};

  // Aims, written by UpdateParams; state, written by DoProcess.
  BandLimit lowPass;
  BandLimit highPass;
  SmootherInterpLPF wetAngle{0.01f};  // 0..pi/2
  BlockGain gain;                     // factor
  BlockGain middle;                   // position of "MSMix"
};

}  // namespace Vantora::dsp
