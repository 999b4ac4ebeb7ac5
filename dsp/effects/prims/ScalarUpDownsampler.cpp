#include "dsp/effects/prims/ScalarUpDownsampler.h"

#include <algorithm>

namespace Vantora::prims {

namespace {

// Sum of a[i] * b[i] in four parts.
float Dot(const float* a, const float* b, std::size_t count) {
  float sums[4] = {};
  std::size_t i = 0;
  for (; i + 4 <= count; i += 4) {
    for (std::size_t j = 0; j < 4; ++j) sums[j] += a[i + j] * b[i + j];
  }
  for (; i < count; ++i) sums[0] += a[i] * b[i];
  return (sums[0] + sums[1]) + (sums[2] + sums[3]);
}

}  // namespace

void ScalarUpDownsampler::History::Resize(std::size_t newLength) {
  length = newLength;
  samples.assign(2 * length, 0.0f);
  position = 0;
}

void ScalarUpDownsampler::History::Clear() { std::fill(samples.begin(), samples.end(), 0.0f); }

void ScalarUpDownsampler::History::Push(float x) {
  samples[position] = samples[position + length] = x;
  if (++position == length) position = 0;
}

void ScalarUpDownsampler::Init(std::uint32_t newFactor, const float* taps, std::uint32_t tapCount,
                               std::uint32_t latencyOption, std::uint32_t /*maxBlockSize*/) {
  factor = newFactor;
  latency = SamplerLatency(factor, tapCount, latencyOption);
  branchTaps = factor > 0 ? (std::size_t{tapCount} + factor - 1) / factor : 0;
  const std::size_t padded = branchTaps * factor;
  reversedTaps.assign(padded, 0.0f);
  reversedBranches.assign(padded, 0.0f);
  for (std::size_t i = 0; padded > 0 && i < tapCount; ++i) {
    reversedTaps[padded - 1 - i] = taps[i];
    reversedBranches[i % factor * branchTaps + branchTaps - 1 - i / factor] = taps[i];
  }
  up.Resize(branchTaps);
  down.Resize(padded);
}

void ScalarUpDownsampler::Reset() {
  up.Clear();
  down.Clear();
}

void ScalarUpDownsampler::Upsample(const float* in, float* out, std::uint32_t n) {
  if (branchTaps == 0) {
    std::fill_n(out, std::size_t{n} * factor, 0.0f);
    return;
  }
  const float gain = static_cast<float>(factor);
  for (std::size_t i = 0; i < n; ++i) {
    up.Push(gain * in[i]);
    for (std::size_t p = 0; p < factor; ++p) {
      out[i * factor + p] = Dot(&reversedBranches[p * branchTaps], up.OldestFirst(), branchTaps);
    }
  }
}

void ScalarUpDownsampler::Downsample(const float* in, float* out, std::uint32_t n) {
  if (factor == 0) return;
  if (branchTaps == 0) {
    std::fill_n(out, n, 0.0f);
    return;
  }
  for (std::size_t i = 0; i < n; ++i) {
    const float* group = in + i * factor;
    down.Push(group[0]);
    out[i] = Dot(reversedTaps.data(), down.OldestFirst(), reversedTaps.size());
    for (std::size_t q = 1; q < factor; ++q) down.Push(group[q]);
  }
}

}  // namespace Vantora::prims
