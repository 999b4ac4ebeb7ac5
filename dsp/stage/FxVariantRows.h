#pragma once

#include "dsp/effects/BitCrusherRows.h"
#include "dsp/effects/MultiModeFilterRows.h"
#include "dsp/effects/PitchShifterRows.h"
#include "dsp/stage/PrismelDistoVariantRows.h"
#include "dsp/stage/PrismelRows.h"
#include "engine/ModuleVariantRows.h"
#include "engine/PassThroughRows.h"

/// How `FxVariant` fits the knobs of its alternatives to this product: mono, no feedback ports, no modulation
/// ports, and with the limits of the knobs that drive them. The effect writes the ones that it spreads over
/// the voices at every block, so that whatever a host writes there is lost.
namespace Vantora::dsp::FxVariantKnobs {

using namespace Knobs;

inline constexpr const char* kOneChannel = "second channel; a clone has one";
inline constexpr const char* kBySpread = "written by the spread";
inline constexpr const char* kNotConnected = "depth of an input that isn't connected";

constexpr Range RangeOf(PrismelKnobs::OwnParam knob) { return PrismelKnobs::kOwnRows[knob].range; }

inline constexpr uint32_t kBandPassMode = 11;
inline constexpr Fit kBandPassFits[] = {
    {.index = MultiModeFilterKnobs::kFreq,
     .range = RangeOf(PrismelKnobs::kBandpassCutoff),
     .internal = kBySpread},
    {.index = MultiModeFilterKnobs::kCombFreq, .internal = "not used by the band-pass"},
    {.index = MultiModeFilterKnobs::kQ,
     .range = RangeOf(PrismelKnobs::kBandpassResonance),
     .internal = kBySpread},
    {.index = MultiModeFilterKnobs::kFmAmount, .start = Value(0), .internal = kNotConnected},
    {.index = MultiModeFilterKnobs::kStereo, .start = Value(0), .internal = kOneChannel},
    {.index = MultiModeFilterKnobs::kMode,
     .start = Value(0),
     .range = Steps(1),
     .internal = "the band-pass, the only mode allowed here"},
};
inline constexpr auto kBandPassRows = Refit(MultiModeFilterKnobs::kRows, kBandPassFits);

inline constexpr uint32_t kCombMode = 18;
inline constexpr Fit kCombFits[] = {
    {.index = MultiModeFilterKnobs::kFreq, .internal = "not used by the comb"},
    {.index = MultiModeFilterKnobs::kCombFreq,
     .range = RangeOf(PrismelKnobs::kCombCutoff),
     .internal = kBySpread},
    {.index = MultiModeFilterKnobs::kQ,
     .range = RangeOf(PrismelKnobs::kCombResonance),
     .internal = kBySpread},
    {.index = MultiModeFilterKnobs::kFmAmount, .start = Value(0), .internal = kNotConnected},
    {.index = MultiModeFilterKnobs::kStereo, .start = Value(0), .internal = kOneChannel},
    {.index = MultiModeFilterKnobs::kMode,
     .start = Value(0),
     .range = Steps(1),
     .internal = "the feedback comb, the only mode allowed here"},
};
inline constexpr auto kCombRows = Refit(MultiModeFilterKnobs::kRows, kCombFits);

inline constexpr Fit kCrusherFits[] = {
    {.index = BitCrusherKnobs::kWet, .start = Value(1)},
    {.index = BitCrusherKnobs::kStereo, .start = Value(0), .internal = kOneChannel},
    {.index = BitCrusherKnobs::kJitterMode, .start = Value(1)},
    {.index = BitCrusherKnobs::kConfAliasing, .start = Value(1)},
    {.index = BitCrusherKnobs::kConfScale, .start = Value(1)},
    {.index = BitCrusherKnobs::kConfDownSample, .start = Value(0)},
    {.index = BitCrusherKnobs::kDownsample,
     .range = RangeOf(PrismelKnobs::kBitCrusherDownsample),
     .internal = kBySpread},
    {.index = BitCrusherKnobs::kBitdepth,
     .range = RangeOf(PrismelKnobs::kBitCrusherBitDepth),
     .internal = kBySpread},
    {.index = BitCrusherKnobs::kFrequency, .internal = "new sample rate, not selected here"},
    {.index = BitCrusherKnobs::kScale, .start = Value(16), .range = Exponential(0.1f, 255, 6)},
    {.index = BitCrusherKnobs::kJitter, .start = Value(0)},
    {.index = BitCrusherKnobs::kAliasing, .start = Value(0)},
    {.index = BitCrusherKnobs::kMode, .start = Value(1)},
};
inline constexpr auto kCrusherRows = Refit(BitCrusherKnobs::kRows, kCrusherFits);

inline constexpr Fit kHarmonizerFits[] = {
    {.index = PitchShifterKnobs::kSpray,
     .range = RangeOf(PrismelKnobs::kHarmonizerSpray),
     .internal = kBySpread},
    {.index = PitchShifterKnobs::kPitchShift, .internal = "written by the chord"},
    {.index = PitchShifterKnobs::kModDelayConnected, .start = Value(0)},
    {.index = PitchShifterKnobs::kPreDelay, .start = Value(0)},
    {.index = PitchShifterKnobs::kStereo, .start = Value(0), .internal = kOneChannel},
};
inline constexpr auto kHarmonizerRows = Refit(PitchShifterKnobs::kRows, kHarmonizerFits);

inline constexpr Fit kVariantFits[] = {
    {.index = engine::ModuleVariantKnobs::kModuleType,
     .range = Steps(PrismelKnobs::kFxTypeCount),
     .internal = "written by \"FXType\"",
     .labels = PrismelKnobs::kEffects},
};
/// Behind those of the alternatives.
inline constexpr auto kOwnRows =
    Refit(engine::ModuleVariantKnobs::OwnRows(PrismelKnobs::kFxTypeCount), kVariantFits);

/// Knobs of a bank: all alternatives', then the own ones.
inline constexpr uint32_t kBankSize =
    PassThroughKnobs::kRows.size() + kBandPassRows.size() + kCombRows.size() + kCrusherRows.size() +
    PrismelDistoVariantKnobs::kFolderRows.size() + PrismelDistoVariantKnobs::kShaperRows.size() +
    PrismelDistoVariantKnobs::kOwnRows.size() + kHarmonizerRows.size() + kOwnRows.size();

}  // namespace Vantora::dsp::FxVariantKnobs
