#include "dsp/effects/prims/FIRUpDownsampler.h"

#include <algorithm>

#include "dsp/effects/prims/VectorKernels.h"

namespace Vantora::prims {

namespace {

constexpr std::size_t WholeCacheLines(std::size_t floats) { return (floats + 15) & ~std::size_t{15}; }

}  // namespace

void FIRUpDownsampler::Init(std::uint32_t newFactor, const float* taps, std::uint32_t tapCount,
                            std::uint32_t latencyOption, std::uint32_t maxBlockSize) {
  factor = newFactor;
  latency = SamplerLatency(factor, tapCount, latencyOption);
  upGain = static_cast<float>(factor);
  branchTaps = factor > 0 ? (std::size_t{tapCount} + factor - 1) / factor : 0;
  chunk = std::max<std::size_t>(maxBlockSize, 1);
  rowStride = WholeCacheLines(branchTaps + chunk);

  reversedTaps = AlignedBuffer(factor * branchTaps);
  for (std::size_t i = 0; branchTaps > 0 && i < tapCount; ++i) {
    reversedTaps[i % factor * branchTaps + branchTaps - 1 - i / factor] = taps[i];
  }
  upState = AlignedBuffer(rowStride);
  downState = AlignedBuffer(factor * rowStride);
  branchOutputs = AlignedBuffer(factor * rowStride);
}

void FIRUpDownsampler::Reset() {
  upState.Fill(0.0f);
  downState.Fill(0.0f);
}

void FIRUpDownsampler::Upsample(const float* in, float* out, std::uint32_t n) {
  if (branchTaps == 0) return Zero(out, std::size_t{n} * factor);
  for (std::size_t done = 0; done < n; done += chunk) {
    UpsampleChunk(in + done, out + done * factor, std::min(chunk, n - done));
  }
}

void FIRUpDownsampler::Downsample(const float* in, float* out, std::uint32_t n) {
  if (factor == 0) return;
  if (branchTaps == 0) return Zero(out, n);
  for (std::size_t done = 0; done < n; done += chunk) {
    DownsampleChunk(in + done * factor, out + done, std::min(chunk, n - done));
  }
}

void FIRUpDownsampler::UpsampleChunk(const float* in, float* out, std::size_t n) noexcept {
  const std::size_t history = branchTaps - 1;
  Scale(upGain, in, upState.Data(history), n);
  for (std::size_t p = 0; p < factor; ++p) {
    Fir(reversedTaps.Data(p * branchTaps), branchTaps, upState.Data(), branchOutputs.Data(p * rowStride), n);
  }
  Interleave(branchOutputs.Data(), rowStride, factor, out, n);
  Move(upState.Data(n), upState.Data(), history);
}

void FIRUpDownsampler::DownsampleChunk(const float* in, float* out, std::size_t n) noexcept {
  Deinterleave(in, factor, downState.Data(branchTaps), rowStride, n);
  // The output is due at the first sample of a group: branch 0 takes that sample as its newest. Branch p
  // reaches p samples further back, into the group before, where its stream is number factor - p.
  Fir(reversedTaps.Data(), branchTaps, downState.Data(1), out, n);
  for (std::size_t p = 1; p < factor; ++p) {
    FirAdd(reversedTaps.Data(p * branchTaps), branchTaps, downState.Data((factor - p) * rowStride), out, n);
  }
  for (std::size_t q = 0; q < factor; ++q) {
    Move(downState.Data(q * rowStride + n), downState.Data(q * rowStride), branchTaps);
  }
}

}  // namespace Vantora::prims
