#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <utility>

#include "host/ProcessorSource.h"

namespace Vantora::offline {

/// LatencyMeasurement: the frames by which a processor delays its dry signal, found by sending an impulse
/// through one that is bypassed; once for each rate. The interface's own figure is a constant and measures
/// nothing.
///
/// Measuring makes a processor, which counts: make the one whose seeds matter first. Threads: any.
class LatencyMeasurement {
 public:
  explicit LatencyMeasurement(host::ProcessorSource itsSource) : source(std::move(itsSource)) {}

  /// Frames at `rate` Hz. Throws host::HostError, also where no impulse comes back within a second.
  uint64_t At(int rate);

 private:
  uint64_t Measure(int rate) const;

  host::ProcessorSource source;
  std::mutex mutex;
  std::map<int, uint64_t> known;  // by rate
};

}  // namespace Vantora::offline
