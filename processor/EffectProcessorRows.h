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

// clang-format off
inline constexpr auto kOwnRows = std::to_array<Row>({
    {"Bypass", Switch(), {}, kNone, kMain, "Output", "Bypass", "fades to the dry signal in 10 ms", kOffOn},
    {"Panic", Switch(), {}, kNone, kCommand, "Commands", "Panic", "from 0.5: everything starts anew", kOffOn},
    {"PresetLoading", Switch(), {}, kNone, kCommand, "Commands", "Preset loading",
     "falls when a preset has been written", kOffOn},
    {"GUI Visible", Switch(), {}, kNone, kInternal, "Commands", "Window visible", "read by nobody", kOffOn},
    {"OutputGain", Linear(-12, 12), {}, kDecibels, kMain, "Output", "Output gain",
     "final gain, wet and mixed dry together"},
});
// clang-format on
static_assert(kOwnRows.size() == kFrameParamCount);

}  // namespace Vantora::Processor::EffectProcessorKnobs
