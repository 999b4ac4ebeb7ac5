#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "basictools/smoothing/RestingBlock.h"
#include "dsp/control/DelayLine.h"
#include "dsp/control/SmootherInterpLPF.h"
#include "dsp/control/SmootherLPF.h"
#include "dsp/control/SmootherSRL.h"
#include "dsp/effects/FilterModes.h"
#include "dsp/effects/MultiModeFilterRows.h"
#include "dsp/effects/StateVariableChain.h"
#include "dsp/effects/bank/LaneBank.h"
#include "dsp/effects/filter/CombKernels.h"
#include "dsp/effects/filter/FilterKernels.h"
#include "dsp/effects/filter/FirstOrderFilter.h"
#include "dsp/effects/filter/StateVariableTuning.h"
#include "engine/UnitModule.h"

namespace Vantora::dsp {

/// MultiModeFilter: the library's general filter, twenty modes in three topologies.
///
///     modes 0, 4, 8     first order: low-pass, high-pass, both in series
///     modes 1 to 17     state variable, one to three equal sections: low-pass, high-pass, band-pass,
///                       notch, bell
///     modes 18, 19      comb, fed back and fed forward
///
///     in 0,1 -->[ mode ]-->(* compensation)--> out 0,1
///
/// Inputs   0, 1 audio; 2 frequency modulation; 3 control of "Freq" and "CombFreq", 4 of "Q", 5 of "Gain",
///          6 of "FMAmount"
/// Freq     cutoff, Hz, held at 0.495 of the sample rate, where the tangent still is finite
/// Q        resonance; in the combs its position times 0.99 is the feedback
/// Glides   frequency, Q, bell gain and comb delay within 10 ms (five time constants, or the whole range)
/// Reset    keeps the memory; the next block starts clean and landed, because a reset marks the module
///          changed
/// Limits   the minimum of "Freq" and "CombFreq" must stay above 0
class MultiModeFilter : public UnitModule, public MultiModeFilterKnobs::Indices {
 public:
  static constexpr uint32_t kInputCount = 7, kOutputCount = 2;
  static constexpr uint32_t kParamCount = MultiModeFilterKnobs::kRows.size();
  using ParamIndex = MultiModeFilterKnobs::ParamIndex;
  using Parameter = ParamIndex;

  /// `channelCount` is 1 or 2: a mono one holds no comb for a right channel and leaves that alone, whatever
  /// "Stereo" says.
  explicit MultiModeFilter(std::string name, uint32_t channelCount = 2);

  /// Which mode numbers "Mode" chooses from, in this order; each below 20, at least one. "Mode" is declared
  /// anew with that many steps and stands on the first. Only before `Configure`, which sizes the comb by it.
  void SetAllowedModes(std::vector<uint32_t> modes);

  /// Position of a mode number in the allowed list, or -1.
  int32_t IndexOfMode(uint32_t number) const { return number < kFilterModeCount ? indexOfMode[number] : -1; }

  void Configure(uint32_t maxBlockSize, float sampleRate) override;
  void DoReset(bool hard) override;
  bool UpdateParams(ProcessContext& context) override;
  uint32_t DoProcess(ProcessContext& context) override;

  /// From now on `DoProcess` hands a block to `shared`, while that is open, when it is plain: three
  /// sections, mono, no fade, no bypass. Null: never.
  void SetBank(LaneBank* shared) { bank = shared; }

 private:
  enum class Fade : uint8_t { None, Out, In };
  struct Channels {
    const float* in[2];
    float* out[2];
    uint32_t count;
  };

  uint32_t RequestedMode();
  bool IsIn(FilterTopology topology) const { return mode.topology == topology; }
  void ReadSwitches();
  bool StandsStill(const ProcessContext& context) const;
  bool HasSettled() const;
  static bool IsModulated(const ProcessContext& context);
  void TakeUpMode(ProcessContext& context);
  void ClearState();
  void UpdateFrequency(ProcessContext& context);
  void UpdateComb(ProcessContext& context);
  void UpdateStateVariable();
  /// Hz, smoothed, below half the rate, where the tangent still is finite.
  float HeldFrequency() const;
  void UpdateCompensation(uint32_t count);
  void UpdateBypass(const ProcessContext& context);
  float CombDelayTarget(ProcessContext& context);
  void RunStateVariable(const Channels& io, uint32_t count);
  FilterBlock SectionsBlock(const Channels& io, uint32_t channel, uint32_t count);
  void RunComb(const Channels& io, uint32_t count);
  void ApplyFade(ProcessContext& context, const Channels& io, uint32_t count);

  // Declaration, before Configure.
  std::vector<uint32_t> allowedModes;
  std::array<int32_t, kFilterModeCount> indexOfMode;
  uint32_t channelCount;
  LaneBank* bank = nullptr;  // the owner's

  // Settings, written by Configure.
  uint32_t blockSize = 4;
  float sampleRate = 44100.0f;      // Hz
  float blockShare = 0.25f;         // 1 / blockSize
  float fadeStep = 0.0f;            // a sample
  std::vector<float> combDelays;    // one block, and what a vector reads behind it
  std::vector<float> compensation;  // one block
  RestingBlock combDelayBlock;
  RestingBlock compensationBlock;

  // Aims, written by UpdateParams.
  bool stereo = false;
  bool bypassOnOpen = false;
  bool fadeOnModeChange = false;
  bool compensate = true;
  bool bypassed = false;
  bool snap = true;             // coefficients and compensation jump in this block
  bool hasSettled = false;      // without news and modulation the next block's aims are this one's
  uint32_t combDelayMoves = 0;  // samples of the block before the delay stands
  uint32_t modeNumber = 0;
  FilterMode mode = kFilterModes[0];
  float frequency = 20.0f;          // Hz, smoothed
  float q = 0.5f;                   // smoothed
  float bellGainDb = 0.0f;          // smoothed
  float feedback = 0.0f;            // comb, 0..0.99
  StateVariableTuning tuning;       // that `tuned` was made from
  StateVariableCoefficients tuned;  // where the coefficients glide to
  float compensatedQ = 0.0f;        // that `resonanceGain` was made from
  float resonanceGain = 1.0f;
  SmootherLPF frequencySmoother{0.01f};
  SmootherLPF qSmoother{0.01f};
  SmootherLPF bellGainSmoother{0.01f};
  SmootherSRL combDelaySmoother{0.01f, 1.0f};
  SmootherInterpLPF compensationSmoother{0.01f};

  // State, written by DoProcess.
  StateVariableChain chain;     // its coefficients by UpdateParams too
  FirstOrderFilter firstOrder;  // its coefficients by UpdateParams too
  DelayLine lines[2];           // comb
  Fade fade = Fade::None;
  uint32_t fadeBlocks = 0;  // of the present fade so far
};

}  // namespace Vantora::dsp
