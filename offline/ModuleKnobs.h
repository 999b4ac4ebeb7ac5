#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "engine/Module.h"
#include "host/KnobSet.h"

namespace Vantora::offline {

/// KnobNote: what a user is told of one parameter of a module.
struct KnobNote {
  std::string unit;                 ///< "Hz", "dB", "ms", "s" or nothing
  std::string use;                  ///< one line
  std::vector<std::string> labels;  ///< names of a stepped parameter's values, if they have any
};

/// ModuleKnobs: the parameters of one module of the library by their names, with values as people write
/// them. Made from the module's rows: knows no module.
class ModuleKnobs final : public host::KnobSet {
 public:
  /// `rows` are the module's, by index; `kind` names it in its presets. An automation moves the knobs in
  /// `movable`, or all where that is empty.
  explicit ModuleKnobs(std::span<const Knobs::Row> rows, std::string kind = "",
                       std::vector<uint32_t> movable = {});

  std::string_view Kind() const override { return kind; }
  uint32_t Count() const override { return static_cast<uint32_t>(knobs.size()); }
  const host::Knob& KnobAt(uint32_t index) const override { return knobs[index]; }
  bool Has(std::string_view name) const override;
  uint32_t IndexOf(std::string_view name) const override { return static_cast<uint32_t>(Find(name)); }
  bool IsStored(uint32_t index) const override { return knobs[index].IsOffered(); }
  bool CanMove(uint32_t index) const override;

  size_t Size() const { return knobs.size(); }
  const host::Knob& operator[](size_t index) const { return knobs[index]; }
  const std::string& Name(size_t index) const { return knobs[index].FullName(); }
  KnobNote Note(size_t index) const;
  float Minimum(size_t index) const { return knobs[index].Minimum(); }   ///< in the unit
  float Maximum(size_t index) const { return knobs[index].Maximum(); }   ///< in the unit
  float Start(size_t index) const { return knobs[index].StartValue(); }  ///< in the unit
  /// "20 ms", "on": a value in the unit, for people.
  std::string ValueText(size_t index, float value) const;
  /// "0 ms to 500 ms", or the labels.
  std::string RangeText(size_t index) const { return knobs[index].RangeText(); }

  /// The parameter of this name or symbol, in any case. Throws host::HostError with the nearest name.
  size_t Find(std::string_view name) const;
  /// The value, in the unit, of a text: a number with the unit or without, one of the labels, or "norm:0.5".
  /// Throws host::HostError for what is no value or lies outside the range.
  float Parse(size_t index, std::string_view text) const { return knobs[index].ParseToValue(text); }
  /// Writes a value to a module of the kind that the rows belong to. Throws host::HostError.
  void Set(dsp::Module& module, std::string_view name, std::string_view value) const;

 private:
  std::vector<host::Knob> knobs;
  std::vector<std::string> symbols;
  std::string kind;
  std::vector<uint32_t> movable;  // empty: all
};

}  // namespace Vantora::offline
