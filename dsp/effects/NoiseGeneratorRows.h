#pragma once

#include "basictools/knobs/KnobRow.h"

/// The knobs of `NoiseGenerator`.
namespace Vantora::dsp::NoiseGeneratorKnobs {

using namespace Knobs;

/// Base of the module, so that its class names them too.
struct Indices {
  enum ParamIndex : uint32_t { kNoiseType, kNoiseColor };
};
using ParamIndex = Indices::ParamIndex;
using enum Indices::ParamIndex;

inline constexpr const char* kTypes[] = {"violet", "white", "pink", "brown", "dark", "variable"};
inline constexpr const char* kGroup = "Noise";

// clang-format off
inline constexpr auto kRows = std::to_array<Row>({
    {"NoiseType", Steps(std::size(kTypes)), {}, kNone, kMain, kGroup, "Colour", "colour", kTypes},
    {"NoiseColor", Plain(), {}, kRatio, kMain, kGroup, "Variable colour",
     "of the variable colour: 0 brown to 1 violet"},
});
// clang-format on
static_assert(std::size(kRows) == kNoiseColor + 1);

}  // namespace Vantora::dsp::NoiseGeneratorKnobs
