#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "basictools/AlignedVector.h"
#include "basictools/BlockBuffers.h"
#include "dsp/control/IGeneratorRows.h"
#include "engine/UnitModule.h"

namespace Vantora::dsp {

/// IGenerator: everything about a low-frequency generator that
/// is not its shape: rate, tempo sync, phase, restart and swing.
///
///     song position, tempo --> position on the time line --> rates, phases, triggers, cycles --> RenderShape
///
/// It writes four arrays a block, one value a sample: the rate, the phase 0..1, a trigger that is 1 where a
/// cycle starts, and the number of the cycle. A derived class turns them into its output.
///
/// Mode           0 one shot: a single cycle, then it parks just before its start phase until the gate
///                1 free; 2 song locked: restarts with the transport and counts cycles from the song's start
/// Synced rates   note lengths in whole notes, from a table; free rates are in Hz
/// Swing          50..75 %: of two cycles the first takes this share
/// ControlRate    one step a block instead of one a sample
/// Time line      quarter notes; a song position before the start counts as 0, so a pre-roll doesn't jump
/// Threads        Configure and SetRateTable off the audio thread, the rest on it
class IGenerator : public UnitModule, public IGeneratorKnobs::Indices {
 public:
  using ParamIndex = IGeneratorKnobs::ParamIndex;
  using Parameter = ParamIndex;
  enum Mode : uint32_t { kOneShot = 0, kFree = 1, kSongLocked = 2 };

  void Configure(uint32_t maxBlockSize, float newSampleRate) override;
  bool UpdateParams(ProcessContext& context) override;
  uint32_t DoProcess(ProcessContext& context) override;

  /// The next block starts a new cycle at the start phase.
  virtual void Restart();

  /// Note lengths in whole notes, at least one, for synced rates. Set "ConfAllowSyncAll" first: the table
  /// with dotted and triplet lengths is only derived while it stands above 0.5. Allocates.
  void SetRateTable(std::vector<float> table);

  /// Which input modulates the rate: by each of its samples, or by the first of a block.
  void SetRateInput(bool perSample, uint32_t input);

  /// Which input modulates the amount of key tracking, by the first sample of a block.
  void SetAmountInput(uint32_t input);

  /// The unmodulated rate in Hz, for the whole block.
  float GetRateHz() const { return ToHz(rateValue); }
  /// The rate at sample `index` of the last block, in Hz.
  float GetRateHz(uint32_t index) const { return ToHz(rates[index]); }

  /// The last block's arrays, one value a step: phase 0..1, trigger 0 or 1, number of the cycle.
  const float* GetPhases() const { return phases; }
  const float* GetTriggers() const { return triggers; }
  const float* GetCycles() const { return cycles; }

 protected:
  /// `ownNames` are the parameters of the derived class, plain positions until it declares them.
  IGenerator(std::string text, uint32_t inputs, uint32_t outputs, const std::vector<std::string>& ownNames);
  /// All records are given, this class's first.
  IGenerator(std::string text, uint32_t inputs, uint32_t outputs, std::vector<ParamRecord> records);

  /// Writes the outputs from the arrays; `sampleCount` of the context is the number of steps.
  virtual void RenderShape(ProcessContext& context) = 0;
  /// Reads the rate from its parameter.
  virtual void UpdateRate();
  /// Fills `rates` for the block.
  virtual void RenderRate(ProcessContext& context);

  /// For resets: the transport counts as stopped.
  void ForgetTransport() { lastPlaying = false; }

  // The arrays, in one allocation of four times the block length in whole groups of four.
  float* rates = nullptr;
  float* phases = nullptr;
  float* triggers = nullptr;
  float* cycles = nullptr;

  uint32_t maxBlock = 0;    // samples
  float sampleRate = 1.0f;  // Hz
  float tempo = 1.0f;       // beats per minute
  bool synced = false;
  bool controlRate = false;

 private:
  enum Table : uint32_t { kSyncTable, kAllTable };
  enum InputMode : uint32_t { kNoInput, kInputPerSample, kInputPerBlock };

  /// What the steps of one block share.
  struct Block {
    uint32_t samples;       // of the block
    uint32_t steps;         // 1 at control rate
    double samplesPerStep;  // w
    double first;           // X, position of the first step, quarter notes
    double tracking;        // K, factor of the rate
    double advance;         // R = K * w
    bool playing;
    bool transportChanged;
  };
  /// A phase after a step, and whether a cycle ended on the way.
  struct Advance {
    double phase;
    bool cycleEnded;
  };

  float ToHz(float rate) const { return synced ? tempo / (rate * 240.0f) : rate; }
  const std::vector<float>& ActiveTable() const { return activeTable == kAllTable ? allTable : syncTable; }
  float NoteLength(float index) const;
  bool AllowsSyncAll() { return Normalized(kConfAllowSyncAll) >= 0.5f; }
  void UpdateSync();
  void UpdateTypeFactor();
  void MovePhases(float newPhaseInit);
  void RenderRatePerSample(const float* input, uint32_t rateParam, uint32_t count);

  bool FollowTransport(bool playing);
  void FollowSongPosition(const ProcessContext& context, const Block& block);
  double TrackingFactor(const ProcessContext& context);
  void AlignStart(const Block& block);
  double ParkedPhase() const;
  Advance AdvanceBy(double d, double u, double moved) const;
  double WarpBySwing(double c) const;
  void RunOneShotSteps(const Block& block);
  void RunSyncedSteps(const Block& block);
  void RunFreeSteps(const Block& block);

  BlockBuffers arrays;

  double position = 0.0;  // quarter notes
  double syncPhase = 0.0;
  double freePhase = 0.0;
  float rateValue = 0.0f;        // Hz, or whole notes when synced
  std::vector<float> syncTable;  // whole notes
  double beatsPerSampleAt1Bpm = 1.0 / 60.0;
  double beatsPerSample = 1.0 / 60.0;
  double syncOrigin = 0.0;  // where cycle 0 starts, quarter notes
  float lastSongPosition = 0.0f;
  uint32_t mode = 0;
  float typeFactor = 1.0f;  // straight, triplet, dotted
  float lastRate = 1.0f;
  float phaseInit = 0.0f;  // cycles
  double phaseInitWide = 0.0;
  double phaseInitComplement = 1.0;
  double cycle = 0.0;  // a single would stand still after 2^24 of them
  uint32_t rateInputMode = kNoInput;
  uint32_t rateInput = 0;
  std::vector<float> allTable;        // whole notes: each length dotted, straight and as triplet
  uint32_t activeTable = kSyncTable;  // by number: a table may be replaced while in force
  uint32_t activeRateParam = kRateSynced;
  uint32_t amountInputMode = kNoInput;
  uint32_t amountInput = 0;
  float swing = 0.5f;  // share of the first of two cycles
  bool swingOn = false;
  bool needsStart = false;
  bool finished = false;
  bool lastPlaying = false;
  bool hardFollow = false;
};

}  // namespace Vantora::dsp
