#include "offline/ModuleKnobs.h"

#include <fmt/format.h>

#include "basictools/knobs/KnobSymbol.h"
#include "host/EditDistance.h"
#include "host/HostError.h"

namespace Vantora::offline {

ModuleKnobs::ModuleKnobs(std::span<const Knobs::Row> rows) {
  for (const Knobs::Row& row : rows) {
    knobs.emplace_back(row.name, row);
    symbols.push_back(Knobs::SymbolOf(row));
  }
}

KnobNote ModuleKnobs::Note(size_t index) const {
  const host::Knob& knob = knobs[index];
  return {std::string(host::UnitName(knob.GetUnit())), std::string(knob.Note()), knob.Labels()};
}

std::string ModuleKnobs::ValueText(size_t index, float value) const {
  return knobs[index].Text(knobs[index].ToNormalized(value));
}

size_t ModuleKnobs::Find(std::string_view name) const {
  const std::string wanted = host::Lower(name);
  size_t nearest = 0, least = SIZE_MAX;
  for (size_t i = 0; i < knobs.size(); ++i) {
    const size_t distance = host::EditDistance(wanted, host::Lower(Name(i)));
    if (distance == 0 || wanted == symbols[i]) return i;
    if (distance < least) {
      least = distance;
      nearest = i;
    }
  }
  throw host::HostError(fmt::format("There is no parameter \"{}\"; the nearest is {}.", name, Name(nearest)));
}

void ModuleKnobs::Set(dsp::Module& module, std::string_view name, std::string_view text) const {
  const size_t index = Find(name);
  module.SetParam(static_cast<uint32_t>(index), knobs[index].Parse(text));
}

}  // namespace Vantora::offline
