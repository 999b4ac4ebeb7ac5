#pragma once

#include <cstdint>
#include <string>

#include "dsp/effects/BitCrusher.h"
#include "dsp/effects/MultiModeFilter.h"
#include "dsp/effects/PitchShifter.h"
#include "dsp/effects/bank/LaneBank.h"
#include "dsp/stage/PrismelDistoVariant.h"
#include "dsp/stage/PrismelRows.h"
#include "engine/IOSubset.h"
#include "engine/ModuleVariant.h"
#include "engine/PassThrough.h"

namespace Vantora::dsp {

using enum PrismelKnobs::FxType;
using PrismelKnobs::FxType;

/// FxVariant: the selectable stage effect of one voice and side, each alternative fitted to this product
/// once, at construction: mono, no feedback ports, no modulation ports.
class FxVariant
    : public engine::ModuleVariant<2, 2, PassThrough, MultiModeFilter, MultiModeFilter,
                                   engine::IOSubset<BitCrusher, 10, 2>, PrismelDistoVariant, PitchShifter> {
 public:
  static_assert(kInputCount == 23 && kOutputCount == 2 && kParamCount == 76);

  /// `seed` feeds the random elements of crusher and harmonizer; 0 leaves them to the clock.
  FxVariant(std::string name, uint32_t seed);

  /// Lets band-pass, crusher, wavefolder and harmonizer leave their blocks to a bank that runs all clones
  /// side by side.
  void SetLaneBank(LaneBank* bank);

  /// Clean start of every alternative but the pass-through,
  /// whichever is selected, each with its changed mark up.
  void ResetEffect(uint32_t step);
  static constexpr uint32_t kResetSteps =
      5;  ///< of `ResetEffect`: filter, comb, crusher, distortion, harmonizer
};

}  // namespace Vantora::dsp
