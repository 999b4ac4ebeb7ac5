#pragma once

#include <optional>
#include <vector>

#include "cli/offline/Effect.h"
#include "host/Automation.h"
#include "host/BlockCollector.h"
#include "host/HostedProcessor.h"

namespace Vantora::cli {

/// HostedEffect: the processor library's effect, as a host drives it, from song position 0.
class HostedEffect final : public Effect {
 public:
  /// `processor` must outlive this object and be the first of its process, whose
  /// random seeds are always the same. `startValues` are written before it is
  /// initialised, so that nothing glides to them; their positions don't count.
  HostedEffect(host::HostedProcessor& processor, std::vector<host::ParameterWrite> startValues,
               const host::Automation& automation, const host::TempoMap& tempo);

  void Start(int rate, int inputChannels, int outputChannels) override;
  void Feed(const float* const* inputs, size_t frames, const Sink& sink) override;
  void Finish(const Sink& sink) override;
  uint64_t Latency() const override { return latency; }
  uint64_t NonFiniteCount() const override { return collector ? collector->NonFiniteCount() : 0; }

 private:
  host::HostedProcessor& processor;
  std::vector<host::ParameterWrite> startValues;
  const host::Automation& automation;
  const host::TempoMap& tempo;
  std::optional<host::AutomationPlayer> player;
  std::optional<host::FileCollector> collector;
  uint64_t latency = 0;  // frames, as measured
};

}  // namespace Vantora::cli
