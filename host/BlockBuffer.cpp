#include "host/BlockBuffer.h"

#include <algorithm>
#include <cmath>

#include "basictools/BitCast.h"

namespace Vantora::host {

void BlockBuffer::Resize(uint32_t inputChannels, uint32_t blockSize) {
  inputCount = inputChannels;
  size = blockSize;
  fill = 0;
  constexpr size_t kLine = 16;  // samples of a cache line, on which each channel begins
  stride = (size + kLine - 1) / kLine * kLine;
  storage.assign(4 * stride, 0.0f);
  for (size_t channel = 0; channel < 2; ++channel) {
    input[channel] = storage.data() + channel * stride;
    output[channel] = storage.data() + (2 + channel) * stride;
  }
  nonFiniteCount.store(0, std::memory_order_relaxed);
}

void BlockBuffer::Take(const float* const* source, size_t offset, uint32_t count) {
  for (uint32_t channel = 0; channel < inputCount; ++channel) {
    float* const to = input[channel] + fill;
    if (source != nullptr && source[channel] != nullptr) {
      std::copy_n(source[channel] + offset, count, to);
    } else {
      std::fill_n(to, count, 0.0f);
    }
  }
  Mend(count);
  fill += count;
}

void BlockBuffer::ExchangeSingly(const float* const* source, float* const* destination, uint32_t channels,
                                 size_t offset, uint32_t count) {
  const uint32_t from = fill;
  Take(source, offset, count);
  for (uint32_t channel = 0; channel < channels; ++channel) {
    if (destination[channel] == nullptr) continue;
    std::copy_n(output[channel] + from, count, destination[channel] + offset);
  }
}

void BlockBuffer::Mend(size_t count) {
  constexpr uint32_t kTwoAndMore = 0x4000'0000;  // the highest bit of the exponent
  uint64_t replaced = 0;
  for (uint32_t channel = 0; channel < inputCount; ++channel) {
    float* const samples = input[channel] + fill;
    uint32_t all = 0;  // bits laid over each other: a look at each sample is nearly never needed
    for (size_t i = 0; i < count; ++i) all |= BitCast<uint32_t>(samples[i]);
    if ((all & kTwoAndMore) == 0) continue;
    for (size_t i = 0; i < count; ++i) {
      float& sample = samples[i];
      if (std::fabs(sample) <= kLoudest) continue;  // neither NaN nor infinite nor huge
      sample = std::isfinite(sample) ? std::copysign(kLoudest, sample) : 0.0f;
      ++replaced;
    }
  }
  if (replaced != 0) nonFiniteCount.fetch_add(replaced, std::memory_order_relaxed);
}

void BlockBuffer::ClearOutput() {
  for (float* channel : output) std::fill_n(channel, size, 0.0f);
}

}  // namespace Vantora::host
