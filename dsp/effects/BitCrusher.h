#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "dsp/control/SmootherInterpLPF.h"
#include "dsp/effects/BitCrusherRows.h"
#include "dsp/effects/CrusherChannel.h"
#include "dsp/effects/bank/LaneBank.h"
#include "dsp/effects/crusher/CrusherKernels.h"
#include "engine/UnitModule.h"

namespace Vantora::dsp {

/// BitCrusher: reduces sample rate and word length.
///
///     in -->(* in gain)-->(+)-->[ DC ]-->[ low-pass ]-->[ hold ]-->[ compress, quantise, expand ]-+-> send
///                          ^                                                                      |
///     return --------------+              out = in - wet in + wet (crushed / in gain) <-----------+
///
/// Inputs     0, 1 audio; 2 control of "Wet", 3 of "Bitdepth", 4 of "Downsample" and "Frequency", 5 of
///            "Jitter", 6 of "Aliasing", 7 of "Scale"; 8, 9 feedback return
/// Outputs    0, 1 audio; 2, 3 feedback send: the crushed block before the mix
/// Downsample divides 44100 Hz at every host rate: the sound doesn't follow the session's rate
/// Jitter     mode 0 draws a new rate for both channels after every jitter period; mode 1 draws each block
///            and channel whether the period is stretched by 1.1 to 2.3
/// Blocks     gain and mix run in whole groups of four; what lies behind the last one is crushed as it stands
/// Reset      clears filters, phases and the jitter offset; the held value, the slope and the generator go on
class BitCrusher : public UnitModule, public BitCrusherKnobs::Indices {
 public:
  static constexpr uint32_t kInputCount = 10, kOutputCount = 4;
  static constexpr uint32_t kParamCount = BitCrusherKnobs::kRows.size();
  using ParamIndex = BitCrusherKnobs::ParamIndex;
  using Parameter = ParamIndex;

  /// `seed` starts the jitter's generator; 0 takes the clock.
  explicit BitCrusher(std::string name, uint32_t seed = 0);

  void Configure(uint32_t maxBlockSize, float sampleRate) override;
  void DoReset(bool hard) override;
  bool UpdateParams(ProcessContext& context) override;
  uint32_t DoProcess(ProcessContext& context) override;

  /// From now on `DoProcess` hands a block to `shared`, while that is open, when it is mono and the feedback
  /// ports are off. Null: never.
  void SetBank(LaneBank* shared) { bank = shared; }

 private:
  float DrawAsFloat();
  void DrawPeriods(uint32_t count);
  uint32_t Variant() const;
  bool StandsStill(const ProcessContext& context) const;
  static bool IsModulated(const ProcessContext& context);
  void UpdateRate(ProcessContext& context);
  void UpdateWordLength(ProcessContext& context);
  void UpdateAntiAlias();
  void RunChannel(ProcessContext& context, uint32_t channel, const float* in, float* out);

  LaneBank* bank = nullptr;  // the owner's

  // Settings, written by Configure.
  float sampleRate = 44100.0f;  // Hz
  float lowestScale = 0.1f;     // companding is off at and below
  std::vector<float> wet;       // one block
  std::vector<float> dry;       // one block: the input, where it shares the output's buffer

  // Aims, written by UpdateParams.
  CrusherSettings settings;
  uint32_t channelCount = 1;
  bool useFrequency = false;
  bool scaleOn = false;
  bool feedbackOn = false;
  bool perBlockJitter = false;
  float bits = 0.0f;
  float rate = 44100.0f;      // Hz, after the crusher
  float aliasing = 0.0f;      // 0..1
  float tunedCutoff = 0.0f;   // Hz, that the anti-alias filter was made for
  float periodRate = 0.0f;    // Hz, that the channels' periods were made for; 0: drawn, or none yet
  float jitter = 0.0f;        // percent
  float jitterPeriod = 0.0f;  // samples
  float gainIn = 1.0f;
  float gainOut = 1.0f;
  bool isUnmodulated = false;  // the last block was
  uint32_t levelWet = 0;       // so far `wet` holds one and the same value
  SmootherInterpLPF wetSmoother{0.01f};

  // State, written by DoProcess.
  CrusherChannel channels[2];
  float jitterOffset = 0.0f;  // Hz
  uint64_t sinceJitter = 0;   // samples
  uint32_t random;
};

}  // namespace Vantora::dsp
