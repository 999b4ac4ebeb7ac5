#pragma once

#include <cstddef>
#include <cstdint>

#include "host/BlockBuffer.h"

namespace Vantora::offline {

/// Effect: what a recording is run through, as a stream. Out comes as much as goes in, sample for sample at
/// its own place, however the stream is cut into pieces.
///
/// Life     Start, any number of Feed, Finish; Start again begins anew
/// Threads  one at a time; allocates, and isn't meant for an audio thread
class Effect {
 public:
  /// Takes `frames` finished samples of each output channel; the memory is the effect's.
  using Sink = host::BlockBuffer::Sink;

  virtual ~Effect() = default;

  /// Prepares for a stream of 1 or 2 channels in and out at `rate` Hz. Throws host::HostError.
  virtual void Start(int rate, int inputChannels, int outputChannels) = 0;
  /// Takes `frames` samples of each input channel. Null inputs are silence.
  virtual void Feed(const float* const* inputs, size_t frames, const Sink& sink) = 0;
  /// Hands over what is still inside of the samples that were fed.
  virtual void Finish(const Sink& sink) = 0;

  /// Frames by which the output stands behind the input, its dry part included. Taken away by the caller.
  virtual uint64_t Latency() const { return 0; }
  /// Longest silence, in seconds, after which a sound can still come back: an echo's distance.
  virtual double LongestGap() const { return 1.1; }
  /// Input samples that weren't finite and were replaced by 0, since the start.
  virtual uint64_t NonFiniteCount() const { return 0; }
};

}  // namespace Vantora::offline
