#pragma once

#include <chrono>
#include <cstdint>

namespace Vantora {

/// A seed that varies from instance to instance: the clock, mixed with the address of who asks, so that two
/// instances made within one tick differ. Never 0, which a xorshift generator couldn't leave.
inline uint32_t ClockSeed(const void* instance) noexcept {
  const auto ticks = std::chrono::steady_clock::now().time_since_epoch().count();
  uint64_t x = static_cast<uint64_t>(ticks) ^ (reinterpret_cast<uintptr_t>(instance) * 0x9E3779B97F4A7C15u);
  x ^= x >> 32;
  x *= 0xD6E8FEB86659FD93u;
  x ^= x >> 32;
  const auto seed = static_cast<uint32_t>(x);
  return seed != 0 ? seed : 1u;
}

}  // namespace Vantora
