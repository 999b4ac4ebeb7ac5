#pragma once

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "host/BlockCollector.h"
#include "host/HostedProcessor.h"
#include "plugin/core/FactoryBank.h"
#include "processor/LinkedFactory.h"

namespace Vantora::test {

using Audio = std::vector<std::vector<float>>;

/// Plucks and noise, different on each channel, with silence in between: something that every effect changes.
inline Audio Plucks(size_t frames, size_t channels = 2) {
  Audio audio(channels, std::vector<float>(frames));
  uint32_t random = 12345;
  for (size_t i = 0; i < frames; ++i) {
    for (size_t c = 0; c < channels; ++c) {
      random = random * 1664525u + 1013904223u;
      const double time = static_cast<double>(i % 9600) / 48000.0;
      const double tone =
          std::sin(6.283185307 * (220.0 + 110.0 * static_cast<double>(c)) * time) * std::exp(-18.0 * time);
      const double noise = (static_cast<double>(random >> 8) / 8388608.0 - 1.0) * std::exp(-60.0 * time);
      audio[c][i] = static_cast<float>(0.4 * tone + 0.2 * noise);
    }
  }
  return audio;
}

inline const host::Preset& FactoryPreset(const std::string& name) {
  for (const host::Preset& preset : plugin::FactoryPresets()) {
    if (preset.name == name) return preset;
  }
  throw std::runtime_error("no preset " + name);
}

/// What `prismel render` writes: a fresh processor, the preset before its start, no latency. `changes` are
/// timed values as an automation of steps has them.
inline Audio RenderReference(const host::Preset& preset, const Audio& input, uint32_t outputs = 2,
                             float sampleRate = 48000.0f,
                             const std::vector<host::ParameterWrite>& changes = {}) {
  host::HostedProcessor processor{host::ProcessorSource(Processor::MakeLinkedFactory())};
  preset.Apply(processor);
  processor.Init(sampleRate);
  host::FileCollector collector(processor, static_cast<uint32_t>(input.size()), outputs);
  for (const host::ParameterWrite& change : changes)
    collector.Queue(change.index, change.normalized, change.position);
  Audio out(outputs);
  const auto take = [&](const float* const* pieces, uint32_t count) {
    for (size_t c = 0; c < outputs; ++c) out[c].insert(out[c].end(), pieces[c], pieces[c] + count);
  };
  std::vector<const float*> pointers;
  for (const auto& channel : input) pointers.push_back(channel.data());
  collector.Feed(pointers.data(), input.front().size(), take);
  collector.Finish(take);
  return out;
}

/// Samples at which `late`, `delay` samples late, is another than `reference`; the delay itself must be
/// silent.
inline size_t Differences(const Audio& reference, const Audio& late, size_t delay) {
  size_t count = 0;
  for (size_t c = 0; c < late.size(); ++c) {
    for (size_t i = 0; i < late[c].size(); ++i) {
      const float expected = i < delay ? 0.0f : reference[c][i - delay];
      count += late[c][i] == expected ? 0 : 1;
    }
  }
  return count;
}

}  // namespace Vantora::test
