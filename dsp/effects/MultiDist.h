#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "basictools/BlockBuffers.h"
#include "basictools/LastValue.h"
#include "dsp/control/SmootherInterpLPF.h"
#include "dsp/effects/CompensationTables.h"
#include "dsp/effects/HeldRamp.h"
#include "dsp/effects/MultiDistRows.h"
#include "dsp/effects/bank/LaneBank.h"
#include "dsp/effects/prims/Oversampler.h"
#include "engine/UnitModule.h"

namespace Vantora::dsp {

/// MultiDist: a waveshaper with the sixteen curves of ShapingCurves.h.
///
///     in --(*)--(+)--[ up 2 ]-- curve --[ down 2 ]--+--(*)--(*)-- out
///         drive  |                                  |  comp output gain
///             feedback return                       v feedback send
///
/// Inputs      0, 1 audio; 2 "Drive" modulation; 3, 4 feedback return. Null ports are skipped
/// Outputs     0, 1 audio; 2, 3 feedback send
/// DistType    index into the list of allowed algorithms, all sixteen at first
/// Drive       dB; "ConfGainStagingIn" adds to it, "ConfGainStagingOut" to "OutputGain"
/// AutoComp    level compensation, measured with a full-scale sine
/// ConfAntiAl  antiderivative anti-aliasing: the curve is averaged over the line between two samples (Parker,
///             Zavalishin, Le Bivic, "Reducing the Aliasing of Nonlinear Waveshaping", DAFx-16). Half a
///             sample of delay, in double precision
/// ConfUpsamp  shapes at twice the rate
/// Blocks      whole groups of four samples; what lies behind the last group stays as it was
/// Reset       the oversamplers and the curve's memory clear, compensation and output gain land
/// Threads     Configure off the audio thread, the rest on it; allocates in Configure and construction only
class MultiDist : public UnitModule, public MultiDistKnobs::Indices {
 public:
  static constexpr uint32_t kInputCount = 5, kOutputCount = 4;
  static constexpr uint32_t kParamCount = MultiDistKnobs::kRows.size();
  using ParamIndex = MultiDistKnobs::ParamIndex;

  explicit MultiDist(std::string name);

  /// The algorithms that "DistType" offers, in its order. Call before `Configure`. Throws
  /// `std::runtime_error` for an empty list or an unknown algorithm.
  void SetAllowedAlgorithms(std::vector<uint32_t> algorithms);
  /// Entry of an algorithm in the list, or -1.
  int32_t EntryOf(uint32_t number) const { return entryOf[number]; }

  void Configure(uint32_t maxBlockSize, float sampleRate) override;
  void DoReset(bool hard) override;
  bool UpdateParams(ProcessContext& context) override;
  uint32_t DoProcess(ProcessContext& context) override;

  /// From now on `DoProcess` hands a mono block whose gains move to `shared`, while that is open. Null:
  /// never.
  void SetBank(LaneBank* shared) { bank = shared; }

  /// As `Process` with the bank `shared` of a mono block from `in` to `out` and no other ports, if the last
  /// block was one for a bank and nothing but "Drive" has moved since, without any flag; else does nothing
  /// and returns false.
  bool GlideOn(LaneBank& shared, const float* in, float* out, uint32_t sampleCount);
  /// False when GlideOn would return that at once: the last block was none for a bank.
  bool MayGlideOn() const { return wasLeftToBank; }

 private:
  struct Channel {
    float previous = 0.0f;  // input of the curve, one sample ago, in either form
    prims::Oversampler sampler{2, 1, 1};
  };

  /// A channel's ports; the last two may be null.
  struct Ports {
    const float* in;
    float* out;
    const float* feedback;
    float* send;
  };

  /// A mono block in the bank.
  struct SharedBlock {
    MultiDist* shaper;
    Ports ports;
  };
  static void RunSideBySide(const SharedBlock* blocks, uint32_t blockCount, uint32_t sampleCount);
  static void RenderGains(MultiDist* const* shapers, uint32_t shaperCount, uint32_t sampleCount);

  void ReadSwitches();
  float OutputGainTarget();
  bool RestsThrough(uint32_t count);
  bool LeaveTo(LaneBank& shared, const Ports& ports);
  static void AimCompensations(MultiDist* const* shapers, uint32_t shaperCount, uint32_t sampleCount);
  void ProcessChannel(Channel& channel, const Ports& ports, uint32_t count);
  void Shape(Channel& channel, float* data, uint32_t count);

  // Settings, written by the owner and by UpdateParams.
  std::vector<uint32_t> allowed;                    // algorithm by entry
  std::array<int32_t, kShapingCurveCount> entryOf;  // entry by algorithm, or -1
  bool wasLeftToBank = false;                       // the last block
  float stagingIn = 0.0f;                           // dB
  uint32_t algorithm = 0;
  uint32_t channelCount = 1;
  bool isCompensating = true;
  bool isFeedbackOn = false;
  bool isAntiAliasing = false;
  bool isUpsampling = false;
  SmootherInterpLPF drive{0.01f};       // dB
  SmootherInterpLPF outputGain{0.01f};  // factor
  LastValue outputGainOf, compensationGainOf;
  LaneBank* bank = nullptr;  // the owner's

  // One block each, in one allocation.
  BlockBuffers workspace;
  HeldRamp driveDb;
  HeldRamp outputGains;
  float* driveGains = nullptr;
  float* shaped = nullptr;
  float* doubled = nullptr;  // two blocks

  // State, written by DoProcess.
  CompensationRamp compensation;
  CompensationLine compensationLine;             // of this block
  uint32_t levelAlgorithm = kShapingCurveCount;  // whose compensation the line holds on and on, if any
  std::array<Channel, 2> channels;
};

}  // namespace Vantora::dsp
