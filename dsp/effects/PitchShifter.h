#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "dsp/control/DelayLine.h"
#include "dsp/control/SmootherInterpLPF.h"
#include "dsp/control/SmootherLPF.h"
#include "dsp/effects/GrainShape.h"
#include "dsp/effects/PitchShifterRows.h"
#include "dsp/effects/bank/LaneBank.h"
#include "dsp/effects/harmonizer/ShifterKernels.h"
#include "engine/UnitModule.h"

namespace Vantora::dsp {

/// PitchShifter: two read heads sweep over a delay line in opposite phase and are crossfaded.
///
///     in -->[ pre-delay ]-->[ two seconds of line ]
///                             head A at a * length + 1 + spray A --(* gain A)--+
///                             head B at b * length + 1 + spray B --(* gain B)--+--> out
///
/// Inputs   0, 1 audio; 2 control of "PreDelay", 3 of "PitchShift", 4 of "Spray"
/// Heads    a falls from 1 to 0 (rises, for a falling interval) and b with it, half a way apart; the delay
///          changes at exactly the interval's rate
/// Spray    each restart of a head draws a new offset of up to that many ms; none at interval 0
/// Interval 0: both heads stand still at gain 1, which is the level of the root of a chord
/// Glides   interval 0.5 s, pre-delay 0.1 s, crossfade and length 10 ms (five time constants)
/// Blocks   in whole groups of four; one of fewer than four holds the last head values
/// Reset    empties the lines, phase and offsets; the glides land by the changed mark
class PitchShifter : public UnitModule, public PitchShifterKnobs::Indices {
 public:
  static constexpr uint32_t kInputCount = 5, kOutputCount = 2;
  static constexpr uint32_t kParamCount = PitchShifterKnobs::kRows.size();
  using ParamIndex = PitchShifterKnobs::ParamIndex;
  using Parameter = ParamIndex;

  /// `seed` starts the spray's generator; 0 takes 2023. `channelCount` is 1 or 2: a mono one holds no lines
  /// for a right channel and leaves it alone, whatever "Stereo" says.
  explicit PitchShifter(std::string name, uint32_t seed = 0, uint32_t channelCount = 2);

  void Configure(uint32_t maxBlockSize, float sampleRate) override;
  void DoReset(bool hard) override;
  bool UpdateParams(ProcessContext& context) override;
  uint32_t DoProcess(ProcessContext& context) override;

  /// From now on `DoProcess` hands a block to `shared`, while that is open, when it is mono and the interval
  /// stands still. Null: never.
  void SetBank(LaneBank* shared) { bank = shared; }

 private:
  struct Lines {
    DelayLine preDelay;
    DelayLine grain;  // both heads read it
  };

  bool IsStereo(const ProcessContext& context) const;
  bool StandsStill(const ProcessContext& context) const;
  static bool IsModulated(const ProcessContext& context);
  bool RunsSettled(const ProcessContext& context) const;
  void RenderPitch(uint32_t count);
  void RunSettled(ProcessContext& context);
  void SnapInterval(float semitonesNow);
  void UpdateGrain(uint32_t count);
  void RampGrain(const GrainShape& from, const GrainShape& to, uint32_t count);
  void ShowWay();
  void AdvancePhase(uint32_t count);
  void ComputeHeads(uint32_t count);
  void PlaceHeads(uint32_t count);
  void RunChannel(Lines& lines, const float* in, float* out, uint32_t count);

  // Declaration, before Configure.
  uint32_t channelCount;
  uint32_t seed;             // not 0
  LaneBank* bank = nullptr;  // the owner's

  // The last block, where it was settled; of as many samples, the next one is the same but for its ports,
  // while no parameter moves. A count of 0: it wasn't.
  uint32_t stillCount = 0;
  bool stillIsNow = false;
  ShifterBlock still;

  // Settings, written by Configure.
  float sampleRate = 44100.0f;  // Hz
  float rampLength = 4.0f;      // samples, the largest block
  // One block each.
  std::vector<float> semitones;
  std::vector<float> lengthAims;  // samples
  std::vector<float> widthAims;   // 0..0.5
  std::vector<float> widths;      // the same, smoothed
  std::vector<float> rates;       // Hz
  std::vector<float> phases;      // -1..1
  std::vector<float> delaysA;     // 0..1 of the length
  std::vector<float> delaysB;
  std::vector<float> gainsA;
  std::vector<float> gainsB;
  std::vector<float> preDelays;  // samples
  std::vector<float> placesA;    // samples behind the write position
  std::vector<float> placesB;
  std::vector<float> delayed;  // the input behind the pre-delay

  // Aims, written by UpdateParams.
  bool stereo = false;
  bool preDelayMoves = false;  // or is to be read as if it did
  float spraySize = 0.0f;      // samples
  SmootherLPF pitchSmoother{0.5f};
  SmootherLPF widthSmoother{0.01f};
  SmootherLPF lengthSmoother{0.01f};
  SmootherInterpLPF preDelaySmoother{0.1f};

  // State, written by DoProcess.
  Lines channels[2];
  GrainShape grain;             // where the present ramp ends
  float grainSemitones = 0.0f;  // the interval `grain` was made for
  bool rampWritten = false;     // the block buffers hold a slope, not yet its end
  ShifterHeads heads;           // its buffers are the four below `phases`
  float nearestPlace = 0.0f;    // of both heads in this block, samples
  // How far the buffers hold one and the same value, for blocks that leave them as they are.
  uint32_t levelSemitones = 0;
  uint32_t levelPreDelays = 0;
};

}  // namespace Vantora::dsp
