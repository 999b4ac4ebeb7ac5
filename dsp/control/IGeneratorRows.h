#pragma once

#include "basictools/knobs/KnobRow.h"

/// The knobs of `IGenerator`.
namespace Vantora::dsp::IGeneratorKnobs {

using namespace Knobs;

/// Base of the module, so that its class names them too.
struct Indices {
  enum ParamIndex : uint32_t {
    kMode,
    kMidiSync,
    kRateUnSynced,
    kRateSynced,
    kAllRateSynced,
    kRateSyncedType,
    kPhaseInit,  ///< degrees
    kKbTracking,
    kKbTrackingAmount,  ///< percent
    kKbTrackingFreq,    ///< Hz
    kGateIn,
    kControlRate,
    kSppHardFollow,
    kSwing,  ///< percent
    kConfAllowSyncAll,
    kOwnParameters  ///< a derived class's own follow from here
  };
};
using ParamIndex = Indices::ParamIndex;
using enum Indices::ParamIndex;

inline constexpr const char* kModes[] = {"one shot", "free", "song-locked"};
inline constexpr const char* kSyncModes[] = {"free", "synced", "synced all"};
inline constexpr const char* kNoteFeels[] = {"straight", "triplet", "dotted"};
inline constexpr const char* kGroup = "LFO";

/// Note lengths of the default table, and those with dotted and triplet forms.
inline constexpr uint32_t kLengthCount = 9;
inline constexpr const char* kNoNote = "no note reaches this effect";

// clang-format off
inline constexpr auto kRows = std::to_array<Row>({
    {"Mode", Steps(3), Value(2), kNone, kAdvanced, kGroup, "Mode", "what the phase follows", kModes},
    {"MidiSync", Steps(3), {}, kNone, kMain, kGroup, "Sync mode", "free, or in note lengths", kSyncModes},
    Row{"RateUnSynced", Plain(), {}, kHertz, kMain, kGroup, "Rate",
        "rate while free"}.WithSymbol("rate_unsynced"),
    {"RateSynced", Steps(kLengthCount), {}, kNone, kMain, kGroup, "Note length",
     "cycle while straight, triplet or dotted"},
    {"AllRateSynced", Steps(3 * kLengthCount), {}, kNone, kMain, kGroup, "Note length (all)",
     "cycle while synced to all lengths"},
    {"RateSyncedType", Steps(3), {}, kNone, kMain, kGroup, "Note feel",
     "straight, triplet or dotted", kNoteFeels},
    {"PhaseInit", Linear(0, 360), {}, kDegrees, kMain, kGroup, "Start phase",
     "phase at the start of a cycle"},
    {"KbTracking", Toggle(), {}, kNone, kInternal, kGroup, "Key tracking", kNoNote, kOffOn},
    {"KbTrackingAmount", Plain(), {}, kNone, kInternal, kGroup, "Tracking amount", kNoNote},
    {"KbTrackingFreq", Linear(1, 40000), {}, kHertz, kInternal, kGroup, "Tracked pitch", kNoNote},
    {"GateIn", Toggle(), {}, kNone, kAdvanced, kGroup, "Gate",
     "starts again when it goes on, unless song-locked", kOffOn},
    {"ControlRate", ToggleFromHalf(), {}, kNone, kInternal, kGroup, "Control rate",
     "one value a block", kOffOn},
    {"SppHardFollow", ToggleFromHalf(), {}, kNone, kAdvanced, kGroup, "Follow song",
     "phase straight from the song position", kOffOn},
    {"Swing", Linear(50, 75), {}, kPercent, kMain, kGroup, "Swing", "share of the first of two cycles"},
    {"ConfAllowSyncAll", Switch(), {}, kNone, kInternal, kGroup, "All lengths", "configuration", kOffOn},
});
// clang-format on
static_assert(kRows.size() == kOwnParameters);

}  // namespace Vantora::dsp::IGeneratorKnobs
