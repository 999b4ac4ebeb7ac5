#include "host/BlockBuffer.h"

#include <cmath>

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
  uint64_t replaced = 0;
  for (uint32_t channel = 0; channel < inputCount; ++channel) {
    float* to = input[channel] + fill;
    if (source == nullptr || source[channel] == nullptr) {
      std::fill_n(to, count, 0.0f);
      continue;
    }
    const float* from = source[channel] + offset;
    for (uint32_t i = 0; i < count; ++i) {
      const bool isSound = std::fabs(from[i]) <= kLoudest;  // neither NaN nor infinite nor huge
      to[i] = isSound ? from[i] : std::isfinite(from[i]) ? std::copysign(kLoudest, from[i]) : 0.0f;
      replaced += isSound ? 0 : 1;
    }
  }
  if (replaced != 0) nonFiniteCount.fetch_add(replaced, std::memory_order_relaxed);
  fill += count;
}

void BlockBuffer::ClearOutput() {
  for (float* channel : output) std::fill_n(channel, size, 0.0f);
}

}  // namespace Vantora::host
