#include "python/module/Sound.h"

#include "host/ParameterTable.h"
#include "host/Preset.h"
#include "host/ProcessorSource.h"
#include "processor/LinkedFactory.h"

namespace Vantora::python {
namespace {

/// One for all: the effect is linked in, so its latency is the same for every sound.
offline::LatencyMeasurement& MeasuredLatency() {
  static offline::LatencyMeasurement latency(MakeSource(0));
  return latency;
}

}  // namespace

host::ProcessorSource MakeSource(uint32_t seed) {
  return host::ProcessorSource(Processor::MakeLinkedFactory(seed));
}

host::TempoMap Sound::Tempo() const {
  std::vector<host::TempoMap::Step> steps;
  for (const auto& [seconds, bpm] : tempo) steps.push_back({seconds, bpm});
  return host::TempoMap(steps);
}

host::Automation Sound::Moves() const {
  std::vector<host::Automation::Track> tracks;
  for (const auto& [index, points] : automation.second) {
    host::Automation::Track track{index, {}};
    for (const auto& [time, position, isRamp] : points) track.points.push_back({time, position, isRamp});
    tracks.push_back(std::move(track));
  }
  return host::Automation(host::Automation::ParseUnit(automation.first), std::move(tracks));
}

std::vector<host::ParameterWrite> Sound::Writes() const {
  const host::ParameterTable& table = host::ParameterTable::Get();
  host::Preset preset;
  std::vector<host::ParameterWrite> others;
  for (const auto& [index, position] : values) {
    if (table[index].IsInPresets()) {
      preset.values[index] = position;
    } else {
      others.push_back({index, position, 0});
    }
  }
  std::vector<host::ParameterWrite> writes = preset.Writes();
  writes.insert(writes.end(), others.begin(), others.end());
  return writes;
}

SoundEffect::SoundEffect(const Sound& sound)
    : EffectAround(effect),
      processor(MakeSource(sound.seed)),
      tempo(sound.Tempo()),
      automation(sound.Moves()),
      effect(processor, MeasuredLatency(), sound.Writes(), automation, tempo) {}

}  // namespace Vantora::python
