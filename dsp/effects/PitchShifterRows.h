#pragma once

#include "basictools/knobs/KnobRow.h"

/// The knobs of `PitchShifter`.
namespace Vantora::dsp::PitchShifterKnobs {

using namespace Knobs;

/// Base of the module, so that its class names them too.
struct Indices {
  enum ParamIndex : uint32_t {
    kStereo,             ///< above 0.5: both channels
    kPreDelay,           ///< ms
    kPitchShift,         ///< semitones
    kSpray,              ///< ms
    kModDelayConnected,  ///< above 0.5: the pre-delay is always read between samples
  };
};
using ParamIndex = Indices::ParamIndex;
using enum Indices::ParamIndex;

inline constexpr const char* kGroup = "Harmonizer";

// clang-format off
inline constexpr auto kRows = std::to_array<Row>({
    {"Stereo", Toggle(), {}, kNone, kInternal, kGroup, "Stereo", "second channel", kOffOn},
    {"PreDelay", Linear(0, 1000), {}, kMilliseconds, kAdvanced, kGroup, "Pre-delay",
     "delay in front of the pitch shifter"},
    {"PitchShift", Linear(-24, 24), Value(0), kSemitones, kMain, kGroup, "Pitch", "shift of the pitch"},
    {"Spray", Exponential(0, 1500, 3), {}, kMilliseconds, kMain, kGroup, "Spray", "scatters the grains"},
    {"ModDelayConnected", Toggle(), {}, kNone, kInternal, kGroup, "Delay input", "configuration", kOffOn},
});
// clang-format on
static_assert(std::size(kRows) == kModDelayConnected + 1);

}  // namespace Vantora::dsp::PitchShifterKnobs
