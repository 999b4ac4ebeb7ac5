#include "host/BlockBuffer.h"

#include <cmath>
#include <cstring>

namespace Vantora::host {
namespace {

/// Whether all magnitudes are at most `BlockBuffer::kLoudest`: neither NaN nor infinite nor huge. Magnitudes
/// sort like their bits, NaN and infinity on top, so that one integer sum tells without a branch: beyond the
/// loudest it runs into the sign.
bool IsAllSound(const float* samples, uint32_t count) {
  using Four = uint32_t __attribute__((vector_size(16)));
  constexpr uint32_t kMagnitude = 0x7fffffff, kSign = 0x80000000;
  const auto bitsOf = [](const float& sample) {
    uint32_t bits;
    std::memcpy(&bits, &sample, sizeof bits);
    return bits;
  };
  const uint32_t headroom = kMagnitude - bitsOf(BlockBuffer::kLoudest);
  const auto sumsAt = [&](const float* at) {
    Four bits;
    std::memcpy(&bits, at, sizeof bits);
    return (bits & kMagnitude) + headroom;
  };
  Four sums{};
  const float* const end = samples + count;
  const float* at = samples;
  for (; end - at >= 16; at += 16) {
    sums |= (sumsAt(at) | sumsAt(at + 4)) | (sumsAt(at + 8) | sumsAt(at + 12));
  }
  uint32_t all = sums[0] | sums[1] | sums[2] | sums[3];
  while (at != end) all |= (bitsOf(*at++) & kMagnitude) + headroom;
  return (all & kSign) == 0;
}

/// Copies, and answers whether all magnitudes are below 2, as nearly always. The bits of all samples are laid
/// over each other: the highest one of the exponent stays free.
bool CopyIsModest(const float* from, size_t count, float* to) {
  using Two = uint64_t __attribute__((vector_size(16)));  // four samples' bits
  constexpr uint64_t kTwoAndMore = 0x4000'0000'4000'0000;
  const auto copyFour = [&](size_t offset) {
    Two bits;
    std::memcpy(&bits, from + offset, sizeof bits);
    std::memcpy(to + offset, &bits, sizeof bits);
    return bits;
  };
  Two over{};
  for (; count >= 16; count -= 16, from += 16, to += 16) {
    over |= (copyFour(0) | copyFour(4)) | (copyFour(8) | copyFour(12));
  }
  uint64_t all = over[0] | over[1];
  for (; count > 0; --count, ++from, ++to) {
    uint32_t bits;
    std::memcpy(&bits, from, sizeof bits);
    std::memcpy(to, &bits, sizeof bits);
    all |= bits;
  }
  return (all & kTwoAndMore) == 0;
}

/// Replaces what is no sound; answers how many samples that were. Apart, because it is nearly never wanted.
[[gnu::noinline]] uint64_t Mend(float* samples, uint32_t count) {
  if (IsAllSound(samples, count)) return 0;
  uint64_t replaced = 0;
  for (uint32_t i = 0; i < count; ++i) {
    float& sample = samples[i];
    const bool isSound = std::fabs(sample) <= BlockBuffer::kLoudest;  // neither NaN nor infinite nor huge
    replaced += isSound ? 0 : 1;
    sample = isSound ? sample : std::isfinite(sample) ? std::copysign(BlockBuffer::kLoudest, sample) : 0.0f;
  }
  return replaced;
}

}  // namespace

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
    if (!CopyIsModest(source[channel] + offset, count, to)) replaced += Mend(to, count);
  }
  if (replaced != 0) nonFiniteCount.fetch_add(replaced, std::memory_order_relaxed);
  fill += count;
}

void BlockBuffer::ClearOutput() {
  for (float* channel : output) std::fill_n(channel, size, 0.0f);
}

}  // namespace Vantora::host
