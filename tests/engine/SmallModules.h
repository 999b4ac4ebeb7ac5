#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "engine/UnitModule.h"

namespace Vantora::test {

/// Probe: a module of the tests' own that counts what is done to it and writes a constant to its outputs.
class Probe : public dsp::UnitModule {
 public:
  static constexpr uint32_t kInputCount = 3, kOutputCount = 2, kParamCount = 2;

  explicit Probe(std::string text, float level = 1.0f)
      : UnitModule(std::move(text), kInputCount, kOutputCount, {"A", "B"}), output(level) {}

  void Configure(uint32_t maxBlockSize, float sampleRate) override {
    ++configures;
    configuredBlock = maxBlockSize;
    configuredRate = sampleRate;
  }
  void DoReset(bool hard) override {
    ++resets;
    lastResetHard = hard;
  }
  bool UpdateParams(dsp::ProcessContext& context) override {
    ++updates;
    sawDirtyA = IsDirty(0);
    sawChanged = IsChanged();
    control = context.LiveControl(2) != nullptr ? context.LiveControl(2)[0] : 0.0f;
    return runs;
  }
  uint32_t DoProcess(dsp::ProcessContext& context) override {
    ++blocks;
    inputCount = context.inputCount;
    outputCount = context.outputCount;
    for (uint32_t port = 0; port < 2; ++port) {
      if (float* out = context.Output(port)) {
        for (uint32_t i = 0; i < context.sampleCount; ++i) out[i] = output;
      }
    }
    return 1;
  }
  void Shutdown() override { ++shutdowns; }

  float output;
  bool runs = true;
  int configures = 0, resets = 0, updates = 0, blocks = 0, shutdowns = 0;
  bool lastResetHard = false, sawDirtyA = false, sawChanged = false;
  uint32_t configuredBlock = 0, inputCount = 0, outputCount = 0;
  float configuredRate = 0.0f, control = 0.0f;
};

/// Ports and a context for a block of `samples`, all on the heap before any guard stands.
struct Block {
  Block(uint32_t inputs, uint32_t outputs, uint32_t samples, float inputLevel = 0.0f)
      : in(inputs, std::vector<float>(samples + 4, inputLevel)),
        out(outputs, std::vector<float>(samples + 4, -9.0f)) {
    for (auto& port : in) inputPointers.push_back(port.data() + 4);
    for (auto& port : out) outputPointers.push_back(port.data() + 4);
    context = context.WithPorts(inputPointers, outputPointers);
    context.sampleCount = samples;
  }
  float* In(uint32_t port) { return inputPointers[port]; }
  float* Out(uint32_t port) { return outputPointers[port]; }

  std::vector<std::vector<float>> in, out;
  std::vector<float*> inputPointers, outputPointers;
  dsp::ProcessContext context;
};

/// A parameter's full name.
inline std::string NameOf(dsp::Module& module, uint32_t index) {
  char text[256];
  dsp::NameBuilder builder(text, sizeof(text));
  module.AppendParamName(index, builder);
  return text;
}

}  // namespace Vantora::test
