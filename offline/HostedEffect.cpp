#include "offline/HostedEffect.h"

#include <algorithm>
#include <utility>

#include "host/ParameterTable.h"

namespace Vantora::offline {
namespace {

/// Furthest position that a parameter gets to: where it starts, or a point of its automation.
float Furthest(const host::Parameter& parameter, const std::vector<host::ParameterWrite>& writes,
               const host::Automation& moves) {
  float furthest = parameter.PreferredNormalized();
  for (const host::ParameterWrite& write : writes) {
    if (write.index == parameter.Index()) furthest = write.normalized;
  }
  for (const host::Automation::Track& track : moves.Tracks()) {
    if (track.index != parameter.Index()) continue;
    for (const host::Automation::Point& point : track.points) furthest = std::max(furthest, point.normalized);
  }
  return furthest;
}

/// Longest silence in seconds behind which these sounds can still come back. Taps and combs reach back less
/// than a tenth of a second and what rings falls; the harmonizer's grains and its feedback come back late.
double GapOf(const std::vector<host::ParameterWrite>& writes, const host::Automation& moves) {
  constexpr double kGap = 0.3, kLongestSpray = 1.5;
  const host::ParameterTable& table = host::ParameterTable::Get();
  const host::Parameter& type = table.At("FXType");
  if (type.ToValue(Furthest(type, writes, moves)) < type.Maximum())
    return kGap;  // the harmonizer is the last
  const host::Parameter& echo = table.At("FeedbackDelayTime");
  return kGap + kLongestSpray + 0.001 * static_cast<double>(echo.ToValue(Furthest(echo, writes, moves)));
}

}  // namespace

HostedEffect::HostedEffect(host::HostedProcessor& hosted, LatencyMeasurement& measurement,
                           std::vector<host::ParameterWrite> values, const host::Automation& moves,
                           const host::TempoMap& tempoMap)
    : processor(hosted),
      latency(measurement),
      startValues(std::move(values)),
      automation(moves),
      tempo(tempoMap),
      longestGap(GapOf(startValues, moves)) {}

void HostedEffect::Start(int rate, int inputChannels, int outputChannels) {
  const std::array<int, 3> wanted{rate, inputChannels, outputChannels};
  if (wanted != preparedFor) Prepare(rate, inputChannels, outputChannels);
  preparedFor = {};
}

void HostedEffect::Prepare(int rate, int inputChannels, int outputChannels) {
  collector.reset();
  latencyFrames = latency.At(rate);
  for (const host::ParameterWrite& write : startValues) processor.Set(write.index, write.normalized);
  processor.Init(static_cast<float>(rate));
  processor.GetTransport().isOffline = true;
  collector.emplace(processor, static_cast<uint32_t>(inputChannels), static_cast<uint32_t>(outputChannels));
  player.emplace(automation, tempo, rate);
  collector->SetListener(&*player);
  preparedFor = {rate, inputChannels, outputChannels};
}

void HostedEffect::Feed(const float* const* inputs, size_t frames, const Sink& sink) {
  collector->Feed(inputs, frames, sink);
}

void HostedEffect::Finish(const Sink& sink) { collector->Finish(sink); }

}  // namespace Vantora::offline
