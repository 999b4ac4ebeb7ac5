#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "engine/Module.h"
#include "engine/ProcessContext.h"
#include "tests/support/Signals.h"

namespace Vantora::test {

/// ModuleRig: a module with a buffer on every port, run block by block. All ports are connected, control
/// ports not live; a test takes a port away by nulling its entry.
class ModuleRig {
 public:
  ModuleRig(dsp::Module& subject, uint32_t inputCount, uint32_t outputCount, float sampleRate = 48000.0f,
            uint32_t blockSize = 48)
      : block(blockSize),
        inputBuffers(inputCount, Samples(blockSize + 1)),  // the live mark stands in front
        outputBuffers(outputCount, Samples(blockSize)),
        module(subject) {
    for (Samples& port : inputBuffers) inputs.push_back(port.data() + 1);
    for (Samples& port : outputBuffers) outputs.push_back(port.data());
    module.Init(block, sampleRate);
  }
  ModuleRig(const ModuleRig&) = delete;

  /// Makes control port `port` live with this value.
  void MakeLive(uint32_t port, float value) {
    std::fill(inputBuffers[port].begin(), inputBuffers[port].end(), value);
    inputBuffers[port][0] = dsp::kLiveMark;
    inputs[port] = inputBuffers[port].data() + 1;
  }

  /// One block of what stands in the buffers, with the transport that stands in `context`.
  uint32_t Process(uint32_t count) {
    context = context.WithPorts(inputs, outputs);
    context.sampleCount = count;
    return module.Process(context);
  }
  uint32_t Process() { return Process(block); }

  /// The same signal on both audio inputs; returns output `port`.
  Samples Run(const Samples& signal, uint32_t port = 0) { return Run(signal, signal, port); }

  Samples Run(const Samples& left, const Samples& right, uint32_t port = 0) {
    Samples result(left.size());
    for (std::size_t at = 0; at < left.size(); at += block) {
      const auto count = static_cast<uint32_t>(std::min<std::size_t>(block, left.size() - at));
      std::copy_n(left.begin() + static_cast<std::ptrdiff_t>(at), count, inputs[0]);
      if (inputs.size() > 1) std::copy_n(right.begin() + static_cast<std::ptrdiff_t>(at), count, inputs[1]);
      Process(count);
      std::copy_n(outputs[port], count, result.begin() + static_cast<std::ptrdiff_t>(at));
    }
    return result;
  }

  /// `source(i)` through input 0 for `count` samples, a multiple of the block size.
  template <typename Source>
  Samples Run(uint32_t count, Source&& source) {
    Samples result;
    result.reserve(count);
    while (result.size() < count) {
      for (uint32_t i = 0; i < block; ++i) {
        inputs[0][i] = static_cast<float>(source(static_cast<uint32_t>(result.size()) + i));
      }
      Process();
      result.insert(result.end(), outputs[0], outputs[0] + block);
    }
    return result;
  }

  uint32_t block;
  std::vector<Samples> inputBuffers;
  std::vector<Samples> outputBuffers;
  std::vector<float*> inputs;
  std::vector<float*> outputs;
  dsp::ProcessContext context;

 private:
  dsp::Module& module;
};

namespace details {
template <typename Effect>
struct Owned {
  template <typename... Args>
  explicit Owned(Args&&... args) : effect("Effect", std::forward<Args>(args)...) {}
  Effect effect;
};
}  // namespace details

/// A rig that owns its module and knows how many ports it has.
template <typename Effect>
class EffectRig : public details::Owned<Effect>, public ModuleRig {
 public:
  template <typename... Args>
  explicit EffectRig(uint32_t blockSize = 48, float sampleRate = 48000.0f, Args&&... args)
      : details::Owned<Effect>(std::forward<Args>(args)...),
        ModuleRig(this->effect, Effect::kInputCount, Effect::kOutputCount, sampleRate, blockSize) {}

  void Set(uint32_t index, float value) { this->effect.SetParamInternal(index, value); }
};

}  // namespace Vantora::test
