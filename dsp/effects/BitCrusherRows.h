#pragma once

#include "basictools/knobs/KnobRow.h"

/// The knobs of `BitCrusher`.
namespace Vantora::dsp::BitCrusherKnobs {

using namespace Knobs;

/// Base of the module, so that its class names them too.
struct Indices {
  enum ParamIndex : uint32_t {
    kWet,
    kBitdepth,    ///< bits, may be fractional
    kDownsample,  ///< divisor of 44100 Hz
    kFrequency,   ///< Hz, new sample rate
    kStereo,      ///< 0 mono, 1 stereo
    kAliasing,    ///< 0..1, opens the anti-alias filter towards 44100 Hz
    kJitter,      ///< percent
    kJitterRate,  ///< Hz
    kJitterMode,
    kMode,            ///< 0 linear glide, 1 sample and hold
    kScale,           ///< companding constant; off at its minimum
    kConfDownSample,  ///< 0 "Downsample" sets the rate, 1 "Frequency" does
    kConfAliasing,
    kConfScale,
    kConfFeedbackOn,
    kInGainCompensated,  ///< dB
  };
};
using ParamIndex = Indices::ParamIndex;
using enum Indices::ParamIndex;

inline constexpr const char* kModes[] = {"glide", "hold"};
inline constexpr const char* kJitterModes[] = {"drift", "skip"};
inline constexpr const char* kRates[] = {"divider", "frequency"};
inline constexpr const char* kGroup = "Crusher";

// clang-format off
inline constexpr auto kRows = std::to_array<Row>({
    {"Wet", Plain(), {}, kRatio, kAdvanced, kGroup, "Wet", "mix of the crushed and the plain signal"},
    {"Bitdepth", Reverse(1.5f, 16), {}, kBits, kMain, kGroup, "Bits", "word length"},
    {"Downsample", Exponential(1, 80, 3), {}, kTimes, kMain, kGroup, "Rate divider",
     "divides the crusher's rate of 44.1 kHz"},
    {"Frequency", Exponential(200, 44100, 5.4f), {}, kHertz, kMain, kGroup, "Rate",
     "new sample rate, where the divider isn't used"},
    {"StereoBC", Switch(), {}, kNone, kInternal, kGroup, "Stereo", "second channel", kOffOn},
    {"Aliasing", Exponential(0, 1, 3), {}, kRatio, kAdvanced, kGroup, "Aliasing",
     "opens the anti-alias filter"},
    {"Jitter", Linear(0, 100), {}, kPercent, kAdvanced, kGroup, "Jitter",
     "unevenness of the new sample clock"},
    {"JitterRate", Linear(20, 3000), {}, kHertz, kAdvanced, kGroup, "Jitter rate",
     "how often a drifting clock's error changes"},
    {"JitterMode", Switch(), {}, kNone, kAdvanced, kGroup, "Jitter kind",
     "the clock drifts, or skips now and then", kJitterModes},
    {"Mode", Switch(), {}, kNone, kAdvanced, kGroup, "Mode", "glide between samples, or hold them", kModes},
    {"Scale", Linear(0.1f, 255), {}, kNone, kAdvanced, kGroup, "Word scale",
     "curvature of the logarithmic word; off at its lowest"},
    {"ConfDownSample", Switch(), {}, kNone, kInternal, kGroup, "Rate by", "configuration", kRates},
    {"ConfAliasing", Toggle(), {}, kNone, kInternal, kGroup, "Anti-aliasing", "configuration", kOffOn},
    {"ConfScale", Toggle(), {}, kNone, kInternal, kGroup, "Log word", "configuration", kOffOn},
    {"ConfFeedbackOn", Toggle(), {}, kNone, kInternal, kGroup, "Feedback ports", "configuration", kOffOn},
    Row{"InGainCompensated", Linear(-40, 40), Value(0), kDecibels, kAdvanced, kGroup, "Inner gain",
        "gain into the crusher, taken back behind it"}.WithSymbol("inner_gain"),
});
// clang-format on
static_assert(std::size(kRows) == kInGainCompensated + 1);

}  // namespace Vantora::dsp::BitCrusherKnobs
