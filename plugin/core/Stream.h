#pragma once

#include <array>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/BlockBuffer.h"
#include "host/HostedProcessor.h"
#include "host/ProcessorSource.h"
#include "plugin/core/HostTime.h"
#include "plugin/core/TapPicture.h"
#include "plugin/core/Timeline.h"
#include "plugin/core/Values.h"

namespace Vantora::plugin {

/// Stream: the sounding half of a shell core: one processor from activation to deactivation, fed in whole
/// blocks, with the changes of both threads brought to it on its own grid.
///
/// Before each block come, in this order: a sound or single values of the main thread, a panic, what the host
/// timed. What the effect reads out is passed on in steps of the picture, not in every block.
///
/// Threads  `Start` and `Stop` on the main thread, never beside the rest; what is marked [process] on
/// the audio thread.
class Stream final {
 public:
  explicit Stream(Values& values);

  /// A new stream of a new processor, which begins with what `values` hold. Throws `host::HostError`;
  /// allocates.
  void Start(const host::ProcessorSource& source, double sampleRate, uint32_t inputs, uint32_t outputs);
  /// The processor stays until the next `Start`: a host that stops while its audio thread is still inside a
  /// call finds all memory in its place.
  void Stop();
  bool IsRunning() const { return isRunning.load(std::memory_order_acquire); }

  /// [process] Inline: in every call of a host, which says the same things each time.
  void SetTime(const HostTime& time) {
    if (time.tempo && std::isfinite(*time.tempo) && *time.tempo > 0.0)
      tempo.store(*time.tempo, std::memory_order_relaxed);
    host::Transport& transport = processor->GetTransport();
    transport.tempo = Tempo();
    transport.isPlaying = time.isPlaying.value_or(true);
    if (time.songPosition && std::isfinite(*time.songPosition))
      processor->SetSongPosition(*time.songPosition, buffer.Fill());
  }
  void SetOffline(bool isOffline) { processor->GetTransport().isOffline = isOffline; }  ///< [process]
  void StepTo(uint32_t index, float position, uint32_t offset);                         ///< [process]
  void RampTo(uint32_t index, float position, uint32_t fromOffset, uint32_t offset);    ///< [process]
  void Process(const float* const* inputs, float* const* outputs, uint32_t frames);     ///< [process]
  void Reset();                                                                         ///< [process]

  /// [process] Another sound from the next block on.
  void StartSound(const Positions& sound);

  /// [main thread] A hand holds this knob: what the host sends for it meanwhile is its echo or an automation
  /// line, and is passed over, for a moment after the release too.
  void Hold(uint32_t index) { hands[index].store(kHeld, std::memory_order_relaxed); }
  void Release(uint32_t index);

  /// [any thread] Everything starts anew before the next block.
  void Panic() { panic.store(true, std::memory_order_relaxed); }

  uint64_t ValueRevision() const { return valueRevision.load(std::memory_order_acquire); }  ///< [any thread]
  uint64_t LiveRevision() const { return liveRevision.load(std::memory_order_acquire); }    ///< [any thread]
  uint32_t Latency() const { return buffer.BlockSize(); }  ///< samples, a block; 0 before the first `Start`
  /// [any thread] Samples handed to the processor since the start: where its next block begins.
  uint64_t Position() const { return streamPosition.load(std::memory_order_relaxed); }
  double Tempo() const { return tempo.load(std::memory_order_relaxed); }  ///< [any thread] BPM
  /// [any thread] Fills in what only this side knows: taps, spread, number of voices. Asking keeps the taps'
  /// picture going for another second.
  void Store(LiveView& view) const;

 private:
  /// A choice as a number, worked out anew only when its position moves.
  struct CachedStep {
    explicit CachedStep(const host::Parameter& choice) : parameter(choice) {}
    uint32_t At(float newPosition);
    const host::Parameter& parameter;
    float position = -1.0f;
    uint32_t step = 0;
  };

  /// Number of the next sample that will be taken.
  uint64_t NextSample() const { return Position() + buffer.Fill(); }
  void RunBlock();
  void WriteSound(host::HostedProcessor& hosted, const Positions& sound);
  void Write(host::HostedProcessor& hosted, uint32_t index, float position);
  [[gnu::cold]] void BeginFromStart();
  [[gnu::noinline]] void Attend(host::HostedProcessor& hosted, uint64_t position, uint32_t count);
  void TakeChanges(host::HostedProcessor& hosted, uint64_t position, uint32_t count);
  void Report(const host::HostedProcessor& hosted, uint64_t position);

  // What a host feeds before a song's first sample, while the environment variable PRISMEL_TRACE names a file
  // to which `Stop` appends the number of samples: tests of hosts need it, because taps and LFOs move during
  // that silence.
  [[gnu::cold]] void TraceSilence(const float* const* inputs, uint32_t frames);
  void WriteTrace() const;

  static constexpr uint64_t kHeld = ~uint64_t{0};
  bool IsInHand(uint32_t index, uint64_t at) const {
    return hands[index].load(std::memory_order_relaxed) > at;
  }

  // Asked in every call of a host and in every block, and therefore side by side and with no pointers between
  // them: what lies apart has to come from further away each time, because the effect's own memory drives it
  // out of the nearest cache.
  Values& values;
  std::optional<host::HostedProcessor> processor;
  std::atomic<bool> isRunning{false};
  std::atomic<bool> panic{false};
  bool isAtStart = true;   // nothing processed since Start or Reset
  bool isTracing = false;  // and nothing but zeros came so far
  uint32_t outputCount = 2;
  std::atomic<double> tempo{120.0};
  std::atomic<uint64_t> liveRevision{0};
  std::atomic<uint64_t> streamPosition{0};  // samples handed to the processor
  host::BlockBuffer buffer;
  TapPicture picture;
  Timeline timeline;

  // Audio thread's.
  CachedStep effectStep, voiceStep;
  Positions written{};         // what the processor was told last
  bool isFresh = true;         // the processor hasn't been told any sound
  bool startHasMoved = false;  // a value was given for that start
  uint32_t stepsToWatch = 0;   // until the picture of the taps may rest

  std::vector<uint32_t> soundIndices;    // what a preset holds, in the order of its writing
  std::vector<uint32_t> readOutIndices;  // what the effect writes
  std::array<std::atomic<uint64_t>, kParameterCount>
      hands{};                                 // held until this sample of the stream; 0: free
  mutable std::atomic<bool> isWatched{false};  // somebody looks: set by `Store`, taken by the audio thread
  std::atomic<uint64_t> valueRevision{0};
  std::string tracePath;      // empty: no trace
  uint64_t silentFrames = 0;  // before the first sound
};

}  // namespace Vantora::plugin
