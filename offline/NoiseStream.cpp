#include "offline/NoiseStream.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "basictools/FlushDenormals.h"
#include "basictools/math/SeedHash.h"
#include "offline/ModuleEffect.h"
#include "offline/ModuleKnobs.h"

namespace Vantora::offline {

std::vector<std::string> NoiseStream::Colors() {
  return {std::begin(dsp::NoiseGeneratorKnobs::kTypes), std::end(dsp::NoiseGeneratorKnobs::kTypes)};
}

NoiseStream::NoiseStream(const NoiseSettings& settings)
    : blockSize(ModuleBlockSize(settings.rate)),
      gain(static_cast<float>(std::pow(10.0, settings.gainDb / 20.0))) {
  for (int channel = 0; channel < settings.channels; ++channel) {
    // Hashed, so that neighbouring numbers and channels have nothing in common from the first sample on.
    const uint32_t seed = SeedHash(settings.seed, static_cast<uint32_t>(channel));
    auto generator = std::make_unique<dsp::NoiseGenerator>("", seed);
    const ModuleKnobs knobs(dsp::NoiseGeneratorKnobs::kRows);
    knobs.Set(*generator, "NoiseType", settings.color);
    for (const auto& [name, value] : settings.knobs) knobs.Set(*generator, name, value);
    generator->Init(blockSize, static_cast<float>(settings.rate));
    generators.push_back(std::move(generator));
    blocks.emplace_back(blockSize);
  }
  for (const std::vector<float>& block : blocks) channels.push_back(block.data());
}

const float* const* NoiseStream::Next() {
  const FlushDenormals guard;
  for (size_t c = 0; c < generators.size(); ++c) {
    std::array<float*, 1> inputs{nullptr}, outputs{blocks[c].data()};
    dsp::ProcessContext context = dsp::ProcessContext().WithPorts(inputs, outputs);
    context.sampleCount = blockSize;
    generators[c]->Process(context);
    for (float& sample : blocks[c]) sample = gain * sample;
  }
  return channels.data();
}

}  // namespace Vantora::offline
