#include "web/wasm/Render.h"

#include <algorithm>

#include "host/ParameterTable.h"
#include "host/Preset.h"
#include "processor/LinkedFactory.h"

namespace Vantora::web {
namespace {

std::vector<host::ParameterWrite> Writes(const plugin::Positions& sound) {
  host::Preset preset;
  for (const host::Parameter& parameter : host::ParameterTable::Get()) {
    if (parameter.IsInPresets()) preset.values[parameter.Index()] = sound[parameter.Index()];
  }
  return preset.Writes();
}

}  // namespace

Render::Render(uint32_t rate, uint32_t longest, uint32_t inputChannels, uint32_t outputChannels,
               double tailSeconds, double tempo, const plugin::Positions& sound)
    : outputCount(outputChannels),
      tempoMap(tempo),
      processor(host::ProcessorSource(Processor::MakeLinkedFactory())),
      latency(host::ProcessorSource(Processor::MakeLinkedFactory())) {
  for (std::vector<float>& channel : inputs) channel.assign(longest, 0.0f);
  effect.emplace(processor, latency, Writes(sound), automation, tempoMap);
  offline::TailLength tail;
  if (tailSeconds >= 0.0) tail = {false, tailSeconds};
  stream.emplace(*effect, tail, static_cast<int>(rate), static_cast<int>(inputChannels),
                 static_cast<int>(outputChannels), [this](const float* samples, uint64_t frames) {
                   finished.insert(finished.end(), samples, samples + frames * outputCount);
                 });
}

void Render::Feed(uint32_t frames) {
  finished.clear();
  const float* channels[2] = {inputs[0].data(), inputs[1].data()};
  stream->Feed(channels, std::min(frames, static_cast<uint32_t>(inputs[0].size())));
}

bool Render::RunTail(uint32_t frames) {
  finished.clear();
  return stream->RunTail(frames);
}

}  // namespace Vantora::web
