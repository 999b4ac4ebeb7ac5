#pragma once

#include "basictools/knobs/KnobRow.h"

/// The knobs of `Wavefolder`.
namespace Vantora::dsp::WavefolderKnobs {

using namespace Knobs;

/// Base of the module, so that its class names them too.
struct Indices {
  enum ParamIndex : uint32_t {
    kType,  ///< below 0.5 sine, else triangle
    kWet,
    kDrive,       ///< dB
    kOutputGain,  ///< dB
    kOverload,    ///< read-out
    kStereo,
    kUpsmp,
    kAntiAl,
    kAutoComp,
    kFeedbackOn,
    kGainStagingIn,   ///< dB
    kGainStagingOut,  ///< dB
  };
};
using ParamIndex = Indices::ParamIndex;
using enum Indices::ParamIndex;

inline constexpr const char* kTypes[] = {"sine", "triangle"};
inline constexpr const char* kGroup = "Distortion";

// clang-format off
inline constexpr auto kRows = std::to_array<Row>({
    {"Type", ToggleFromHalf(), {}, kNone, kAdvanced, kGroup, "Fold shape",
     "folds along a sine or along a triangle", kTypes},
    {"Wet", Plain(), {}, kRatio, kAdvanced, kGroup, "Fold wet", "mix of the folded and the plain signal"},
    {"Drive", Linear(-24, 24), {}, kDecibels, kMain, kGroup, "Fold drive", "gain into the folder"},
    {"OutputGain", Linear(-24, 24), {}, kDecibels, kAdvanced, kGroup, "Fold gain", "gain behind the folder"},
    {"Overload", Toggle(), {}, kNone, kReadOut, kGroup, "Fold overload",
     "1 while a block went above full scale", kOffOn},
    {"Stereo", Switch(), {}, kNone, kInternal, kGroup, "Fold stereo", "second channel", kOffOn},
    Row{"Upsmp", Switch(), {}, kNone, kAdvanced, kGroup, "Fold oversampling",
        "fold at twice the sample rate", kOffOn}.WithSymbol("oversampling"),
    Row{"AntiAl", Switch(), {}, kNone, kAdvanced, kGroup, "Fold anti-aliasing",
        "anti-aliasing of the triangle fold", kOffOn}.WithSymbol("anti_aliasing"),
    Row{"AutoComp", Switch(), {}, kNone, kAdvanced, kGroup, "Fold auto level",
        "keeps the level while the drive moves", kOffOn}.WithSymbol("auto_level"),
    {"eConfFeedbackOn", Switch(), {}, kNone, kInternal, kGroup, "Fold feedback ports",
     "configuration", kOffOn},
    {"ConfGainStagingIn", Linear(-24, 24), {}, kDecibels, kInternal, kGroup, "Fold staging in",
     "configuration"},
    {"ConfGainStagingOut", Linear(-24, 24), {}, kDecibels, kInternal, kGroup, "Fold staging out",
     "configuration"},
});
// clang-format on
static_assert(std::size(kRows) == kGainStagingOut + 1);

}  // namespace Vantora::dsp::WavefolderKnobs
