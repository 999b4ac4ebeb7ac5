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

inline constexpr uint32_t kCurveCount = 15;
inline constexpr const char* kGroup = "Distortion";

inline constexpr auto kRows = std::to_array<Row>({
    {"Stereo", Switch(), {}, Unit::kNone, Role::kInternal, kGroup, "Shaper stereo", "second channel", kOffOn},
    {"DistType",
     Steps(kCurveCount),
     {},
     Unit::kNone,
     Role::kMain,
     kGroup,
     "Shaper curve",
     "the shaping curve"},
    {"Drive",
     Linear(-24, 24),
     {},
     Unit::kDecibels,
     Role::kMain,
     kGroup,
     "Shaper drive",
     "gain into the shaper"},
    {"OutputGain", Linear(-24, 24), Value(0), Unit::kDecibels, Role::kAdvanced, kGroup, "Shaper gain",
     "gain behind the shaper"},
    Row{"AutoComp", Switch(), Value(1), Unit::kNone, Role::kAdvanced, kGroup, "Shaper auto level",
        "keeps the level while the drive moves", kOffOn}
        .WithSymbol("auto_level"),
    {"ConfFeedbackOn",
     Switch(),
     {},
     Unit::kNone,
     Role::kInternal,
     kGroup,
     "Shaper feedback ports",
     "configuration",
     kOffOn},
    {"ConfGainStagingIn",
     Linear(-24, 24),
     {},
     Unit::kDecibels,
     Role::kInternal,
     kGroup,
     "Shaper staging in",
     "configuration"},
    {"ConfGainStagingOut",
     Linear(-24, 24),
     {},
     Unit::kDecibels,
     Role::kInternal,
     kGroup,
     "Shaper staging out",
     "configuration"},
    {"ConfAntiAl",
     Switch(),
     {},
     Unit::kNone,
     Role::kInternal,
     kGroup,
     "Shaper anti-aliasing",
     "configuration",
     kOffOn},
    {"ConfUpsamp",
     Switch(),
     {},
     Unit::kNone,
     Role::kInternal,
     kGroup,
     "Shaper oversampling",
     "configuration",
     kOffOn},
});
static_assert(std::size(kRows) == kUpsamp + 1);

}  // namespace Vantora::dsp::MultiDistKnobs
