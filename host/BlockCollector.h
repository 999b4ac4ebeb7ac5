#pragma once

#include <cstdint>
#include <vector>

#include "host/BlockBuffer.h"
#include "host/HostedProcessor.h"
#include "host/LatestValues.h"
#include "host/Meters.h"
#include "host/ParameterQueue.h"

namespace Vantora::host {

/// BlockListener: called before every block, for whatever follows the stream's time: automation, a tempo map.
class BlockListener {
 public:
  /// [process] The block holds the samples `position` to `position` + `count` - 1 of the stream. May write
  /// parameters and the transport of `processor`; must be real-time safe when the stream is live.
  virtual void BeforeBlock(HostedProcessor& processor, uint64_t position, uint32_t count) = 0;

 protected:
  ~BlockListener() = default;
};

/// BlockCollector: turns a stream that comes in pieces of any length into whole blocks of the processor's own
/// size, so that the sound never depends on the caller's buffer size. `LiveCollector` and `FileCollector` say
/// what becomes of the output.
///
/// Before each block come, in this order: the listener, the latest values of other threads' hands, then the
/// queued parameter writes that are due in it.
/// Inputs are copied, so a caller may use one buffer for input and output; samples that aren't finite become
/// 0 and are counted, because one NaN in a recursive filter is silence until the next reset.
class BlockCollector {
 public:
  /// Room of the parameter queue, in writes.
  static constexpr size_t kQueueCapacity = 4096;

  BlockCollector(const BlockCollector&) = delete;
  BlockCollector& operator=(const BlockCollector&) = delete;

  uint32_t InputChannels() const { return buffer.InputChannels(); }
  uint32_t OutputChannels() const { return outputCount; }
  uint32_t BlockSize() const { return buffer.BlockSize(); }  ///< samples

  /// [any thread, real-time safe] A normalised value for the block that holds sample `position` of the
  /// stream, or for the next one if that has passed. False when the queue is full: the write is dropped.
  bool Queue(uint32_t index, float normalized, uint64_t at = 0) {
    return queue.Push({index, normalized, at});
  }

  /// [any thread; allocates] Values that belong together, such as a preset's: all before the same block, or
  /// none, with false, when the queue is full.
  bool QueueTogether(std::vector<ParameterWrite> writes, uint64_t at = 0) {
    return queue.PushTogether(std::move(writes), at);
  }

  /// [any thread, real-time safe] A normalised value for the next block, whenever that comes: what a knob's
  /// movement is. Of several values the last one wins, and any number of them fills nothing; writes for
  /// moments of the stream go through `Queue`. False: no such parameter.
  bool SetLatest(uint32_t index, float normalized) { return latest.Write(index, normalized); }

  /// [any thread] Levels and read-outs after the last block.
  const Meters& Levels() const { return meters; }
  /// [process] Without: `Levels` stay as they are, for callers that read the processor themselves.
  void SetMetering(bool isOn) { isMetering = isOn; }

  /// [any thread] Input samples that weren't finite and were replaced by 0, or that lay beyond
  /// `BlockBuffer::kLoudest` and were held there.
  uint64_t NonFiniteCount() const { return buffer.NonFiniteCount(); }

  /// [process] Samples handed to the processor so far, a whole number of blocks.
  uint64_t Position() const { return position; }

  /// [process] Number of the next sample that will be taken: a change at sample i of the coming piece is
  /// queued for `NextSample() + i`.
  uint64_t NextSample() const { return position + buffer.Fill(); }

  /// [process] The listener, or null. It must live as long as it is set.
  void SetListener(BlockListener* newListener) { listener = newListener; }

 protected:
  /// `processor` must be initialised, must outlive the collector, and keeps its rate while the collector
  /// lives. 1 or 2 inputs and 1 or 2 outputs: mono, mono to stereo, stereo, or the left side of stereo.
  /// Throws `HostError`. Allocates.
  BlockCollector(HostedProcessor& processor, uint32_t inputChannels, uint32_t outputChannels);
  ~BlockCollector() = default;

  /// Runs the processor over the full buffer.
  void RunBlock();
  /// Writes whatever waits, due or not.
  void WriteAllWaiting();

  HostedProcessor& processor;
  const uint32_t outputCount;
  BlockBuffer buffer;
  uint64_t position = 0;  // samples handed to the processor

 private:
  /// What waits for the samples `begin` to `end` (exclusive). Apart: nearly always nothing does.
  [[gnu::noinline]] void WriteDue(uint64_t begin, uint64_t end);

  ParameterQueue queue{kQueueCapacity};
  LatestValues latest;
  Meters meters;
  bool isMetering = true;
  BlockListener* listener = nullptr;
};

/// LiveCollector: as many samples out as in, at every call, one block late.
class LiveCollector final : public BlockCollector {
 public:
  /// See `BlockCollector`. The output is silent for the first `Latency` samples.
  explicit LiveCollector(HostedProcessor& processor, uint32_t inputChannels = 2, uint32_t outputChannels = 2);

  /// [process] `sampleCount` may be 0 or anything else. Input and output buffers may be the same.
  void Process(const float* const* inputs, float* const* outputs, size_t sampleCount);

  /// [process] What the host says of the first sample of the next `Process`:
  /// tempo in beats per minute, position in quarter notes. Carried back to the
  /// beginning of the block under way, which is what the processor wants to know.
  void SetTransport(double tempo, bool isPlaying, double songPosition);

  /// Samples from an input to its own dry output, as measured: one block. Report this to the host, not the
  /// processor's constant figure.
  uint32_t Latency() const { return BlockSize(); }

  /// [process] Forgets the samples under way. The processor's own state stays.
  void Flush();

  /// [process, real-time safe] The stream begins anew: samples under way are forgotten, everything that
  /// sounds stops at once, `Position` is 0. Writes that wait are all written now, so that every parameter
  /// stands where it was last put; counts and transport stay.
  void Reset();
};

/// FileCollector: no delay. Output comes in whole blocks as soon as they
/// are full; the last one is padded with silence and trimmed, so that in
/// the end as many samples have come out as went in, each at its own place.
class FileCollector final : public BlockCollector {
 public:
  /// Takes `count` finished samples of each output channel; the memory is the collector's.
  using Sink = BlockBuffer::Sink;

  /// See `BlockCollector`. Whether the processor is told of an offline render is the transport's `isOffline`.
  explicit FileCollector(HostedProcessor& processor, uint32_t inputChannels = 2, uint32_t outputChannels = 2);

  /// Takes `sampleCount` samples, 0 or more. `inputs` may be null: silence, as behind the end of a file.
  void Feed(const float* const* inputs, size_t sampleCount, const Sink& sink);

  /// Completes the last block. Further samples may follow, and begin a new block.
  void Finish(const Sink& sink);
};

}  // namespace Vantora::host
