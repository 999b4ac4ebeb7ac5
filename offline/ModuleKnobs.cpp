#include "offline/ModuleKnobs.h"

#include <algorithm>
#include <utility>

#include "basictools/knobs/KnobSymbol.h"
#include "host/EditDistance.h"
#include "host/Format.h"
#include "host/HostError.h"

namespace Vantora::offline {

ModuleKnobs::ModuleKnobs(std::span<const Knobs::Row> rows, std::string itsKind, std::vector<uint32_t> canMove)
    : kind(std::move(itsKind)), movable(std::move(canMove)) {
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

bool ModuleKnobs::Has(std::string_view name) const {
  const std::string wanted = host::Lower(name);
  for (size_t i = 0; i < knobs.size(); ++i) {
    if (wanted == host::Lower(Name(i)) || wanted == symbols[i]) return true;
  }
  return false;
}

bool ModuleKnobs::CanMove(uint32_t index) const {
  if (!knobs[index].IsOffered()) return false;
  return movable.empty() || std::find(movable.begin(), movable.end(), index) != movable.end();
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
  throw host::HostError(
      host::Format("There is no parameter \"{}\"; the nearest is {}.", name, Name(nearest)));
}

void ModuleKnobs::Set(dsp::Module& module, std::string_view name, std::string_view text) const {
  const size_t index = Find(name);
  module.SetParam(static_cast<uint32_t>(index), knobs[index].Parse(text));
}

}  // namespace Vantora::offline
