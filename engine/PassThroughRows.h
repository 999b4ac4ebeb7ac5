#pragma once

#include "basictools/knobs/KnobRow.h"

/// The knob of `PassThrough`.
namespace Vantora::dsp::PassThroughKnobs {

using namespace Knobs;

inline constexpr auto kRows = std::to_array<Row>({
    {"BypassUselessParam", Plain(), {}, Unit::kNone, Role::kInternal, "", "Unused", "read by nobody"},
});

}  // namespace Vantora::dsp::PassThroughKnobs
