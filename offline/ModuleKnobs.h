#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "engine/Module.h"
#include "engine/ParamRecord.h"

namespace Vantora::offline {

/// KnobNote: what a user is told of one parameter of a module, beside what its record says itself.
struct KnobNote {
  const char* unit = "";              ///< "Hz", "dB", "ms", "s" or nothing
  const char* use = "";               ///< one line
  std::vector<std::string> labels{};  ///< names of a stepped parameter's values, if they have any
};

/// ModuleKnobs: the parameters of one module of the library by their names, with values as people write
/// them. A copy of the records: knows no module.
class ModuleKnobs {
 public:
  /// `records[i]` and `notes[i]` belong to the module's parameter i. A missing note has no unit and no use.
  ModuleKnobs(std::vector<dsp::ParamRecord> records, std::vector<KnobNote> notes);

  /// The same for a module with `kParamCount` and `Param(index)`, with the values that it has now.
  template <typename AnyModule>
  static ModuleKnobs Of(AnyModule& module, std::vector<KnobNote> notes) {
    std::vector<dsp::ParamRecord> records;
    for (uint32_t i = 0; i < AnyModule::kParamCount; ++i) records.push_back(module.Param(i));
    return ModuleKnobs(std::move(records), std::move(notes));
  }

  size_t Size() const { return records.size(); }
  const std::string& Name(size_t index) const { return records[index].GetName(); }
  const KnobNote& Note(size_t index) const { return notes[index]; }
  float Minimum(size_t index) const { return records[index].GetMinimum(); }  ///< in the unit
  float Maximum(size_t index) const { return records[index].GetMaximum(); }  ///< in the unit
  float Start(size_t index) const;                                           ///< in the unit
  /// "20 ms", "on": a value in the unit, for people.
  std::string ValueText(size_t index, float value) const;
  /// "0 ms to 500 ms", or the labels.
  std::string RangeText(size_t index) const;

  /// The parameter of this name, in any case. Throws host::HostError with the nearest name.
  size_t Find(std::string_view name) const;
  /// The value, in the unit, of a text: a number with the unit or without, one of the labels, or "norm:0.5".
  /// Throws host::HostError for what is no value or lies outside the range.
  float Parse(size_t index, std::string_view text) const;
  /// Writes a value to a module of the kind that the records came from. Throws host::HostError.
  void Set(dsp::Module& module, std::string_view name, std::string_view value) const;

 private:
  /// A text's number: in the unit, or a position 0 to 1.
  struct Number {
    double value;
    bool isPosition;
  };
  Number Read(size_t index, std::string_view text) const;

  std::vector<dsp::ParamRecord> records;
  std::vector<KnobNote> notes;
};

}  // namespace Vantora::offline
