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

inline constexpr auto kRows = std::to_array<Row>({
    {"Wet",
     Plain(),
     {},
     Unit::kRatio,
     Role::kAdvanced,
     kGroup,
     "Wet",
     "mix of the crushed and the plain signal"},
    {"Bitdepth", Reverse(1.5f, 16), {}, Unit::kBits, Role::kMain, kGroup, "Bits", "word length"},
    {"Downsample",
     Exponential(1, 80, 3),
     {},
     Unit::kTimes,
     Role::kMain,
     kGroup,
     "Rate divider",
     "divides the crusher's rate of 44.1 kHz"},
    {"Frequency",
     Exponential(200, 44100, 5.4f),
     {},
     Unit::kHertz,
     Role::kMain,
     kGroup,
     "Rate",
     "new sample rate, where the divider isn't used"},
    {"StereoBC", Switch(), {}, Unit::kNone, Role::kInternal, kGroup, "Stereo", "second channel", kOffOn},
    {"Aliasing",
     Exponential(0, 1, 3),
     {},
     Unit::kRatio,
     Role::kAdvanced,
     kGroup,
     "Aliasing",
     "opens the anti-alias filter"},
    {"Jitter",
     Linear(0, 100),
     {},
     Unit::kPercent,
     Role::kAdvanced,
     kGroup,
     "Jitter",
     "unevenness of the new sample clock"},
    {"JitterRate",
     Linear(20, 3000),
     {},
     Unit::kHertz,
     Role::kAdvanced,
     kGroup,
     "Jitter rate",
     "how often a drifting clock's error changes"},
    {"JitterMode",
     Switch(),
     {},
     Unit::kNone,
     Role::kAdvanced,
     kGroup,
     "Jitter kind",
     "the clock drifts, or skips now and then",
     kJitterModes},
    {"Mode",
     Switch(),
     {},
     Unit::kNone,
     Role::kAdvanced,
     kGroup,
     "Mode",
     "glide between samples, or hold them",
     kModes},
    {"Scale",
     Linear(0.1f, 255),
     {},
     Unit::kNone,
     Role::kAdvanced,
     kGroup,
     "Word scale",
     "curvature of the logarithmic word; off at its lowest"},
    {"ConfDownSample",
     Switch(),
     {},
     Unit::kNone,
     Role::kInternal,
     kGroup,
     "Rate by",
     "configuration",
     kRates},
    {"ConfAliasing",
     Toggle(),
     {},
     Unit::kNone,
     Role::kInternal,
     kGroup,
     "Anti-aliasing",
     "configuration",
     kOffOn},
    {"ConfScale", Toggle(), {}, Unit::kNone, Role::kInternal, kGroup, "Log word", "configuration", kOffOn},
    {"ConfFeedbackOn",
     Toggle(),
     {},
     Unit::kNone,
     Role::kInternal,
     kGroup,
     "Feedback ports",
     "configuration",
     kOffOn},
    Row{"InGainCompensated", Linear(-40, 40), Value(0), Unit::kDecibels, Role::kAdvanced, kGroup,
        "Inner gain", "gain into the crusher, taken back behind it"}
        .WithSymbol("inner_gain"),
});
static_assert(std::size(kRows) == kInGainCompensated + 1);

}  // namespace Vantora::dsp::BitCrusherKnobs
