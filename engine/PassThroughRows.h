#pragma once

#include "basictools/knobs/KnobRow.h"

/// The knob of `PassThrough`.
namespace Vantora::dsp::PassThroughKnobs {

using namespace Knobs;

// clang-format off
inline constexpr auto kRows = std::to_array<Row>({
    {"BypassUselessParam", Plain(), {}, kNone, kInternal, "", "Unused", "read by nobody"},
});
// clang-format on

}  // namespace Vantora::dsp::PassThroughKnobs
