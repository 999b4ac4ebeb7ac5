#pragma once

#include <array>
#include <cstdint>

#include "dsp/stage/FxVariantRows.h"
#include "dsp/stage/PrismelDistoVariantRows.h"
#include "dsp/stage/PrismelRows.h"
#include "dsp/stage/StageSpread.h"

namespace Vantora::dsp {

/// Public: programs that draw the effect read which knob fans out, and how.
///
/// StageRoute: what the spread writes for one "FXType": the knob, the parameter of the stage effect that it
/// drives and the law between them, then the knob that goes to all voices alike.
struct StageRoute {
  PrismelKnobs::OwnParam primary;
  uint32_t primaryTarget;  ///< index among the effect's parameters
  SpreadLaw law;
  float span;  ///< of the root law, in the knob's unit
  PrismelKnobs::OwnParam secondary;
  uint32_t secondaryTarget;  ///< index among the effect's parameters
};

/// By "FXType"; the law of the first is none.
inline constexpr std::array<StageRoute, PrismelKnobs::kFxTypeCount> kStageRoutes = {{
    {PrismelKnobs::kPrismelion, 0, SpreadLaw::kNone, 0.0f, PrismelKnobs::kPrismelion, 0},
    {PrismelKnobs::kBandpassCutoff, MultiModeFilterKnobs::kFreq, SpreadLaw::kRatio, 0.0f,
     PrismelKnobs::kBandpassResonance, MultiModeFilterKnobs::kQ},
    {PrismelKnobs::kCombCutoff, MultiModeFilterKnobs::kCombFreq, SpreadLaw::kRatio, 0.0f,
     PrismelKnobs::kCombResonance, MultiModeFilterKnobs::kQ},
    {PrismelKnobs::kBitCrusherDownsample, BitCrusherKnobs::kDownsample, SpreadLaw::kRatio, 0.0f,
     PrismelKnobs::kBitCrusherBitDepth, BitCrusherKnobs::kBitdepth},
    {PrismelKnobs::kDistortionDrive, PrismelDistoVariantKnobs::kDriveIndex, SpreadLaw::kRoot, kDriveSpan,
     PrismelKnobs::kDistortionAlgorithm, PrismelDistoVariantKnobs::kDistoTypeIndex},
    {PrismelKnobs::kHarmonizerSpray, PitchShifterKnobs::kSpray, SpreadLaw::kRoot, kSpraySpan,
     PrismelKnobs::kHarmonizerChord, PitchShifterKnobs::kPitchShift},
}};

// A voice's value is held in the limits of its target: they are the knob's.
static_assert(FxVariantKnobs::kBandPassRows[kStageRoutes[PrismelKnobs::kFxBandPass].primaryTarget].range ==
              FxVariantKnobs::RangeOf(kStageRoutes[PrismelKnobs::kFxBandPass].primary));
static_assert(FxVariantKnobs::kCombRows[kStageRoutes[PrismelKnobs::kFxComb].primaryTarget].range ==
              FxVariantKnobs::RangeOf(kStageRoutes[PrismelKnobs::kFxComb].primary));
static_assert(FxVariantKnobs::kCrusherRows[kStageRoutes[PrismelKnobs::kFxBitCrusher].primaryTarget].range ==
              FxVariantKnobs::RangeOf(kStageRoutes[PrismelKnobs::kFxBitCrusher].primary));
static_assert(FxVariantKnobs::kHarmonizerRows[kStageRoutes[PrismelKnobs::kFxHarmonizer].primaryTarget]
                  .range == FxVariantKnobs::RangeOf(kStageRoutes[PrismelKnobs::kFxHarmonizer].primary));

}  // namespace Vantora::dsp
