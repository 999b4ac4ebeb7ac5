#pragma once

#include <cstdint>

namespace Vantora::host {

/// Transport: what the processor is told about the song. Written between blocks by whoever calls `Process`.
struct Transport {
  double tempo = 120.0;       ///< beats (quarter notes) per minute; see `HostedProcessor::Tempo`
  double songPosition = 0.0;  ///< quarter notes at the start of the next block; advanced by `HostedProcessor`
  bool isPlaying = true;      ///< the song position stands still while false
  bool isOffline = false;     ///< rendering faster or slower than real time
};

}  // namespace Vantora::host
