#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "host/Automation.h"
#include "host/HostedProcessor.h"
#include "host/ProcessorSource.h"
#include "host/TempoMap.h"
#include "offline/EffectAround.h"
#include "offline/HostedEffect.h"

namespace Vantora::python {

/// Sound: what an engine starts with, as Python hands it over.
struct Sound {
  using AutomationPoint = std::tuple<double, float, bool>;  // time, position, arrives in a line
  using AutomationTrack = std::pair<uint32_t, std::vector<AutomationPoint>>;      // parameter's index, points
  using AutomationTracks = std::pair<std::string, std::vector<AutomationTrack>>;  // unit of the times, tracks

  int rate;                                      ///< Hz
  uint32_t seed;                                 ///< 0 sounds as `prismel render`
  std::map<uint32_t, float> values;              ///< positions 0 to 1, by the parameter's index
  std::vector<std::pair<double, double>> tempo;  ///< seconds, beats per minute
  AutomationTracks automation;

  host::TempoMap Tempo() const;
  host::Automation Moves() const;
  /// What is written before the first block: a whole preset in its own order, and behind it what no preset
  /// holds.
  std::vector<host::ParameterWrite> Writes() const;
};

/// Where the processors of this seed come from: the first is always the same.
host::ProcessorSource MakeSource(uint32_t seed);

/// SoundEffect: the processor with everything that it needs, as an effect over a recording.
class SoundEffect final : public offline::EffectAround {
 public:
  explicit SoundEffect(const Sound& sound);

  host::BlockCollector& Stream() { return effect.Stream(); }

 private:
  host::HostedProcessor processor;
  host::TempoMap tempo;
  host::Automation automation;
  offline::HostedEffect effect;
};

}  // namespace Vantora::python
