#include "cli/modules/ModuleEffect.h"

#include <algorithm>
#include <cmath>

#include "basictools/FlushDenormals.h"

namespace Vantora::cli {

uint32_t ModuleBlockSize(int rate) {
  return std::max(4u, 4u * static_cast<uint32_t>(std::lround(rate * 11.0 / 44100.0)));
}

ModuleEffect::ModuleEffect(std::unique_ptr<dsp::Module> itsModule, double gap)
    : module(std::move(itsModule)), longestGap(gap) {}

ModuleEffect::~ModuleEffect() { module->Shutdown(); }

void ModuleEffect::Start(int rate, int inputChannels, int outputChannels) {
  blockSize = ModuleBlockSize(rate);
  inputCount = static_cast<uint32_t>(inputChannels);
  outputCount = static_cast<uint32_t>(outputChannels);
  storage.assign(4 * size_t{blockSize}, 0.0f);
  for (size_t i = 0; i < 2; ++i) {
    input[i] = storage.data() + i * blockSize;
    output[i] = storage.data() + (2 + i) * blockSize;
  }
  fill = 0;
  nonFinite = 0;
  module->Init(blockSize, static_cast<float>(rate));
}

void ModuleEffect::RunBlock() {
  // A mono input leaves the second port unconnected; both outputs are there whether they are wanted or not.
  std::array<float*, 2> inputs{input[0], inputCount == 2 ? input[1] : nullptr};
  dsp::ProcessContext context;
  context.inputs = inputs.data();
  context.inputCount = 2;
  context.outputs = output.data();
  context.outputCount = 2;
  context.sampleCount = blockSize;
  context.tempo = 120.0f;
  context.isPlaying = 1;
  context.modeIsOne = 1;
  const FlushDenormals guard;
  module->Process(context);
}

void ModuleEffect::Feed(const float* const* inputs, size_t frames, const Sink& sink) {
  for (size_t at = 0; at < frames;) {
    const auto count = static_cast<uint32_t>(std::min<size_t>(blockSize - fill, frames - at));
    for (uint32_t c = 0; c < inputCount; ++c) {
      for (uint32_t i = 0; i < count; ++i) {
        float x = inputs == nullptr ? 0.0f : inputs[c][at + i];
        if (!std::isfinite(x)) {
          x = 0.0f;
          ++nonFinite;
        }
        input[c][fill + i] = x;
      }
    }
    fill += count;
    at += count;
    if (fill < blockSize) continue;
    RunBlock();
    sink(output.data(), blockSize);
    fill = 0;
  }
}

void ModuleEffect::Finish(const Sink& sink) {
  if (fill == 0) return;
  for (float* channel : input) std::fill(channel + fill, channel + blockSize, 0.0f);
  RunBlock();
  sink(output.data(), fill);
  fill = 0;
}

}  // namespace Vantora::cli
