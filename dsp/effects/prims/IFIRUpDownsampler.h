#pragma once

#include <cstdint>

#include "basictools/math/WholeQuads.h"

namespace Vantora::prims {

/// IFIRUpDownsampler: changes the sample rate by a whole factor through
/// a FIR low-pass, up before a nonlinear stage and down after it.
///
///     Upsample     in x factor --> factor - 1 zeros after each sample --> taps --> out
///     Downsample   in --> taps --> the first of every `factor` samples --> out
///
/// Threads  Init allocates and comes first; the rest belongs to the audio thread
class IFIRUpDownsampler {
 public:
  virtual ~IFIRUpDownsampler() = default;

  /// Takes the factor and a copy of the taps (at the high
  /// rate), prepares both filters and clears their state.
  ///
  /// `latencyOption` only chooses what GetLatency reports: with its low two bits equal to 1 the exact
  /// (tapCount - 1) / factor of symmetric taps, else tapCount rounded up to fours, over the factor. Blocks
  /// longer than `maxBlockSize` (base-rate samples) are processed in pieces. Without taps the outputs are
  /// zeros, with factor 0 nothing is written.
  virtual void Init(std::uint32_t factor, const float* taps, std::uint32_t tapCount,
                    std::uint32_t latencyOption, std::uint32_t maxBlockSize) = 0;

  /// What up and down together delay by, in samples of the base rate.
  virtual std::uint32_t GetLatency() const = 0;

  /// n samples of `in` become n x factor samples of `out`; the two don't overlap.
  virtual void Upsample(const float* in, float* out, std::uint32_t n) = 0;

  /// n x factor samples of `in` become n samples of `out`; the two don't overlap.
  virtual void Downsample(const float* in, float* out, std::uint32_t n) = 0;

  /// Clears the state of both filters.
  virtual void Reset() = 0;
};

/// The latency that a sampler reports, see IFIRUpDownsampler::Init. 0 without taps and for factor 0.
constexpr std::uint32_t SamplerLatency(std::uint32_t factor, std::uint32_t tapCount,
                                       std::uint32_t latencyOption) {
  if (factor == 0 || tapCount == 0) return 0;
  if ((latencyOption & 3u) == 1u) return (tapCount - 1) / factor;
  return WholeQuadsAbove(tapCount) / factor;
}

}  // namespace Vantora::prims
