#pragma once

#include <cassert>
#include <cstdint>

#include "dsp/control/LineMemory.h"

namespace Vantora::dsp {

/// How DelayLine::ReadInterpolated reads between two samples. Any other number: not at all. "Misses" is the
/// most that a full-scale sine is missed by, of 1 kHz at 48 kHz and of an eighth of the rate.
enum InterpolationMode : uint32_t {
  /// A straight line between two samples. Misses: -53 dB, -22 dB.
  kInterpolationLinear = 1,
  /// A polynomial through four points that meets the slope and bend at the inner two; delay at least 1.
  /// Misses: -85 dB, -38 dB. Source: O. Niemitalo, "Polynomial Interpolators for High-Quality Resampling of
  /// Oversampled Audio", 2001 (second-order osculating, four points).
  kInterpolationFifthOrder = 2,
  /// The weight of a first-order all-pass without its recursion: at frac 0 the sum of two samples, which no
  /// delay is. Intended: its users' sound is made of it. DelayLine.InterpolatesBetweenTwoSamples holds it.
  kInterpolationAllPass = 3,
};

/// A line's length, at least `needed`, in whole blocks: as long as full blocks are written, none straddles
/// the ring's end.
constexpr uint32_t InWholeBlocks(uint32_t needed, uint32_t blockSize) {
  return blockSize == 0 ? needed : (needed + blockSize - 1) / blockSize * blockSize;
}

/// DelayLine: a ring of samples that every delaying module shares.
///
/// Clearing is lazy: the line knows a range of indices that hold no data, so a reset
/// costs a few stores and no pass over the buffer, and stale samples are never
/// heard. The range shrinks from below as the write position walks through it.
///
///     buffer    | written | zeroBegin .. zeroEnd: reads as zero, whatever is there | written |
///                          ^ writeIndex, after a Clear
///
/// Threads  Resize allocates and belongs into Configure; everything else is for the audio thread
/// Limits   a line of size 0 must not be read or written. Delays fit an int; below `size` wrapping takes one
///          step
class DelayLine {
 public:
  DelayLine() = default;
  virtual ~DelayLine();
  DelayLine(DelayLine&&) noexcept = default;
  DelayLine& operator=(DelayLine&&) noexcept = default;
  DelayLine(const DelayLine&) = delete;
  DelayLine& operator=(const DelayLine&) = delete;

  /// Sets the length in samples and clears. Allocates.
  void Resize(uint32_t newSize);

  /// From here on the line sounds like a new one. Constant time.
  void Clear() noexcept;

  /// Puts a sample at the write position and moves on.
  void Write(float value) noexcept {
    assert(size > 0);
    data[writeIndex] = value;
    if (writeIndex == 0) data[size] = value;
    if (zeroBegin == writeIndex && writeIndex < zeroEnd) zeroBegin = writeIndex + 1;
    if (++writeIndex >= size) writeIndex -= size;
  }

  /// Puts `count` samples, as that many calls of Write.
  void WriteBlock(const float* values, uint32_t count) noexcept;

  /// The sample written `delay` writes ago: 1 is the latest, `size` the oldest.
  float Read(uint32_t delay) const noexcept { return At(writeIndex - static_cast<int32_t>(delay)); }

  /// What Read(delay) would give after `ahead` more writes; `delay` above `ahead`.
  float ReadAhead(uint32_t delay, uint32_t ahead) const noexcept {
    return At(writeIndex + static_cast<int32_t>(ahead) - static_cast<int32_t>(delay));
  }

  /// `count` samples in the order in which they were written, the first being
  /// Read(delay): what Read(delay) gives now and after each further write, as far
  /// as they have been written: `count` at most `delay`, `delay` at most `size`.
  void CopyRun(float* out, uint32_t delay, uint32_t count) const noexcept;

  /// Where those lie that CopyRun would copy, while they lie in a row and none of them is in the cleared
  /// range; else null.
  const float* FindRun(uint32_t delay, uint32_t count) const noexcept {
    const int32_t begin = Wrapped(writeIndex - static_cast<int32_t>(delay));
    const int32_t end = begin + static_cast<int32_t>(count);
    const bool isSilent = begin < zeroEnd && zeroBegin < end && zeroBegin < zeroEnd;
    return end > size || isSilent ? nullptr : data + begin;
  }

  /// Where the next `count` samples may be written, to be followed by TakeRoom; null where the ring ends
  /// before them.
  float* Room(uint32_t count) noexcept {
    return writeIndex + static_cast<int32_t>(count) > size ? nullptr : data + writeIndex;
  }

  /// `count` samples, at least one, have been written where Room told: as WriteBlock of them.
  void TakeRoom(uint32_t count) noexcept {
    const int32_t begin = writeIndex;
    const int32_t end = begin + static_cast<int32_t>(count);
    if (begin == 0) data[size] = data[0];
    // As sample by sample: the range shrinks once the write position has reached its lower bound.
    if (zeroBegin >= begin && zeroBegin < end && zeroBegin < zeroEnd)
      zeroBegin = end < zeroEnd ? end : zeroEnd;
    writeIndex = end == size ? 0 : end;
  }

  /// What Read gives, by absolute index into the ring.
  float ReadAt(uint32_t index) const noexcept { return At(static_cast<int32_t>(index)); }

  /// Overwrites the sample that Read(delay) reads. Inside
  /// the cleared range the smaller side of it is made real.
  void WriteAt(uint32_t delay, float value) noexcept;

  /// Reads between `delay` and `delay` + 1.
  /// mode  an InterpolationMode, others read at `delay`
  /// frac  0..1, distance from `delay`
  float ReadInterpolated(uint32_t delay, uint32_t mode, float frac) const noexcept {
    switch (mode) {
      case kInterpolationLinear: {
        const float x = Read(delay);
        return x + (Read(delay + 1) - x) * frac;
      }
      case kInterpolationFifthOrder:
        return ReadFifthOrder(delay, frac);
      case kInterpolationAllPass:
        return Read(delay) * (1.0f - frac) / (1.0f + frac) + Read(delay + 1);
      default:
        return Read(delay);
    }
  }

  /// Between b and c, which lie between a and e: a fifth-order polynomial in Horner form. `frac` 0..1 from b.
  static float FifthOrder(float a, float b, float c, float e, float frac) noexcept {
    const float p = c - b;
    const float q = e - a;
    float y = 3.0f * p + a - e;
    y = y * frac + (2.5f * q - 7.5f * p);
    y = y * frac + (-1.5f * q + 4.5f * p);
    y = y * frac + (0.5f * (c + a) - b);
    y = y * frac + 0.5f * (c - a);
    return y * frac + b;
  }

  /// The ring itself, for loops that read many places at once. Behind its last cell stands the first one
  /// again, so that two neighbours are always found side by side.
  struct Ring {
    const float* data;
    int32_t size;
    int32_t writeIndex;
    int32_t zeroBegin;  ///< what lies from here to below `zeroEnd` counts as 0
    int32_t zeroEnd;
  };
  Ring GetRing() const noexcept { return {data, size, writeIndex, zeroBegin, zeroEnd}; }

  /// Length in samples.
  uint32_t Size() const noexcept { return static_cast<uint32_t>(size); }

  /// True from a Resize to the next Clear. A mark for the owner; no operation looks at it.
  bool IsReady() const noexcept { return ready; }

 private:
  int32_t Wrapped(int32_t index) const noexcept {
    assert(size > 0);
    while (index < 0) index += size;
    while (index >= size) index -= size;
    return index;
  }

  bool IsInZeroRange(int32_t index) const noexcept { return index >= zeroBegin && index < zeroEnd; }

  float At(int32_t index) const noexcept {
    const int32_t i = Wrapped(index);
    return IsInZeroRange(i) ? 0.0f : data[i];
  }

  float ReadFifthOrder(uint32_t delay, float frac) const noexcept {
    return FifthOrder(Read(delay - 1), Read(delay), Read(delay + 1), Read(delay + 2), frac);
  }

  LineMemory memory;
  float* data = nullptr;   // its first float
  bool ready = false;      // set by Resize, cleared by Clear
  int32_t size = 0;        // samples
  int32_t writeIndex = 0;  // where the next sample goes
  // Half-open range of indices that reads as zero: 0 <= zeroBegin <= zeroEnd <= size.
  int32_t zeroBegin = 0;
  int32_t zeroEnd = 0;
};

}  // namespace Vantora::dsp
