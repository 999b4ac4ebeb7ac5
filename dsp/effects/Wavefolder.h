#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "basictools/BlockBuffers.h"
#include "basictools/LastValue.h"
#include "dsp/control/SmootherInterpLPF.h"
#include "dsp/effects/CompensationTables.h"
#include "dsp/effects/FoldFilter.h"
#include "dsp/effects/HeldRamp.h"
#include "dsp/effects/WavefolderRows.h"
#include "dsp/effects/bank/LaneBank.h"
#include "dsp/effects/distortion/DistortionKernels.h"
#include "engine/UnitModule.h"

namespace Vantora::dsp {

/// Wavefolder: folds the signal back on itself where others would clip it.
///
///     in --(*)--(*)--(+)-- fold --+-- (*) -- (*) -- (*) -- (*) -- mix -- out
///           g    r    ^           |   1/r   comp   gain   wet      |
///                     |           v                                in
///                 feedback     feedback
///                 return        send
///
/// g is the drive, r = g^0.25: the fold is driven a quarter harder in dB than the knob says, and 1/r takes
/// that back behind it, so that more drive means more folds rather than more level.
///
/// Inputs      0, 1 audio; 2 "Wet" and 3 "Drive" modulation; 4, 5 feedback return. Null ports are skipped
/// Outputs     0, 1 audio; 2, 3 feedback send
/// Type        below 0.5 a sine fold, from there on a triangle
/// Overload    read-out: 1 while a block's driven input went above 1, that is while there were folds
/// Upsmp       folds at twice the rate, between two fourth-order low-passes
/// AntiAl      antiderivative anti-aliasing (Parker, Zavalishin, Le Bivic, DAFx-16), of the triangle
/// AutoComp    level compensation, measured with a full-scale sine
/// Blocks      whole groups of four samples; what lies behind the last group stays as it was
/// Reset       filters and the fold's memory clear, the compensation lands
/// Threads     Configure off the audio thread, the rest on it; allocates in Configure only
class Wavefolder : public UnitModule, public WavefolderKnobs::Indices {
 public:
  static constexpr uint32_t kInputCount = 6, kOutputCount = 4;
  static constexpr uint32_t kParamCount = WavefolderKnobs::kRows.size();
  using ParamIndex = WavefolderKnobs::ParamIndex;

  explicit Wavefolder(std::string name);

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
  bool MayGlideOn() const { return glideRoom > 0; }

 private:
  struct Channel {
    float previous = 0.0f;  // input of the fold, one sample ago
    FoldFilter up{2.0f};
    FoldFilter down{1.0f};
  };

  /// What the gain buffers hold on and on while nothing moves; a count of 0: nothing.
  struct RestingGains {
    uint32_t count = 0;
    bool isTriangle = false;
    bool isCompensating = false;
    float compensation = 1.0f;
  };

  void ReadSwitches();
  void ClearSamplers();
  /// A channel's ports; the last two may be null.
  struct Ports {
    const float* in;
    float* out;
    const float* feedback;
    float* send;
  };

  /// A mono block in the bank.
  struct DrivenBlock {
    Wavefolder* folder;
    const float* in;
    float* out;
  };
  static constexpr uint32_t kMostInOneGo = 256;  // samples

  bool MayFoldInOneGo(const ProcessContext& context, uint32_t count) const;
  bool DriveGlides() const { return !drive.IsSettled() && drive.StaysWithin(kFoldDriveLimit); }
  bool LeaveTo(LaneBank& shared, const float* in, float* out);
  static void FoldInOneGo(const DrivenBlock* blocks, uint32_t blockCount, uint32_t sampleCount);
  static void AimCompensations(const DrivenBlock* blocks, DrivenFold* folds, uint32_t blockCount,
                               uint32_t sampleCount);
  void Take(const DrivenFold& fold, uint32_t count);

  bool RestsThrough(uint32_t count);
  float CompensationDb(float lastDb) const;
  CompensationLine AimCompensation(float lastDb, uint32_t sampleCount);
  CompensationLine AimGains(uint32_t sampleCount);
  void RenderLevels(uint32_t sampleCount);
  void RenderGains(CompensationLine line, uint32_t count);
  void Run(const Ports& first, const Ports& second, uint32_t count);
  float ProcessChannel(Channel& channel, const Ports& ports, uint32_t count);
  float DriveThenFold(Channel& channel, const Ports& ports, uint32_t count);
  void Fold(Channel& channel, float* data, uint32_t count, float peak);
  void FoldOversampled(Channel& channel, uint32_t count);

  // Settings, written by UpdateParams.
  bool isTriangle = false;
  bool isUpsampling = false;
  bool isAntiAliasing = false;
  bool isCompensating = false;
  bool isFeedbackOn = false;
  bool isPlainSine = false;  // mono, of nothing but a drive and a sine fold
  uint32_t channelCount = 1;
  uint32_t glideRoom = 0;               // samples of a block in which no more than the drive would move
  float stagingIn = 0.0f;               // dB
  SmootherInterpLPF drive{0.01f};       // dB
  SmootherInterpLPF wet{0.01f};         // 0..1
  SmootherInterpLPF outputGain{0.01f};  // factor
  LastValue outputGainOf, compensationGainOf;
  LaneBank* bank = nullptr;  // the owner's

  // One block each, in one allocation.
  BlockBuffers workspace;
  HeldRamp driveDb;
  HeldRamp wets;
  HeldRamp levels;              // wet * output gain; the value is the output gain's
  float* driveGains = nullptr;  // g
  float* roots = nullptr;       // r
  float* wetGains = nullptr;    // level / r * compensation
  float* driven = nullptr;
  float* doubled = nullptr;  // two blocks

  // State, written by DoProcess.
  RestingGains resting;
  CompensationRamp compensation;
  std::array<Channel, 2> channels;
};

}  // namespace Vantora::dsp
