#pragma once

#include "basictools/knobs/KnobRow.h"

/// The knobs of `EnvFollower`.
namespace Vantora::dsp::EnvFollowerKnobs {

using namespace Knobs;

/// Base of the module, so that its class names them too.
struct Indices {
  enum ParamIndex : uint32_t {
    kAttack,     ///< s
    kRelease,    ///< s
    kRmsWindow,  ///< ms
    kFixedLinearGain,
    kStereoInput,
    kThreshold,  ///< dB
    kThresholdActive
  };
};
using ParamIndex = Indices::ParamIndex;
using enum Indices::ParamIndex;

inline constexpr const char* kGroup = "Meters";

// clang-format off
inline constexpr auto kRows = std::to_array<Row>({
    {"Attack", Linear(0.001f, 5), Value(0.005f), kSeconds, kInternal, kGroup, "Attack", "of the meter"},
    {"Release", Linear(0.001f, 5), Value(0.01f), kSeconds, kInternal, kGroup, "Release", "of the meter"},
    {"RMSWindowDurationMs", Linear(0, 100), Value(10), kMilliseconds, kInternal, kGroup, "Window",
     "of the meter"},
    {"FixedLinearGain", Linear(0, 100), Value(1.4142135f), kTimes, kInternal, kGroup, "Gain",
     "makes the RMS of a sine read as its peak"},
    {"StereoInput", Toggle(), {}, kNone, kInternal, kGroup, "Stereo", "averages two channels", kOffOn},
    {"Threshold", Linear(-120, 0), Value(-120), kDecibels, kInternal, kGroup, "Threshold",
     "of the meter's gate"},
    {"ThresholdActive", Toggle(), {}, kNone, kInternal, kGroup, "Gate", "the meter's gate", kOffOn},
});
// clang-format on
static_assert(std::size(kRows) == kThresholdActive + 1);

}  // namespace Vantora::dsp::EnvFollowerKnobs
