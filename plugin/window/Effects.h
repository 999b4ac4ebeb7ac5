#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "plugin/core/WindowModel.h"

namespace Vantora::plugin {

/// EffectInfo: what the face knows of one effect beside its parameters: which two knobs are its own, under
/// which short names, and how its axis is ticked.
struct EffectInfo {
  struct Tick {
    float value;  ///< in the first knob's unit
    const char* text;
  };
  std::string name;          ///< for people
  std::string_view primary;  ///< the parameter that is fanned out and modulated; empty for "off"
  std::string primaryName;   ///< "Cutoff"
  std::string_view secondary;
  std::string secondaryName;
  std::vector<Tick> ticks;
  std::string note;  ///< one line on what it does
};

/// The value of a stepped parameter, which `index` names, as a whole number.
uint32_t StepOf(const WindowModel& model, uint32_t index);
/// All six, in the order of "FXType".
std::span<const EffectInfo> Effects();
/// The chosen one, and its number.
uint32_t CurrentEffectNumber(const WindowModel& model);
const EffectInfo& CurrentEffect(const WindowModel& model);
/// "Voices", 1 to 8.
uint32_t VoicesAsked(const WindowModel& model);

}  // namespace Vantora::plugin
