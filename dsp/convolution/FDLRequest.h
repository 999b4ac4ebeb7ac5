#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <utility>

#include "dsp/convolution/FDL.h"
#include "dsp/effects/prims/AlignedBuffer.h"

namespace Vantora::dsp {

class FDLThread;

/// OwnerState: whose turn it is with a request. Each change is an exchange that publishes what the former
/// owner wrote and takes in what the one before it did.
template <template <typename> class Atomic = std::atomic>
class OwnerState {
 public:
  enum State : uint32_t { Idle = 0, Filling = 1, Full = 2, Computing = 3, Ready = 4 };

  State Get() const noexcept { return state.load(std::memory_order_acquire); }
  void Set(State next) noexcept { state.exchange(next, std::memory_order_acq_rel); }
  /// [owner] What it set itself.
  State Own() const noexcept { return state.load(std::memory_order_relaxed); }

 private:
  Atomic<State> state{Idle};
};

/// FDLRequest: one block of N samples on its way through a delay line: input first, result in its place.
///
///     Idle -> Filling -> Full -> Computing -> Ready -> Idle
///
/// The state says who owns the rest: a worker while it is `Computing`, the audio thread otherwise.
class FDLRequest {
 public:
  using State = OwnerState<>::State;
  using enum OwnerState<>::State;
  static constexpr int64_t kNoTime = -1;

  /// Makes room for blocks of `size` samples of the delay line number `line`.
  void Allocate(uint64_t size, uint32_t line);

  State GetState() const noexcept { return state.Get(); }
  void SetState(State next) noexcept { state.Set(next); }

  /// Empties the request and makes it `Idle`.
  void Clear() noexcept;

  /// [audio thread] An `Idle` request becomes the block that begins at stream time `time`.
  void Begin(int64_t time) noexcept;

  /// [audio thread] Copies `count` samples for each of two channels behind those that are there, null being
  /// silence. There must be room. The state becomes `Filling` or `Full`.
  void Append(const std::array<const float*, 2>& sources, uint64_t count) noexcept;

  /// Copies `count` samples into a request; a null source is silence.
  static void Fetch(const float* source, float* destination, uint64_t count) noexcept;

  /// [audio thread] Where the next sample of a channel goes, while the request is `Filling`.
  float* NextInput(uint64_t channel) noexcept { return channelBuffers[channel] + fill; }
  /// [audio thread] Whoever wrote samples there, but fewer than fill the request, says how many it holds now.
  void SetFill(uint64_t count) noexcept { fill = count; }

  /// [audio thread] Hands a `Full` request to the worker, which the caller then wakes. False when its ring is
  /// full: the request is `Idle` again, its input is lost. The first `inputChannels` buffers hold input, the
  /// others are silent; the first `outputChannels` results are wanted.
  bool Compute(StereoFDL& line, uint64_t inputChannels, uint64_t outputChannels, FDLThread& thread) noexcept;

  /// [audio thread] The same at once, on this thread.
  void ComputeHere(StereoFDL& line, uint64_t inputChannels, uint64_t outputChannels) noexcept;

  /// Result (or input) of a channel, N samples.
  const float* Channel(uint64_t channel) const noexcept { return channelBuffers[channel]; }

  /// Channels of the result.
  uint64_t ResultChannels() const noexcept { return resultChannels; }
  uint64_t Size() const noexcept { return size; }
  uint64_t Fill() const noexcept { return fill; }
  uint32_t Line() const noexcept { return line; }
  /// [owner] Stream time of the input's first sample.
  int64_t StartTime() const noexcept { return startTime; }
  /// Stream time of the result's first sample.
  int64_t ReadyTime() const noexcept { return readyTime; }

  void SetStale(bool isStale) noexcept { stale.store(isStale, std::memory_order_relaxed); }
  bool IsStale() const noexcept { return stale.load(std::memory_order_relaxed); }

  /// [audio thread] True on the first call for a result: the moment to see whether it came in time.
  bool IsFirstLook() noexcept { return !std::exchange(wasSeen, true); }

 private:
  void Run(StereoFDL& stereo, const std::atomic<int32_t>* cancelCounter, uint64_t inputChannels,
           uint64_t outputChannels) noexcept;

  prims::AlignedBuffer samples;  // both channels
  std::array<float*, 2> channelBuffers{};
  int64_t readyTime = kNoTime;
  int64_t startTime = kNoTime;  // stream time of the input's first sample
  OwnerState<> state;
  uint64_t fill = 0;               // samples in the block so far
  uint64_t size = 0;               // N
  std::atomic<bool> stale{false};  // the result is to be thrown away
  bool wasSeen = false;
  uint64_t resultChannels = 0;
  uint32_t line = 0;
};

}  // namespace Vantora::dsp
