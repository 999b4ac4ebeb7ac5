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

// clang-format off
inline constexpr auto kRows = std::to_array<Row>({
    {"Stereo", Toggle(), {}, kNone, kInternal, kGroup, "Stereo", "second channel", kOffOn},
    {"Mode", Steps(kModeCount), {}, kNone, kMain, kGroup, "Mode", "which of the allowed modes"},
    {"Freq", Exponential(20, 20000, 6), {}, kHertz, kMain, kGroup, "Frequency",
     "cutoff or centre, save of the combs"},
    {"CombFreq", Exponential(20, 2000, 6), {}, kHertz, kMain, kGroup, "Pitch", "pitch of the combs"},
    {"Q", Exponential(0.5f, 15, 5), {}, kNone, kMain, kGroup, "Resonance",
     "resonance; in the combs its position is the feedback"},
    {"Gain", Linear(-15, 15), Value(0), kDecibels, kInternal, kGroup, "Bell gain", "of the bell modes"},
    {"FMAmount", Plain(), {}, kRatio, kInternal, kGroup, "FM amount", "depth of the frequency modulation"},
    {"ConfBypassOnOpen", Toggle(), {}, kNone, kInternal, kGroup, "Open bypass", "configuration", kOffOn},
    {"ConfFadeOnModeChange", Toggle(), {}, kNone, kInternal, kGroup, "Mode fade", "configuration", kOffOn},
    {"ConfGainCompensationOn", Toggle(), Position(1), kNone, kInternal, kGroup, "Auto level",
     "configuration", kOffOn},
});
// clang-format on
static_assert(std::size(kRows) == kConfGainCompensationOn + 1);

}  // namespace Vantora::dsp::MultiModeFilterKnobs
