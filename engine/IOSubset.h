#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "engine/ProcessContext.h"

namespace Vantora::engine {

/// IOSubset: a module with more ports than its parent offers, seen with I inputs and O outputs. The inner
/// module keeps its own port counts and finds null pointers on the ports that aren't exposed.
template <typename T, uint32_t I, uint32_t O>
class IOSubset : public T {
  static_assert(I <= T::kInputCount && O <= T::kOutputCount);
  static constexpr uint32_t kInnerInputs = T::kInputCount;
  static constexpr uint32_t kInnerOutputs = T::kOutputCount;

 public:
  static constexpr uint32_t kInputCount = I;
  static constexpr uint32_t kOutputCount = O;

  template <typename... Args>
  explicit IOSubset(Args&&... args) : T(std::forward<Args>(args)...) {
    this->inputPortCount = I;
    this->outputPortCount = O;
  }

  bool UpdateParams(dsp::ProcessContext& context) override {
    Widened inner(context);
    return T::UpdateParams(inner.context);
  }

  uint32_t DoProcess(dsp::ProcessContext& context) override {
    Widened inner(context);
    return T::DoProcess(inner.context);
  }

 private:
  struct Widened {
    explicit Widened(const dsp::ProcessContext& outer) {
      std::copy_n(outer.inputs, std::min(outer.inputCount, I), inputs.begin());
      std::copy_n(outer.outputs, std::min(outer.outputCount, O), outputs.begin());
      context = outer.WithPorts(inputs, outputs);
    }
    std::array<float*, kInnerInputs> inputs{};
    std::array<float*, kInnerOutputs> outputs{};
    dsp::ProcessContext context;
  };
};

}  // namespace Vantora::engine
