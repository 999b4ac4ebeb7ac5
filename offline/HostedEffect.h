#pragma once

#include <array>
#include <optional>
#include <vector>

#include "host/Automation.h"
#include "host/BlockCollector.h"
#include "host/HostedProcessor.h"
#include "offline/Effect.h"
#include "offline/LatencyMeasurement.h"

namespace Vantora::offline {

/// HostedEffect: the processor as a host drives it over a recording, from song position 0.
class HostedEffect final : public Effect {
 public:
  /// What is handed over by reference must outlive this object. The random seeds are those of `processor`:
  /// the first of its process, or one that was made with a number, is the same each time. `startValues` are
  /// written before it is initialised, so that nothing glides to them; their positions don't count.
  HostedEffect(host::HostedProcessor& processor, LatencyMeasurement& latency,
               std::vector<host::ParameterWrite> startValues, const host::Automation& automation,
               const host::TempoMap& tempo);

  /// Does what the next `Start` would do, if that has these arguments. A process that forks for each of many
  /// recordings does it once, and its children take over memory that is ready. Throws host::HostError.
  void Prepare(int rate, int inputChannels, int outputChannels);

  void Start(int rate, int inputChannels, int outputChannels) override;
  void Feed(const float* const* inputs, size_t frames, const Sink& sink) override;
  void Finish(const Sink& sink) override;
  uint64_t Latency() const override { return latencyFrames; }
  double LongestGap() const override { return longestGap; }
  uint64_t NonFiniteCount() const override { return collector ? collector->NonFiniteCount() : 0; }

  /// The stream under way, for writes and levels. Between `Start` and the next one.
  host::BlockCollector& Stream() { return *collector; }

 private:
  host::HostedProcessor& processor;
  LatencyMeasurement& latency;
  std::vector<host::ParameterWrite> startValues;
  const host::Automation& automation;
  const host::TempoMap& tempo;
  std::optional<host::AutomationPlayer> player;
  std::optional<host::FileCollector> collector;
  uint64_t latencyFrames = 0;
  double longestGap;
  std::array<int, 3> preparedFor{};  // rate and channels; zeros: for nothing
};

}  // namespace Vantora::offline
