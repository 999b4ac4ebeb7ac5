#pragma once

#include "basictools/knobs/KnobRow.h"

/// The knobs of `MultiDist`.
namespace Vantora::dsp::MultiDistKnobs {

using namespace Knobs;

/// Base of the module, so that its class names them too.
struct Indices {
  enum ParamIndex : uint32_t {
    kStereo,
    kDistType,    ///< index into the allowed curves
    kDrive,       ///< dB
    kOutputGain,  ///< dB
    kAutoComp,
    kFeedbackOn,
    kGainStagingIn,   ///< dB
    kGainStagingOut,  ///< dB
    kAntiAl,
    kUpsamp
  };
};
using ParamIndex = Indices::ParamIndex;
using enum Indices::ParamIndex;

inline constexpr uint32_t kCurveCount = 16;
inline constexpr const char* kGroup = "Distortion";

// clang-format off
inline constexpr auto kRows = std::to_array<Row>({
    {"Stereo", Switch(), {}, kNone, kInternal, kGroup, "Shaper stereo", "second channel", kOffOn},
    {"DistType", Steps(kCurveCount), {}, kNone, kMain, kGroup, "Shaper curve", "the shaping curve"},
    {"Drive", Linear(-24, 24), {}, kDecibels, kMain, kGroup, "Shaper drive", "gain into the shaper"},
    {"OutputGain", Linear(-24, 24), Value(0), kDecibels, kAdvanced, kGroup, "Shaper gain",
     "gain behind the shaper"},
    Row{"AutoComp", Switch(), Value(1), kNone, kAdvanced, kGroup, "Shaper auto level",
        "keeps the level while the drive moves", kOffOn}.WithSymbol("auto_level"),
    {"ConfFeedbackOn", Switch(), {}, kNone, kInternal, kGroup, "Shaper feedback ports",
     "configuration", kOffOn},
    {"ConfGainStagingIn", Linear(-24, 24), {}, kDecibels, kInternal, kGroup, "Shaper staging in",
     "configuration"},
    {"ConfGainStagingOut", Linear(-24, 24), {}, kDecibels, kInternal, kGroup, "Shaper staging out",
     "configuration"},
    {"ConfAntiAl", Switch(), {}, kNone, kInternal, kGroup, "Shaper anti-aliasing", "configuration", kOffOn},
    {"ConfUpsamp", Switch(), {}, kNone, kInternal, kGroup, "Shaper oversampling", "configuration", kOffOn},
});
// clang-format on
static_assert(std::size(kRows) == kUpsamp + 1);

}  // namespace Vantora::dsp::MultiDistKnobs
