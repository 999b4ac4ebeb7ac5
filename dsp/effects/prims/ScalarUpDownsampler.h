#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "dsp/effects/prims/IFIRUpDownsampler.h"

namespace Vantora::prims {

/// ScalarUpDownsampler: the sampler as a plain loop, a sample at a time. It needs no work buffer, so blocks
/// may have any length whatever was announced.
class ScalarUpDownsampler final : public IFIRUpDownsampler {
 public:
  void Init(std::uint32_t newFactor, const float* taps, std::uint32_t tapCount, std::uint32_t latencyOption,
            std::uint32_t maxBlockSize) override;
  std::uint32_t GetLatency() const override { return latency; }
  void Upsample(const float* in, float* out, std::uint32_t n) override;
  void Downsample(const float* in, float* out, std::uint32_t n) override;
  void Reset() override;

 private:
  // Holds the last samples twice, a length apart, so that they can always be read in one piece.
  struct History {
    std::vector<float> samples;
    std::size_t length = 0;
    std::size_t position = 0;  // of the oldest sample

    void Resize(std::size_t newLength);
    void Clear();
    void Push(float x);
    const float* OldestFirst() const { return samples.data() + position; }
  };

  // Settings, written by Init.
  std::uint32_t factor = 0;
  std::uint32_t latency = 0;
  std::size_t branchTaps = 0;
  std::vector<float> reversedTaps;      // padded with zeros to a multiple of the factor, the last tap first
  std::vector<float> reversedBranches;  // the same, a row a branch
  // State.
  History up;    // scaled inputs at the base rate
  History down;  // inputs at the high rate
};

}  // namespace Vantora::prims
