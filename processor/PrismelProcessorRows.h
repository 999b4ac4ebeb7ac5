#pragma once

#include "dsp/control/EnvFollowerRows.h"
#include "dsp/control/LFORows.h"
#include "processor/EffectProcessorRows.h"

/// The knobs that `PrismelProcessor` adds behind the frame's, and how it fits those of its LFO and its
/// meters.
namespace Vantora::Processor::PrismelProcessorKnobs {

using namespace Knobs;

/// Base of the module, so that its class names them too.
struct Indices {
  /// Positions in the own list.
  enum OwnParam : uint32_t {
    kLfoRateType = EffectProcessorKnobs::kFrameParamCount,  ///< 0 free, 1 all synced lengths, 2..4 straight,
                                                            ///< triplet, dotted
    kLfoShapeType,      ///< sine, triangle, saw, square, sample and hold, the same smoothed
    kLfoPrismelAmount,  ///< -1..1, depth on "Prismelion"
    kLfoPrimaryAmount,  ///< -1..1, depth on the primary parameter
    kInputPower,        ///< dB, written by the processor
    kOutputPower,       ///< dB, written by the processor
  };
};
using OwnParam = Indices::OwnParam;
using enum Indices::OwnParam;

inline constexpr const char* kLfoRateTypes[] = {"free", "synced all", "synced straight", "synced triplet",
                                                "synced dotted"};
inline constexpr const char* kLfoShapes[] = {"sine",   "triangle",        "falling saw",
                                             "square", "sample and hold", "smooth random"};

// The effect works at the full depth of its LFO until the amounts are written; a sound that doesn't ask for
// modulation wants none, so presets fall back to 0.
// clang-format off
inline constexpr auto kOwnRows = std::to_array<Row>({
    {"LFORateType", Steps(std::size(kLfoRateTypes)), {}, kNone, kMain, "LFO", "LFO sync",
     "what sets the LFO's rate", kLfoRateTypes},
    {"LFOShapeType", Steps(std::size(kLfoShapes)), {}, kNone, kMain, "LFO", "LFO shape",
     "waveform of the LFO", kLfoShapes},
    Row{"LFOPrismelAmount", BipolarExp(-1, 1, 3), {}, kRatio, kMain, "LFO", "LFO to Prismelion",
        "depth of the LFO on \"Prismelion\""}.WithPreset(Value(0)),
    Row{"LFOPrimaryAmount", BipolarExp(-1, 1, 3), {}, kRatio, kMain, "LFO", "LFO to effect knob",
        "depth of the LFO on the effect's first knob"}.WithPreset(Value(0)),
    {"InputPower", Linear(-80, 6), {}, kDecibels, kReadOut, "Meters", "Input level", "input level"},
    {"OutputPower", Linear(-80, 6), {}, kDecibels, kReadOut, "Meters", "Output level", "output level"},
});
// clang-format on
static_assert(EffectProcessorKnobs::kFrameParamCount + kOwnRows.size() == kOutputPower + 1);

inline constexpr Fit kFrameFits[] = {{.index = EffectProcessorKnobs::kOutputGain, .start = Value(0)}};
inline constexpr auto kFrameRows = Refit(EffectProcessorKnobs::kOwnRows, kFrameFits);

/// Note lengths of the LFO in whole notes (bars of 4/4), longest first: from sixteen bars to a thirty-second.
inline constexpr auto kRateTable =
    std::to_array<float>({16.0f, 8.0f, 4.0f, 2.0f, 1.0f, 0.5f, 0.25f, 0.125f, 0.0625f, 0.03125f});
inline constexpr const char* kNoteLengths[] = {"16/1", "8/1", "4/1", "2/1",  "1/1",
                                               "1/2",  "1/4", "1/8", "1/16", "1/32"};
/// The same lengths with their dotted (times 1.5) and triplet (times 2/3) forms, longest first.
inline constexpr const char* kAllNoteLengths[] = {
    "16/1 dotted", "16/1", "8/1 dotted",  "16/1 triplet", "8/1",  "4/1 dotted",
    "8/1 triplet", "4/1",  "2/1 dotted",  "4/1 triplet",  "2/1",  "1/1 dotted",
    "2/1 triplet", "1/1",  "1/2 dotted",  "1/1 triplet",  "1/2",  "1/4 dotted",
    "1/2 triplet", "1/4",  "1/8 dotted",  "1/4 triplet",  "1/8",  "1/16 dotted",
    "1/8 triplet", "1/16", "1/32 dotted", "1/16 triplet", "1/32", "1/32 triplet",
};
static_assert(std::size(kNoteLengths) == kRateTable.size() &&
              std::size(kAllNoteLengths) == 3 * kRateTable.size());

/// Before the rate table is given: "ConfAllowSyncAll" decides whether the longer one is made.
inline constexpr Fit kLfoFits[] = {
    {.index = dsp::IGeneratorKnobs::kMidiSync, .internal = "written by \"LFORateType\""},
    {.index = dsp::IGeneratorKnobs::kRateUnSynced, .range = Exponential(0.025f, 50, 3)},
    {.index = dsp::IGeneratorKnobs::kRateSynced,
     .range = Steps(std::size(kNoteLengths)),
     .labels = kNoteLengths},
    {.index = dsp::IGeneratorKnobs::kAllRateSynced,
     .range = Steps(std::size(kAllNoteLengths)),
     .labels = kAllNoteLengths},
    {.index = dsp::IGeneratorKnobs::kRateSyncedType, .internal = "written by \"LFORateType\""},
    {.index = dsp::LFOKnobs::kStereo, .start = Position(0)},
    {.index = dsp::IGeneratorKnobs::kControlRate, .start = Position(1)},
    {.index = dsp::IGeneratorKnobs::kConfAllowSyncAll, .start = Position(1)},
    {.index = dsp::LFOKnobs::kWaveform, .internal = "written by \"LFOShapeType\""},
    {.index = dsp::LFOKnobs::kSmoothRateLinked, .start = Value(1)},
    {.index = dsp::LFOKnobs::kSmooth, .range = Linear(0, 5), .internal = "written by \"LFOShapeType\""},
};
inline constexpr auto kLfoRows = Refit(dsp::LFOKnobs::kRows, kLfoFits);

inline constexpr Fit kMeterFits[] = {
    {.index = dsp::EnvFollowerKnobs::kRelease, .start = Value(0.2f)},
    {.index = dsp::EnvFollowerKnobs::kAttack, .start = Value(0.2f)},
    {.index = dsp::EnvFollowerKnobs::kStereoInput, .internal = "written at every block"},
};
inline constexpr auto kMeterRows = Refit(dsp::EnvFollowerKnobs::kRows, kMeterFits);

}  // namespace Vantora::Processor::PrismelProcessorKnobs
