#pragma once

#include <concepts>
#include <cstdint>
#include <type_traits>

#include "engine/Module.h"
#include "engine/ParamRecord.h"

/// What containers, cloners and variants ask of the modules that they hold by value. Each demand has a name,
/// which a compiler's message tells.
namespace Vantora::engine {

/// It derives from `dsp::Module` and leaves no operation pure.
template <typename T>
concept IsAWholeModule = std::derived_from<T, dsp::Module> && !std::is_abstract_v<T>;

/// It says as `kParamCount` how many flat indices are its own.
template <typename T>
concept StatesItsParamCount = requires {
  std::integral_constant<uint32_t, T::kParamCount>{};
};

/// It says as `kInputCount` how many inputs it wants.
template <typename T>
concept StatesItsInputs = requires {
  std::integral_constant<uint32_t, T::kInputCount>{};
};

/// It says as `kOutputCount` how many outputs it wants.
template <typename T>
concept StatesItsOutputs = requires {
  std::integral_constant<uint32_t, T::kOutputCount>{};
};

/// It takes values in the parameter's own unit from inside the tree, as `SetParamInternal`.
template <typename T>
concept TakesValuesFromInside = requires(T& module, uint32_t index, float value) {
  module.SetParamInternal(index, value);
};

/// It shows its records, as `Param`.
template <typename T>
concept ShowsItsRecords = requires(T& module, uint32_t index) {
  { module.Param(index) } -> std::same_as<dsp::ParamRecord&>;
};

/// A child of `ModuleContainer`.
template <typename T>
concept ChildModule = IsAWholeModule<T> && StatesItsParamCount<T> && TakesValuesFromInside<T>;

/// What `ModuleCloner` makes copies of: the mirror is copied from the first one's records.
template <typename T>
concept ClonableModule = ChildModule<T> && StatesItsInputs<T> && StatesItsOutputs<T> && ShowsItsRecords<T>;

/// An alternative of `ModuleVariant` with `AudioPorts` shared ports: its control ports stand behind those.
template <typename T, uint32_t AudioPorts>
concept AlternativeModule = ChildModule<T> && StatesItsInputs<T> &&(T::kInputCount >= AudioPorts);

}  // namespace Vantora::engine
