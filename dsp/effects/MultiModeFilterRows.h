#pragma once

#include "basictools/knobs/KnobRow.h"

/// The knobs of `MultiModeFilter`.
namespace Vantora::dsp::MultiModeFilterKnobs {

using namespace Knobs;

/// Base of the module, so that its class names them too.
struct Indices {
  enum ParamIndex : uint32_t {
    kStereo,    ///< above 0.5: both channels
    kMode,      ///< index into the allowed modes
    kFreq,      ///< Hz
    kCombFreq,  ///< Hz
    kQ,
    kGain,      ///< dB, bell modes
    kFmAmount,  ///< octaves / 10 for each unit of input 2
    kConfBypassOnOpen,
    kConfFadeOnModeChange,
    kConfGainCompensationOn,
  };
};
using ParamIndex = Indices::ParamIndex;
using enum Indices::ParamIndex;

inline constexpr uint32_t kModeCount = 20;
inline constexpr const char* kGroup = "Filter";

inline constexpr auto kRows = std::to_array<Row>({
    {"Stereo", Toggle(), {}, Unit::kNone, Role::kInternal, kGroup, "Stereo", "second channel", kOffOn},
    {"Mode", Steps(kModeCount), {}, Unit::kNone, Role::kMain, kGroup, "Mode", "which of the allowed modes"},
    {"Freq",
     Exponential(20, 20000, 6),
     {},
     Unit::kHertz,
     Role::kMain,
     kGroup,
     "Frequency",
     "cutoff or centre, save of the combs"},
    {"CombFreq",
     Exponential(20, 2000, 6),
     {},
     Unit::kHertz,
     Role::kMain,
     kGroup,
     "Pitch",
     "pitch of the combs"},
    {"Q",
     Exponential(0.5f, 15, 5),
     {},
     Unit::kNone,
     Role::kMain,
     kGroup,
     "Resonance",
     "resonance; in the combs its position is the feedback"},
    {"Gain", Linear(-15, 15), Value(0), Unit::kDecibels, Role::kInternal, kGroup, "Bell gain",
     "of the bell modes"},
    {"FMAmount",
     Plain(),
     {},
     Unit::kRatio,
     Role::kInternal,
     kGroup,
     "FM amount",
     "depth of the frequency modulation"},
    {"ConfBypassOnOpen",
     Toggle(),
     {},
     Unit::kNone,
     Role::kInternal,
     kGroup,
     "Open bypass",
     "configuration",
     kOffOn},
    {"ConfFadeOnModeChange",
     Toggle(),
     {},
     Unit::kNone,
     Role::kInternal,
     kGroup,
     "Mode fade",
     "configuration",
     kOffOn},
    {"ConfGainCompensationOn", Toggle(), Position(1), Unit::kNone, Role::kInternal, kGroup, "Auto level",
     "configuration", kOffOn},
});
static_assert(std::size(kRows) == kConfGainCompensationOn + 1);

}  // namespace Vantora::dsp::MultiModeFilterKnobs
