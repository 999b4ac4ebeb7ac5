#include "host/BlockBuffer.h"

#include <cmath>
#include <cstring>

namespace Vantora::host {

void BlockBuffer::Resize(uint32_t inputChannels, uint32_t blockSize) {
  inputCount = inputChannels;
  size = blockSize;
  fill = 0;
  storage.assign(size_t{4} * size, 0.0f);
  for (size_t channel = 0; channel < 2; ++channel) {
    input[channel] = storage.data() + channel * size;
    output[channel] = storage.data() + (2 + channel) * size;
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
  Mend(0, count);
  fill += count;
}

void BlockBuffer::ExchangeRest(const float* const* source, float* const* destination, size_t offset,
                               size_t at, size_t count) {
  for (size_t channel = 0; channel < 2; ++channel) {
    std::copy(source[channel] + offset + at, source[channel] + offset + count, input[channel] + fill + at);
  }
  Mend(at, count);
  for (size_t channel = 0; channel < 2; ++channel) {
    std::copy(output[channel] + fill + at, output[channel] + fill + count,
              destination[channel] + offset + at);
  }
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

void BlockBuffer::Mend(size_t begin, size_t end) {
  uint64_t replaced = 0;
  for (uint32_t channel = 0; channel < inputCount; ++channel) {
    float* const samples = input[channel] + fill;
    uint32_t all = 0;  // bits laid over each other: a look at each sample is nearly never needed
    for (size_t i = begin; i < end; ++i) {
      uint32_t bits;
      std::memcpy(&bits, samples + i, sizeof bits);
      all |= bits;
    }
    if ((all & kTwoAndMore) == 0) continue;
    for (size_t i = begin; i < end; ++i) {
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
