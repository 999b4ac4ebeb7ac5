#pragma once

#include <cstddef>
#include <cstdint>

#include "dsp/effects/prims/AlignedBuffer.h"
#include "dsp/effects/prims/IFIRUpDownsampler.h"

namespace Vantora::prims {

/// FIRUpDownsampler: the sampler on the vector FIR kernel.
///
/// Both ways the taps are split into `factor` branches, branch p holding taps p, p + factor, p + 2 factor,
/// ... Up, every branch filters the whole block at the base rate and the results are interleaved; down, the
/// input is dealt out to one stream a branch and the branches' results are added. So the kernel always runs
/// over contiguous samples, with the outputs as vector lanes.
class FIRUpDownsampler final : public IFIRUpDownsampler {
 public:
  void Init(std::uint32_t newFactor, const float* taps, std::uint32_t tapCount, std::uint32_t latencyOption,
            std::uint32_t maxBlockSize) override;
  std::uint32_t GetLatency() const override { return latency; }
  void Upsample(const float* in, float* out, std::uint32_t n) override;
  void Downsample(const float* in, float* out, std::uint32_t n) override;
  void Reset() override;

 private:
  void UpsampleChunk(const float* in, float* out, std::size_t n) noexcept;
  void DownsampleChunk(const float* in, float* out, std::size_t n) noexcept;

  // Settings, written by Init.
  std::uint32_t factor = 0;
  std::uint32_t latency = 0;   // base-rate samples
  float upGain = 0.0f;         // makes up for the zeros between the samples
  std::size_t branchTaps = 0;  // taps of one branch, the whole padded with zeros behind the last
  std::size_t chunk = 1;       // longest piece processed at once, base-rate samples
  std::size_t rowStride = 0;   // floats from one row to the next
  AlignedBuffer reversedTaps;  // a row a branch, the last tap first
  // State.
  AlignedBuffer upState;        // the last branchTaps - 1 scaled inputs, then the block
  AlignedBuffer downState;      // a row a stream: its last branchTaps samples, then the block
  AlignedBuffer branchOutputs;  // a row a branch, between the filters and the interleaving
};

}  // namespace Vantora::prims
