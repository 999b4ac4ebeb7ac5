#pragma once

#include <cstddef>
#include <vector>

#include "host/ParameterQueue.h"

namespace Vantora::cli {

struct CommandContext;

/// StereoSignal: two channels of one length in memory.
struct StereoSignal {
  std::vector<float> left, right;

  StereoSignal() = default;
  explicit StereoSignal(size_t frames) : left(frames), right(frames) {}
  size_t Frames() const { return left.size(); }
};

/// Runs a signal through a new processor of the command's library, lined up
/// to the sample: as many frames come out as go in. `writes` stand before the
/// first sample, so nothing glides to them. Throws host::HostError, Failure.
StereoSignal RunEffect(const CommandContext& context, const std::vector<host::ParameterWrite>& writes,
                       const StereoSignal& input, int rate, double bpm = 120.0);

}  // namespace Vantora::cli
