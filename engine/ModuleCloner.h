#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "engine/ChildModule.h"
#include "engine/Module.h"
#include "engine/ParamStore.h"

namespace Vantora::engine {

/// How clones share ports and parameters. Only one way exists: every clone has its own slice of the ports,
/// and all clones get every parameter.
enum class ClonerMode : uint32_t { kOwnPortsSharedParams = 0 };

/// ModuleCloner: N copies of one module that look like one module with that module's parameters.
///
/// A value written to the cloner goes to all clones at once; the parent can then give one clone a value of
/// its own through `Clone(i)`, or run the clones one by one. The cloner's own records mirror what was written
/// last and are never read by the signal path. A fan-out isn't atomic: a block on another thread can see some
/// clones with the new value, the next block sees them all.
template <typename T, uint32_t N, ClonerMode Mode, uint32_t K>
class ModuleCloner : public dsp::Module {
  static_assert(ChildModule<T>,
                "a clone is a module with kParamCount and SetParamInternal, as a container's child");
  static_assert(StatesItsInputs<T> && StatesItsOutputs<T>,
                "a clone says as kInputCount and kOutputCount how many ports it wants");
  static_assert(ShowsItsRecords<T>,
                "a clone shows its records as Param(index): the mirror is copied from them");
  static_assert(Mode == ClonerMode::kOwnPortsSharedParams && K == 0,
                "clones have ports of their own and share their parameters; no other form is written");

 public:
  static constexpr uint32_t kCloneCount = N;
  static constexpr uint32_t kInputCount = N * T::kInputCount;
  static constexpr uint32_t kOutputCount = N * T::kOutputCount;
  static constexpr uint32_t kParamCount = T::kParamCount;

  /// `makeClone(i)` returns clone i. The mirror is copied from clone 0 once that has been configured.
  template <typename MakeClone>
  ModuleCloner(std::string moduleName, const std::array<uint64_t, 2>& reserved, MakeClone&& makeClone)
      : ModuleCloner(std::move(moduleName), reserved, makeClone, std::make_integer_sequence<uint32_t, N>{}) {}

  void Init(uint32_t maxBlockSize, float sampleRate) override {
    for (T& clone : clones) clone.Init(maxBlockSize, sampleRate);
    Module::Init(maxBlockSize, sampleRate);
    SetDirty(true);
  }

  void Shutdown() override {
    for (T& clone : clones) clone.Shutdown();
  }

  void ResetState(bool hard) override {
    for (T& clone : clones) clone.ResetState(hard);
    Module::ResetState(hard);
    if (hard) SetDirty(true);
  }

  /// False, and nothing written, at or beyond the end of the records.
  bool SetParam(uint32_t index, float normalized) override {
    if (index >= store.Count()) return false;
    for (T& clone : clones) clone.SetParam(index, normalized);
    if (store.dirtyFlags[index] == 0)
      store.dirtyFlags[index] = store.params[index].GetNormalized() != normalized;
    store.params[index].SetNormalized(normalized);
    return true;
  }

  /// The mirror's position; the index isn't checked.
  float GetParam(uint32_t index) override { return store.params[index].GetNormalized(); }

  void AppendParamName(uint32_t index, dsp::NameBuilder& builder) override {
    builder.AppendPrefix(name);
    if (index < kParamCount) {
      clones[0].AppendParamName(index, builder);
    } else {
      builder.Append(store.params[index].GetName());
    }
  }

  void Configure(uint32_t, float) override {}
  void DoReset(bool) override {}
  bool UpdateParams(dsp::ProcessContext&) override { return true; }

  /// All of the mirror's flags, with no shortcut; the summary flag stays.
  void SetDirty(bool flag) override {
    for (auto& dirty : store.dirtyFlags) dirty = flag ? 1 : 0;
  }

  /// Runs every clone on its slice of the ports: all of them must be there. 1 when no clone was skipped.
  uint32_t DoProcess(dsp::ProcessContext& context) override {
    if (context.inputCount != kInputCount || context.outputCount != kOutputCount) return 0;
    if (context.inputs == nullptr || context.outputs == nullptr) __builtin_trap();
    uint32_t all = 1;
    for (uint32_t i = 0; i < N; ++i) {
      dsp::ProcessContext slice = context.WithPorts({context.inputs + i * T::kInputCount, T::kInputCount},
                                                    {context.outputs + i * T::kOutputCount, T::kOutputCount});
      all &= clones[i].Process(slice) != 0 ? 1u : 0u;
    }
    return all;
  }

  /// Write from inside the tree, in the parameter's own unit.
  /// Not virtual: a cloner's table ends with `DoProcess`.
  bool SetParamInternal(uint32_t index, float value) {
    if (index >= store.Count()) return false;
    for (T& clone : clones) clone.SetParamInternal(index, value);
    store.SetValue(index, value);
    return true;
  }

  /// One clone alone, for the parent's per-voice work.
  T& Clone(uint32_t i) { return clones[i]; }

  /// The mirror's record, for parents and tests.
  dsp::ParamRecord& Param(uint32_t index) { return store.params[index]; }

  uint8_t reservedFlag = 1;              ///< read by nothing
  std::array<uint64_t, 2> reservedPair;  ///< read by nothing

 private:
  template <typename MakeClone, uint32_t... Index>
  ModuleCloner(std::string text, const std::array<uint64_t, 2>& reserved, MakeClone& makeClone,
               std::integer_sequence<uint32_t, Index...>)
      : Module(std::move(text), kInputCount, kOutputCount),
        reservedPair(reserved),
        clones{{makeClone(Index)...}} {
    std::vector<dsp::ParamRecord> mirror;
    mirror.reserve(kParamCount);
    for (uint32_t i = 0; i < kParamCount; ++i) {
      mirror.push_back(clones[0].Param(i));
      for (T& clone : clones) clone.Param(i).ShareDeclaration(mirror[i]);  // made alike
    }
    store = dsp::ParamStore(std::move(mirror));
  }

  std::array<T, N> clones;
  dsp::ParamStore store;
};

}  // namespace Vantora::engine
