#pragma once

#include "dsp/control/IGeneratorRows.h"

/// The knobs of `LFO`, behind those of `IGenerator`.
namespace Vantora::dsp::LFOKnobs {

using namespace Knobs;
using IGeneratorKnobs::kGroup;

/// Base of the module, so that its class names them too.
struct Indices {
  enum ParamIndex : uint32_t {
    kWaveform = IGeneratorKnobs::kOwnParameters,
    kAmp,
    kSmooth,  ///< seconds, or periods while linked
    kSmoothRateLinked,
    kFade,  ///< s
    kStereo,
    kStereoSpread,  ///< degrees
    kSnHStereoMode,
    kUnipolar,
    kCurrentPhaseFeedback,
    kCurrentValueLFeedback
  };
};
using ParamIndex = Indices::ParamIndex;
using enum Indices::ParamIndex;

inline constexpr const char* kWaveforms[] = {"sine",       "triangle", "falling saw",
                                             "rising saw", "square",   "sample and hold"};

// clang-format off
inline constexpr auto kOwnRows = std::to_array<Row>({
    {"Waveform", Steps(std::size(kWaveforms)), {}, kNone, kMain, kGroup, "Waveform", "waveform", kWaveforms},
    {"Amp", Plain(), Position(1), kRatio, kAdvanced, kGroup, "Depth", "depth of both amounts"},
    {"Smooth", Plain(), {}, kNone, kMain, kGroup, "Smoothing", "time of a low-pass"},
    {"SmoothRateLinked", Switch(), {}, kNone, kInternal, kGroup, "Linked smoothing", "configuration", kOffOn},
    {"Fade", Plain(), {}, kSeconds, kAdvanced, kGroup, "Fade-in", "fade-in after a restart"},
    {"Stereo", Toggle(), {}, kNone, kInternal, kGroup, "Stereo", "second channel; not connected", kOffOn},
    {"StereoSpread", Linear(0, 360), {}, kDegrees, kInternal, kGroup, "Stereo phase",
     "phase of the second channel"},
    Row{"SnHStereoMode", Switch(), {}, kNone, kInternal, kGroup, "Held stereo",
        "of the second channel"}.WithSymbol("held_stereo"),
    {"Unipolar", Toggle(), {}, kNone, kAdvanced, kGroup, "Unipolar", "0 to 1 in place of -1 to 1", kOffOn},
    {"CurrentPhaseFeedback", Plain(), {}, kNone, kReadOut, kGroup, "Phase", "phase"},
    {"CurrentValueLFeedback", Linear(-1, 1), {}, kNone, kReadOut, kGroup, "Value", "output"},
});
// clang-format on
static_assert(IGeneratorKnobs::kRows.size() + kOwnRows.size() == kCurrentValueLFeedback + 1);

/// By index.
inline constexpr auto kRows = Join(IGeneratorKnobs::kRows, kOwnRows);

}  // namespace Vantora::dsp::LFOKnobs
