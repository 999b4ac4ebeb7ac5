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

/// Channels that come out for 1 or 2 that go in: what a render without --mono or --stereo does.
int OutputChannels(const std::vector<host::ParameterWrite>& writes, int inputChannels);

/// Runs a signal through a new processor of the command's library, lined up
/// to the sample: as many frames come out as go in. `writes` stand before the
/// first sample, so nothing glides to them. Of one input channel the left is taken; where one comes out it is
/// both sides. Throws host::HostError, Failure.
StereoSignal RunEffect(const CommandContext& context, const std::vector<host::ParameterWrite>& writes,
                       const StereoSignal& input, int rate, double bpm = 120.0, int inputChannels = 2);

}  // namespace Vantora::cli
