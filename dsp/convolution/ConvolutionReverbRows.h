#pragma once

#include "basictools/knobs/KnobRow.h"

/// The knobs of `ConvolutionReverb`.
namespace Vantora::dsp::ConvolutionReverbKnobs {

using namespace Knobs;

/// Base of the module, so that its class names them too.
struct Indices {
  enum ParamIndex : uint32_t {
    kWet,
    kIRGain,      ///< dB
    kPreDelayMs,  ///< ms
    kDecay,
    kStretch,                   ///< times as long
    kLengthFactor,              ///< times as long
    kEngineCrossfadeDuration,   ///< s
    kImpulseUpdateBehaviour,    ///< 0 at once, 1 by polling
    kImpulseUpdatePollingTime,  ///< ms
    kImpulseFadeBehaviour,      ///< 0 crossfade, 1 out and in
  };
};
using ParamIndex = Indices::ParamIndex;
using enum Indices::ParamIndex;

inline constexpr const char* kUpdates[] = {"at once", "polled"};
inline constexpr const char* kFades[] = {"crossfade", "out and in"};
inline constexpr const char* kGroup = "Reverb";

// clang-format off
inline constexpr auto kRows = std::to_array<Row>({
    {"Wet", Linear(0, 1), {}, kRatio, kMain, kGroup, "Wet", "dry to wet, at equal power"},
    Row{"IRGain", Linear(-40, 40), Value(0), kDecibels, kMain, kGroup, "Impulse gain",
        "gain of the impulse"}.WithSymbol("impulse_gain"),
    Row{"PreDelayMs", Linear(0, 1000), Position(0), kMilliseconds, kMain, kGroup, "Pre-delay",
        "delay in front of the reverb"}.WithSymbol("pre_delay"),
    {"Decay", Linear(0, 1), Position(1), kRatio, kMain, kGroup, "Decay",
     "1 leaves the impulse alone, 0 makes it fall by 43 dB in a second"},
    {"Stretch", Linear(0.1f, 2), Value(1), kRatio, kMain, kGroup, "Stretch",
     "how many times as long, at another pitch"},
    Row{"LengthFactor", Linear(0, 2), Value(1), kRatio, kMain, kGroup, "Length",
        "how much of the impulse is used"}.WithSymbol("length"),
    Row{"EngineCrossfadeDuration", Linear(0, 1), Position(1), kSeconds, kAdvanced, kGroup, "Crossfade",
        "time of a change from one impulse to the next"}.WithSymbol("crossfade"),
    {"ImpulseUpdateBehaviour", Switch(), {}, kNone, kAdvanced, kGroup, "Updates",
     "when a knob of the impulse acts", kUpdates},
    {"ImpulseUpdatePollingTime", Linear(100, 1000), Value(500), kMilliseconds, kAdvanced, kGroup,
     "Polling time", "how often polled updates act"},
    {"ImpulseFadeBehaviour", Switch(), {}, kNone, kAdvanced, kGroup, "Fades",
     "how one impulse goes over into the next", kFades},
});
// clang-format on
static_assert(std::size(kRows) == kImpulseFadeBehaviour + 1);

}  // namespace Vantora::dsp::ConvolutionReverbKnobs
