#pragma once

#include "basictools/knobs/KnobRow.h"

/// The knobs that the frame of `EffectProcessor` adds behind those of its children.
namespace Vantora::Processor::EffectProcessorKnobs {

using namespace Knobs;

/// Base of the module, so that its class names them too.
struct Indices {
  /// Positions in the own list; a product's own follow.
  enum OwnParam : uint32_t { kBypass, kPanic, kPresetLoading, kGuiVisible, kOutputGain, kFrameParamCount };
};
using OwnParam = Indices::OwnParam;
using enum Indices::OwnParam;

inline constexpr auto kOwnRows = std::to_array<Row>({
    {"Bypass",
     Switch(),
     {},
     Unit::kNone,
     Role::kMain,
     "Output",
     "Bypass",
     "fades to the dry signal in 10 ms",
     kOffOn},
    {"Panic",
     Switch(),
     {},
     Unit::kNone,
     Role::kCommand,
     "Commands",
     "Panic",
     "from 0.5: everything starts anew",
     kOffOn},
    {"PresetLoading",
     Switch(),
     {},
     Unit::kNone,
     Role::kCommand,
     "Commands",
     "Preset loading",
     "falls when a preset has been written",
     kOffOn},
    {"GUI Visible",
     Switch(),
     {},
     Unit::kNone,
     Role::kInternal,
     "Commands",
     "Window visible",
     "read by nobody",
     kOffOn},
    {"OutputGain",
     Linear(-12, 12),
     {},
     Unit::kDecibels,
     Role::kMain,
     "Output",
     "Output gain",
     "final gain, wet and mixed dry together"},
});
static_assert(kOwnRows.size() == kFrameParamCount);

}  // namespace Vantora::Processor::EffectProcessorKnobs
