#pragma once

#include <string>
#include <vector>

#include "engine/Module.h"
#include "engine/ParamRecord.h"

namespace Vantora::cli {

/// ModuleKnob: what a user is told of one parameter of a module, beside what its record says itself.
struct ModuleKnob {
  const char* unit = "";              ///< "Hz", "dB", "ms", "s" or nothing
  const char* use = "";               ///< one line
  std::vector<std::string> labels{};  ///< names of a stepped parameter's values, if they have any
};

/// ModuleSettings: NAME=VALUE for the parameters of any module of the library.
class ModuleSettings {
 public:
  /// `records[i]` and `knobs[i]` belong to the module's parameter i. A missing knob has no unit and no use.
  ModuleSettings(dsp::Module& module, std::vector<dsp::ParamRecord*> records, std::vector<ModuleKnob> knobs);

  /// The same for a module with `kParamCount` and `Param(index)`.
  template <typename AnyModule>
  static ModuleSettings Of(AnyModule& module, std::vector<ModuleKnob> knobs) {
    std::vector<dsp::ParamRecord*> records;
    for (uint32_t i = 0; i < AnyModule::kParamCount; ++i) records.push_back(&module.Param(i));
    return ModuleSettings(module, std::move(records), std::move(knobs));
  }

  /// Writes "NAME=VALUE": the name in any case, the value in the parameter's unit with or without it, as one
  /// of the labels, or as "norm:0.5". Throws UsageError, with the nearest names for an unknown one.
  void Set(const std::string& assignment);
  /// `Set` for each, in their order.
  void SetAll(const std::vector<std::string>& assignments);

  /// Prints name, value, range and use of every parameter.
  void Print() const;

 private:
  size_t Find(const std::string& name) const;
  float ParseNormalized(size_t index, const std::string& text) const;
  std::string RangeText(size_t index) const;
  std::string ValueText(size_t index, float value) const;

  dsp::Module& module;
  std::vector<dsp::ParamRecord*> records;
  std::vector<ModuleKnob> knobs;
};

}  // namespace Vantora::cli
