#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

#include "engine/ProcessContext.h"

namespace Vantora::dsp::test {

/// A module with a buffer on every port, run block by block.
/// Ports can be taken away and controls be made live.
template <typename Effect>
class EffectRig {
 public:
  template <typename... Args>
  explicit EffectRig(uint32_t blockSize = 48, float sampleRate = 48000.0f, Args&&... args)
      : effect("Effect", std::forward<Args>(args)...), block(blockSize) {
    effect.Init(block, sampleRate);
    for (uint32_t port = 0; port < Effect::kInputCount; ++port) {
      inputBuffers[port].assign(block + 1, 0.0f);
      inputs[port] = inputBuffers[port].data() + 1;  // the live mark stands in front
    }
    for (uint32_t port = 0; port < Effect::kOutputCount; ++port) {
      outputBuffers[port].assign(block, 0.0f);
      outputs[port] = outputBuffers[port].data();
    }
    context.inputs = inputs.data();
    context.outputs = outputs.data();
    context.inputCount = Effect::kInputCount;
    context.outputCount = Effect::kOutputCount;
  }

  void Set(uint32_t index, float value) { effect.SetParamInternal(index, value); }

  void MakeLive(uint32_t port, float value) {
    inputs[port][-1] = kLiveMark;
    inputs[port][0] = value;
  }

  /// One block of what stands in the buffers.
  uint32_t Process(uint32_t count) {
    context.sampleCount = count;
    return effect.Process(context);
  }
  uint32_t Process() { return Process(block); }

  /// `source(i)` through channel 0 for `count` samples, a multiple of the block size.
  template <typename Source>
  std::vector<float> Run(uint32_t count, Source&& source) {
    std::vector<float> result;
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

  Effect effect;
  uint32_t block;
  std::array<std::vector<float>, std::max(Effect::kInputCount, 1u)> inputBuffers;
  std::array<std::vector<float>, Effect::kOutputCount> outputBuffers;
  std::array<float*, std::max(Effect::kInputCount, 1u)> inputs{};
  std::array<float*, Effect::kOutputCount> outputs{};
  ProcessContext context;
};

/// Power of `x` at whole bin `bin` of its length, as the square of an amplitude over 2.
inline double PowerAt(const std::vector<float>& x, uint32_t bin) {
  const double w = 2.0 * std::numbers::pi * bin / static_cast<double>(x.size());
  double re = 0.0, im = 0.0;
  for (std::size_t i = 0; i < x.size(); ++i) {
    re += x[i] * std::cos(w * static_cast<double>(i));
    im += x[i] * std::sin(w * static_cast<double>(i));
  }
  const double scale = 1.0 / static_cast<double>(x.size());
  return (bin == 0 ? 1.0 : 2.0) * (re * re + im * im) * scale * scale;
}

inline double MeanSquare(const std::vector<float>& x) {
  double sum = 0.0;
  for (const float v : x) sum += static_cast<double>(v) * v;
  return sum / static_cast<double>(x.size());
}

/// Level in dB of what lies on none of the harmonics of `bin`, against what lies on them: the aliases of a
/// distorted sine whose period fits the buffer.
inline double AliasDb(const std::vector<float>& x, uint32_t bin) {
  double harmonics = 0.0;
  for (uint32_t k = bin; k <= x.size() / 2; k += bin) harmonics += PowerAt(x, k);
  const double aliases = MeanSquare(x) - PowerAt(x, 0) - harmonics;
  return 10.0 * std::log10(std::max(aliases, 1e-20) / harmonics);
}

}  // namespace Vantora::dsp::test
