#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "dsp/effects/prims/AlignedBuffer.h"
#include "dsp/effects/prims/FFTPlan.h"

namespace Vantora::dsp {

/// FDL: frequency-domain delay line, one channel's convolution with a run of equal partitions of an impulse.
///
/// Overlap-save with half-overlapping windows of 2N samples: when N new samples are
/// complete, the window's spectrum enters a ring, each spectrum of the ring is
/// multiplied with the partition that lies as many blocks back, and the sum is
/// transformed back. Its upper half is the result, N samples that begin at OutputTime().
///
///     slot head + i holds the input of i blocks ago;  head moves down
///     result = sum over i of slot[head + i] * filter[i]
///
/// Threads  Prepare allocates; the rest is for one thread at a time, the audio thread or a worker
/// Source   G. Garcia, Optimal filter partition for efficient convolution with short input/output delay,
///          AES 2002
class FDL {
 public:
  /// Cuts `count` partitions of `size` taps from `impulse`, of `length` samples, from `tapOffset` on. What
  /// lies behind the impulse's end is zero. `size` is a power of two.
  ///
  /// With `sharedFrom`, a prepared line of the same size, both use one transform and its work memory, which
  /// halves what they push out of the caches: they must then always run on the same thread.
  void Prepare(uint64_t size, uint64_t count, uint64_t tapOffset, const float* impulse, uint64_t length,
               const FDL* sharedFrom = nullptr);

  /// Back to the state after Prepare: what was pushed is forgotten.
  void Reset() noexcept;

  /// Pushes `count` samples, at most N; more do nothing. A null source is silence.
  void Push(const float* source, uint64_t count) noexcept;

  /// The same on a worker, which gives up as soon as `cancelCounter` is above 0. The line is then halfway
  /// between two states until it is reset. False when it gave up.
  bool Push(const float* source, uint64_t count, const std::atomic<int32_t>& cancelCounter) noexcept;

  /// Tells the stream time of the next sample that is pushed. The line counts on by itself, but after lost
  /// input it would place every later result too early.
  void SetInputTime(uint64_t time) noexcept { timeAdjust = time - samplesIn; }

  /// Stream time of the next sample of the result.
  uint64_t OutputTime() const noexcept { return outputTime; }

  /// Takes `count` samples of the result; null when there are not as many.
  const float* Take(uint64_t count) noexcept;

  uint64_t PartitionSize() const noexcept { return partitionSize; }

 private:
  template <typename IsCancelled>
  bool PushUntil(const float* source, uint64_t count, IsCancelled isCancelled) noexcept;
  void Append(const float* source, uint64_t offset, uint64_t count) noexcept;
  void PutSpectrum(const float* spectrum, prims::AlignedBuffer& spectra, uint64_t index) const noexcept;
  template <typename IsCancelled>
  bool SumProducts(IsCancelled isCancelled) noexcept;

  uint64_t partitionSize = 0;           // N
  uint64_t tapOffset = 0;               // index in the impulse of the first tap
  uint64_t fftSize = 0;                 // 2 N
  uint64_t spectrumStride = 0;          // floats from one spectrum to the next: an odd number of cache lines
  bool isShort = false;                 // spectra lie row by row, as SumSpectra reads them
  std::shared_ptr<prims::FFTPlan> fft;  // of fftSize points; its work buffer serves one thread at a time
  prims::AlignedBuffer filterSpectra;   // one for each partition
  prims::AlignedBuffer slotSpectra;     // ring of input spectra, as many
  std::vector<uint8_t> slotSilent;      // 1: the slot holds nothing yet and costs nothing
  uint64_t head = 0;                    // ring index of the slot written next
  prims::AlignedBuffer inputBuffer;     // the window, fftSize samples
  prims::AlignedBuffer accumulator;     // sum of products, then the result in its upper half
  uint64_t fillPosition = 0;            // next write position in inputBuffer, N..2N
  uint64_t outputRead = 0;              // samples of the result already taken
  uint64_t samplesIn = 0;               // since the last reset
  uint64_t outputTime = 0;              // stream time of the result's next sample
  uint64_t timeAdjust = 0;              // from samplesIn to stream time
};

/// The delay lines of both channels for one entry of the
/// schedule, and what the threads need to hand them to and fro.
struct StereoFDL {
  std::array<FDL, 2> channels;

  /// Commands that the worker still holds for this line; the producer raises it, the worker lowers it last.
  /// Only at 0 may another thread touch the line.
  std::atomic<uint32_t> commandsHeld{0};
  /// The command for a reset found the ring full: the line is reset before the next input.
  std::atomic<bool> resetDue{false};
  /// [audio thread] Something was pushed since the last reset.
  bool isUsed = false;

  void Reset() noexcept {
    for (FDL& line : channels) line.Reset();
  }
};

}  // namespace Vantora::dsp
