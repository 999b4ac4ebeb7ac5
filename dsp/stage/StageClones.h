#pragma once

#include <array>
#include <cstdint>

#include "dsp/effects/bank/LaneBank.h"
#include "dsp/stage/FxVariant.h"
#include "dsp/stage/SpreadTables.h"
#include "dsp/stage/StageSpread.h"
#include "engine/ModuleCloner.h"

namespace Vantora::dsp {

using FxBank = engine::ModuleCloner<FxVariant, kVoiceCount, engine::ClonerMode{0}, 0>;

/// StageClones: the sixteen clones of the stage effect, one for each voice and side, seen as one: it hands
/// out the knobs' values, fanned across the voices, and runs the clones.
///
/// While no parameter moves and nothing fades, the effects are called themselves, as their variants would
/// call them; passing voices may be written where they shall stand. Clones of one loop run side by side in a
/// bank.
class StageClones {
 public:
  using VoiceBuffers = std::array<float*, kVoiceCount>;
  using VoicePairs = std::array<VoiceBuffers, 2>;  ///< by side

  /// The banks are the owner's children and live as long as this does.
  StageClones(FxBank& left, FxBank& right);

  /// Writes the primary parameter of the first `voices` clones of either side for an effect of `type`: the
  /// knob's value `primary`, in its unit, fanned out by the effect's law and `amount`, 0..1.
  void SpreadPrimary(uint32_t type, float primary, float amount, uint32_t voices);

  /// Writes the secondary parameter: the same `value` for all voices, or the chord's.
  void WriteSecondary(uint32_t type, float value, uint32_t voices);

  /// Clean start of every alternative of every clone but the pass-through.
  void Reset();

  /// Looks at the first `voices` clones, of which `Run` then takes a block. True when they only pass what
  /// comes in: it may lie where the effects are to be, then.
  bool Survey(uint32_t voices);

  /// A block of the clones that were surveyed from `taps` to `effects`. The effects leave the last one to
  /// three samples of a block that isn't of whole groups of four as they were.
  void Run(const ProcessContext& context, const VoicePairs& taps, const VoicePairs& effects);

 private:
  void RunVariants(const ProcessContext& context, const VoicePairs& taps, const VoicePairs& effects);
  void RunAtRest(const ProcessContext& context, const VoicePairs& taps, const VoicePairs& effects);
  void Pass(uint32_t count, const VoicePairs& taps, const VoicePairs& effects) const;
  FxVariant& Clone(uint32_t side, uint32_t voice) { return banks[side]->Clone(voice); }

  std::array<FxBank*, 2> banks;
  LaneBank laneBank;
  // Of the last survey.
  uint32_t surveyed = 0;  // voices
  bool isPlain = false;   // nothing behind the effects works on their outputs
  bool isAtRest = false;  // all run the same effect, and only that
  std::array<StageSpread, 2> spreads;
  // What the spread last made, by side: of these, for the first so many voices.
  uint32_t spreadType = kFxTypeCount;
  float spreadPrimary = 0.0f;
  float spreadAmount = 0.0f;
  uint32_t spreadVoices = 0;
  std::array<std::array<float, kVoiceCount>, 2> spreadValues{};
  std::array<std::array<float, kVoiceCount>, 2> spreadPositions{};  // of the values
};

}  // namespace Vantora::dsp
