#pragma once

#include <cstdint>
#include <memory>

#include "dsp/effects/prims/ChebyshevUpDownsampler.h"
#include "dsp/effects/prims/IFIRUpDownsampler.h"

namespace Vantora::prims {

/// Oversampler: the sampler that a module owns, one channel up and down by a fixed factor.
///
///     kind 0   inverse Chebyshev, order 14: 80 dB from 28 kHz (at a base rate of 48 kHz); reports no latency
///     kind 1   inverse Chebyshev, order 10: 70 dB from 30 kHz; reports no latency
///     kind 2   linear phase, 100 dB from 27.5 kHz, a plain loop
///     kind 3   the same taps on the vector kernels: the fast one
///     kind 4   as kind 2
///
/// The factor is 2, 4, 6, 8, 16 or 32, with latencies of 47, 51, 46, 48, 46
/// and 44 base samples for kinds 2 to 4, up and down together. Any other
/// factor or kind gives zeros and no latency; factor 0 writes nothing at all.
///
/// Threads  constructor and Init allocate, the rest doesn't
class Oversampler {
 public:
  /// Designs the filters. `option` is there for owners that keep it in a table: no kind has a choice to make.
  Oversampler(std::uint32_t newFactor, std::uint32_t newKind, std::uint32_t option = 1);

  /// Prepares for blocks of up to `maxBlockSize` base samples
  /// (longer ones are processed in pieces), state cleared.
  void Init(std::uint32_t maxBlockSize);

  /// n samples of `in` become n x factor samples of `out`, at unity gain. The two don't overlap.
  void Upsample(const float* in, float* out, std::uint32_t n);

  /// n x factor samples of `in` become n samples of `out`. The two don't overlap.
  void Downsample(const float* in, float* out, std::uint32_t n);

  /// Clears the state: what follows doesn't depend on what came before.
  void Reset();

  /// What up and down together delay by, in base samples.
  std::uint32_t GetLatency() const;

  std::uint32_t GetFactor() const { return factor; }

 private:
  std::uint32_t factor;
  std::uint32_t kind;
  std::unique_ptr<IFIRUpDownsampler> fir;  // null for kinds 0 and 1
  ChebyshevUpDownsampler chebyshev;
};

}  // namespace Vantora::prims
