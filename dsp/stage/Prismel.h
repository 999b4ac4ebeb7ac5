#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "basictools/AlignedVector.h"
#include "basictools/BlockBuffers.h"
#include "basictools/LastValue.h"
#include "basictools/math/SinCos.h"
#include "basictools/smoothing/RestingBlock.h"
#include "dsp/control/Biquad.h"
#include "dsp/control/DelayLine.h"
#include "dsp/control/SmootherInterpLPF.h"
#include "dsp/control/SmootherLPF.h"
#include "dsp/control/SmootherSRL.h"
#include "dsp/stage/FeedbackPath.h"
#include "dsp/stage/SpreadTables.h"
#include "dsp/stage/StageClones.h"
#include "dsp/stage/SweepLfo.h"
#include "dsp/stage/TapLines.h"
#include "engine/ModuleContainer.h"

namespace Vantora::dsp {

/// Prismel: the audio heart of the effect. It splits a stereo signal into up
/// to eight voices, each a pair of slowly swept delay taps, runs every tap
/// through its own clone of the selected stage effect, and sums the clones.
///
///     in --(InputGain)--(+)--(high-pass)--> tap line --+--> tap of voice v --> clone v --(x voice gain)--+
///                        ^                             +--> ...                                          |
///                        |                                                                              (+)
///                        +--(gain)<-- feedback delay <-- 20 Hz high-pass <-------------------------------+
///                                                                                                        |
///     out <--(wet/dry, equal power)<--(OutputGain)<--(low-pass)<-----------------------------------------+
///
/// Inputs 0 and 1 are left and right, 2 modulates the primary parameter of the
/// stage effect, 3 modulates "Prismelion"; of the last two only the first sample
/// of a block is read. A null right input means mono: the left serves for both.
///
/// Parameters: 0..75 reach all eight clones of "FXL", 76..151 those of "FXR", 152..174 are the enumeration
/// below. Allocates in `Configure` only.
class Prismel : public ModuleContainer<FxBank, FxBank>, public PrismelKnobs::Indices {
 public:
  static constexpr uint32_t kInputCount = 4, kOutputCount = 2, kParamCount = 175;
  using OwnParam = PrismelKnobs::OwnParam;
  static_assert(kOwnBase == 152 && kOwnBase + kFeedbackPrimary + 1 == kParamCount);
  static_assert(FxBank::kInputCount == 184 && FxBank::kOutputCount == 16 && FxBank::kParamCount == 76);

  /// `seed` feeds the random elements of the sixteen clones, each differently.
  Prismel(std::string name, uint32_t seed);

  void Configure(uint32_t maxBlockSize, float sampleRate) override;
  void DoReset(bool hard) override;
  bool UpdateParams(ProcessContext& context) override;
  uint32_t DoProcess(ProcessContext& context) override;

  /// Own parameter in its unit, for the product's meters.
  float GetOwnValue(OwnParam param) { return OwnValue(param); }

  /// Voices that the last block ran, 1..8.
  uint32_t GetActiveVoices() const { return activeVoices; }

 private:
  using VoiceBuffers = StageClones::VoiceBuffers;
  using VoicePairs = StageClones::VoicePairs;
  using StereoBuffers = std::array<float*, 2>;

  void CarveWorkspace();
  void ForgetNonsense();
  void UpdateVoices();
  void CountActiveVoices();
  void UpdateLowPass();
  void UpdateHighPass();
  void ComputeLowPass();
  void ComputeHighPass();
  void UpdateStageEffects(const ProcessContext& context, float amount);
  void PassSecondary(uint32_t type);
  void UpdateReadOuts(const ProcessContext& context, uint32_t type, float amount);
  void AimFeedbackGain(const ProcessContext& context, uint32_t type);
  void UpdateSweep(float amount);

  void RenderSweeps(uint32_t count);
  void SweepTaps(const VoicePairs& tapped, uint32_t count);
  void Finish(const StereoBuffers& out, uint32_t count);
  void Mix(const StereoBuffers& out, uint32_t count);

  uint32_t Type() { return static_cast<uint32_t>(OwnValue(kFxType)); }
  uint32_t VoicesAsked() { return static_cast<uint32_t>(OwnValue(kVoices)); }

  // Settings, written by Configure.
  float sampleRate = 44100.0f;
  uint32_t blockSize = 0;
  float tickLength = 0.0f;    // seconds of a maximum block: one step of the sweep
  float radiansPerHz = 0.0f;  // 2 pi / rate

  StageClones clones;

  // Voices.
  std::array<SmootherSRL, kVoiceCount> voiceGains;
  SmootherInterpLPF voiceCountGain{0.01f};
  uint32_t activeVoices = 1;
  uint32_t sweepGroups = 0;

  // Tap sweep.
  SweepLfo sweepLfo;
  std::array<std::array<SmootherInterpLPF, kVoiceCount>, 2> sweeps;  // by side
  SmootherLPF sweepDepth{0.2f};                                      // samples
  float sweepRate = 0.0f;                                            // Hz, as "Prismelion" gives it
  TapLines taps;

  // Functions whose argument rests most of the time.
  LastValue lowPassCurve, highPassCurve, inputGainOf, outputGainOf, detuneOf, rateOf;

  // Filters.
  SmootherSRL highPassPosition{0.05f, 1.0f};
  SmootherLPF lowPassPosition{0.05f};
  float highPassHz = 0.0f;
  float tunedHighPassHz = 0.0f;  // that the coefficients were made for
  float lowPassHz = 0.0f;
  bool highPassRuns = false;
  bool lowPassRuns = false;
  BiquadCoefficients highPass;
  BiquadCoefficients lowPass;
  DirectForm1<Float4> lowPassStates;

  // Levels, spread and read-outs.
  SmootherInterpLPF wet{0.01f};
  bool wetStands = false;  // throughout the block
  float shareOf = -1.0f;   // position that `share` was made from
  SinCosPair share{};      // of wet and dry, equal power
  SmootherInterpLPF inputGain{0.01f};
  SmootherInterpLPF outputGain{0.01f};
  SmootherLPF primaryReadOut{0.4f};
  SmootherLPF prismelReadOut{0.4f};
  FeedbackPath feedback;

  // The workspace: 69 buffers of a block, in one piece.
  static constexpr uint32_t kBufferCount = 69;
  BlockBuffers workspace;
  VoicePairs sweepRamps{};
  VoicePairs tapBuffers{};
  VoicePairs effects{};
  float* depthBuffer = nullptr;
  float* wetBuffer = nullptr;
  StereoBuffers wetSums{};
  float* inputGainBuffer = nullptr;
  float* outputGainBuffer = nullptr;
  StereoBuffers dry{};
  VoiceBuffers voiceGainBuffers{};
  float* feedbackGainBuffer = nullptr;
  float* feedbackDelayBuffer = nullptr;
  StereoBuffers feedbackOutputs{};
  float* voiceCountGainBuffer = nullptr;
  // How far those of resting smoothers hold their values.
  std::array<RestingBlock, kVoiceCount> voiceGainBlocks;
  RestingBlock voiceCountGainBlock, wetBlock, inputGainBlock, outputGainBlock, depthBlock;
};

}  // namespace Vantora::dsp
