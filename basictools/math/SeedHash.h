#pragma once

#include <cstdint>

namespace Vantora {

/// Seed of the element at `place` under a parent's seed: neighbours share no pattern, and the result
/// is never 0, which would mean the clock. The mixing is the finaliser of A. Appleby's MurmurHash3.
constexpr uint32_t SeedHash(uint32_t parent, uint32_t place) noexcept {
  uint32_t h = parent + 0x9E3779B9u * (place + 1u);
  h ^= h >> 16;
  h *= 0x85EBCA6Bu;
  h ^= h >> 13;
  h *= 0xC2B2AE35u;
  h ^= h >> 16;
  return h != 0 ? h : 1u;
}

}  // namespace Vantora
