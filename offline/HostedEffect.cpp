#include "offline/HostedEffect.h"

#include <utility>

namespace Vantora::offline {

HostedEffect::HostedEffect(host::HostedProcessor& hosted, LatencyMeasurement& measurement,
                           std::vector<host::ParameterWrite> values, const host::Automation& moves,
                           const host::TempoMap& tempoMap)
    : processor(hosted),
      latency(measurement),
      startValues(std::move(values)),
      automation(moves),
      tempo(tempoMap) {}

void HostedEffect::Start(int rate, int inputChannels, int outputChannels) {
  collector.reset();
  latencyFrames = latency.At(rate);
  for (const host::ParameterWrite& write : startValues) processor.Set(write.index, write.normalized);
  processor.Init(static_cast<float>(rate));
  processor.GetTransport().isOffline = true;
  collector.emplace(processor, static_cast<uint32_t>(inputChannels), static_cast<uint32_t>(outputChannels));
  player.emplace(automation, tempo, rate);
  collector->SetListener(&*player);
}

void HostedEffect::Feed(const float* const* inputs, size_t frames, const Sink& sink) {
  collector->Feed(inputs, frames, sink);
}

void HostedEffect::Finish(const Sink& sink) { collector->Finish(sink); }

}  // namespace Vantora::offline
