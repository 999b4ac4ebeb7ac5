#pragma once

#include <array>
#include <atomic>
#include <optional>
#include <vector>

#include "host/BlockCollector.h"
#include "python/module/Planes.h"
#include "python/module/Sound.h"
#include "python/module/Turn.h"

namespace Vantora::python {

/// LiveClock: tempo and song position of an endless stream. A new tempo goes on from the beat that was
/// reached.
class LiveClock final : public host::BlockListener {
 public:
  LiveClock(host::TempoMap map, double sampleRate) : tempo(std::move(map)), rate(sampleRate) {}
  void SetTempo(host::TempoMap map, uint64_t position);
  void BeforeBlock(host::HostedProcessor& processor, uint64_t position, uint32_t count) override;

 private:
  double Seconds(uint64_t position) const { return static_cast<double>(position - origin) / rate; }

  host::TempoMap tempo;
  double rate;          // Hz
  uint64_t origin = 0;  // sample at which the map's time 0 lies
  double beats = 0.0;   // quarter notes at the origin
};

/// Live: an engine that keeps its state from piece to piece, as many samples out as in, `Latency` late. The
/// automation of the sound is of no use here. Threads as in Stream.
class Live {
 public:
  /// 1 or 2 channels, in and out.
  Live(const Sound& sound, int channels);

  /// (channels, frames) in and out.
  Audio Process(const Audio& audio);
  /// A position for a parameter, in time for the next block.
  void Set(uint32_t index, float position);
  /// A whole sound, in time for the next block: it starts clean.
  void SetAll(const std::map<uint32_t, float>& values);
  void SetTempo(const std::vector<std::pair<double, double>>& tempo);

  uint32_t Latency() const { return collector->Latency(); }
  const host::Meters& Levels() const { return collector->Levels(); }
  uint64_t NonFiniteCount() const { return collector->NonFiniteCount(); }

 private:
  host::HostedProcessor processor;
  LiveClock clock;
  std::optional<host::LiveCollector> collector;
  int channelCount;
  std::atomic_flag busy = ATOMIC_FLAG_INIT;
};

/// Frames that a live engine's output stands behind its input at `rate` Hz: one block. Throws
/// host::HostError.
uint32_t LiveLatency(int rate);

}  // namespace Vantora::python
