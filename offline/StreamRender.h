#pragma once

#include <cstdint>
#include <limits>
#include <vector>

#include "offline/Effect.h"
#include "offline/Tail.h"

namespace Vantora::offline {

/// StreamRender: one recording's way through an effect, from the first sample to the end of the tail.
///
///     input --> Effect --> latency dropped --> input's own length --+--> sink
///                                          --> Tail ----------------+
///
/// The output is lined up with the input to the sample and is the same however the input is cut.
///
/// Life     constructor (starts the effect), any number of Feed, EndInput, RunTail until it says true
/// Threads  one at a time; allocates
class StreamRender {
 public:
  /// Takes finished frames in their order, channel by channel within a frame; the memory is this object's.
  using Sink = Tail::Sink;

  /// Starts `effect`, which must outlive this object, for 1 or 2 channels in and out at `rate` Hz. Throws
  /// host::HostError.
  StreamRender(Effect& effect, const TailLength& tail, int rate, int inputChannels, int outputChannels,
               Sink sink);

  /// Takes `frames` samples of each input channel, 0 or more; null inputs are silence.
  void Feed(const float* const* inputs, size_t frames);
  /// No more input comes.
  void EndInput() { inputEnd = fed; }
  /// Rings on by at most `frames` frames, 1 or more. True when all has been handed over.
  bool RunTail(uint64_t frames);

  uint64_t FramesFed() const { return fed; }
  /// The limit, not silence, ended an automatic tail.
  bool WasTailCut() const { return tail.WasCut(); }
  /// Samples that came out of the effect not finite, and were replaced by 0.
  uint64_t LostSamples() const { return lost; }

 private:
  void Take(const float* const* outputs, uint32_t frames);

  Effect& effect;
  uint64_t channels;  // out
  Tail tail;
  Sink sink;
  Effect::Sink take;
  uint64_t skip;  // frames of latency still to drop
  uint64_t fed = 0;
  uint64_t inputEnd = std::numeric_limits<uint64_t>::max();  // frames that belong to the input; behind: tail
  uint64_t seen = 0;                                         // frames of output, without the latency
  uint64_t lost = 0;
  bool finished = false;
  std::vector<float> interleaved;
};

}  // namespace Vantora::offline
