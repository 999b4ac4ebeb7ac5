#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/ProcessorSource.h"
#include "host/Transport.h"
#include "processor/interface/LogSink.h"
#include "processor/interface/ProcessData.h"

namespace Vantora::host {

/// HostedProcessor: one processor in this host's hands, from its creation to its end, and the one place that
/// knows how a `ProcessData` is filled.
///
/// Order    constructor (create, attach), `Init`, any number of `Process`, `Init` again for another rate,
///          ..., destructor (terminate, delete; the source keeps its library loaded until then)
/// Threads  One thread at a time. Constructor, `Init`, `Terminate` and destructor allocate or end things:
///          never beside `Process`. Everything marked [process] is real-time safe. Hand parameter writes of
///          other threads over through a `BlockCollector`: a plain write beside a running block can be lost.
class HostedProcessor {
 public:
  static constexpr float kLowestRate = 1000.0f, kHighestRate = 768000.0f;  ///< Hz

  /// Creates a processor of `source` and attaches it. `logSink` may be null, then `Messages` collects what
  /// the processor reports; otherwise it must outlive this object. Throws `HostError`.
  explicit HostedProcessor(const ProcessorSource& source, Processor::LogSink* logSink = nullptr);
  ~HostedProcessor();
  HostedProcessor(const HostedProcessor&) = delete;
  HostedProcessor& operator=(const HostedProcessor&) = delete;

  /// Prepares the processor for `sampleRate` Hz, or prepares it anew: what sounded is gone. Song position 0.
  /// A second time this is not a fresh processor: parameters stay, random sequences go on, and what glides or
  /// is latched at the first `Init` only stays where it was. `Recreate` gives a fresh one.
  /// Throws `HostError` when the rate lies outside `kLowestRate` to `kHighestRate`, when the processor
  /// refuses, or for lack of memory.
  void Init(float sampleRate);

  /// A new processor of the source in the place of this one, attached to the same sink: all parameters at
  /// their start, not initialised, no messages. It draws its random numbers as the source's next processor.
  /// Collectors of the old one must have ended. Throws `HostError`; the old processor then stays.
  void Recreate();

  /// Ends what runs beside the audio thread. `Init` may follow; the destructor does it by itself.
  void Terminate();

  bool IsInitialised() const { return blockSize != 0; }
  float SampleRate() const { return sampleRate; }  ///< Hz, of the last `Init`; 0 before
  uint32_t BlockSize() const {
    return blockSize;
  }  ///< largest block of `Process`, in samples; 0 before `Init`
  /// Largest block at `rate` Hz, in samples, before `Init` too: what a shell tells its host as latency.
  uint32_t BlockSizeAt(float rate) const { return processor->GetBlockSize(rate); }
  uint32_t ReportedLatency() const;  ///< the interface's own constant figure, in samples
  const ProcessorSource& Source() const { return source; }
  const std::vector<std::string>& Messages() const;  ///< reported by the processor, when no sink was given

  uint32_t ParameterCount() const { return parameterCount; }
  /// Full name as the processor gives it; empty for an index it doesn't know. Names need not be unique.
  std::string ParameterName(uint32_t index) const;
  /// The first index with this name.
  std::optional<uint32_t> FindParameter(const std::string& name) const;
  /// [process] Normalised value, 0 to 1; nothing when the parameter has none.
  std::optional<float> Get(uint32_t index) const;
  /// [process] Writes a normalised value, clamped to 0 to 1, for the next block. False: no such parameter.
  bool Set(uint32_t index, float normalized);

  /// [process] Tempo in beats per minute that the next block gets: the transport's, or where that is not a
  /// number above 0 (a host that knows none says 0 or nothing) the last one that was; 120 before any.
  double Tempo() const;

  /// [process] Everything that sounds stops, at once: "Panic", where the processor has it. Parameters stay.
  void Panic();

  /// [process] The song stands at `quarters` (quarter notes since its start) `samples` samples after the next
  /// block's first one, with the transport's tempo and motion.
  void SetSongPosition(double quarters, uint32_t samples);

  /// [process] Tempo and song position of the next block.
  Transport& GetTransport() { return transport; }
  const Transport& GetTransport() const { return transport; }

  /// [process] One block of at most `BlockSize` samples, best a multiple of four. `inputs` and `outputs` hold
  /// 0 to 2 channels each and must not share memory: the outputs are cleared before the inputs are read.
  /// Advances the song position while playing.
  void Process(const float* const* inputs, uint32_t inputCount, float* const* outputs, uint32_t outputCount,
               uint32_t sampleCount);

  /// [process] A three-byte MIDI message for the next block.
  void PushMidi(const uint8_t (&message)[3]) { processor->PushMidi(message); }
  /// [process] Events of the last block, valid until the next one.
  std::span<const Processor::HostEvent> OutputEvents() const { return outputEvents; }
  /// [process] Takes the values that the processor changed by itself, valid until the next block.
  std::span<const Processor::ValueChange> TakeChangedValues();

 private:
  class MessageList;
  std::unique_ptr<Processor::IProcessor_V7> MakeAttached(MessageList& list) const;
  void Learn();

  ProcessorSource source;  // first in, last out: the processor's code lives in it
  std::unique_ptr<MessageList> messages;
  std::unique_ptr<Processor::IProcessor_V7> processor;
  uint32_t parameterCount = 0;
  uint32_t blockSize = 0;
  float sampleRate = 0.0f;
  Processor::LogSink* sink = nullptr;  // the shell's; null: `messages`
  std::optional<uint32_t> panicIndex;
  Processor::ProcessData record{};  // of a block; kept, because to clear it takes longer than to fill it
  Transport transport;
  double lastTempo = 120.0;  // the last usable one
  std::span<const Processor::HostEvent> outputEvents;
};

}  // namespace Vantora::host
