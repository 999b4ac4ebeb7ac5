#pragma once

#include <array>
#include <cstdint>

#include "basictools/math/Xorshift.h"

namespace Vantora {

/// Many steps of `XorshiftStep` at once. A step is linear over bits, so that 2^k steps are one linear map
/// again; each map is kept as what it makes of every four bits of the state, which are then added up without
/// carry.
class XorshiftJump {
 public:
  /// The state after `steps` steps from `x`, below 2^kPowers of them.
  static uint32_t Apply(uint32_t x, uint32_t steps) noexcept {
    for (uint32_t k = 0; steps != 0; ++k, steps >>= 1) {
      if ((steps & 1u) != 0) x = Map(kTables[k], x);
    }
    return x;
  }

  static constexpr uint32_t kPowers = 10;

 private:
  using Table = std::array<std::array<uint32_t, 16>, 8>;  // [group of four bits][their value]

  static constexpr uint32_t Map(const Table& table, uint32_t x) noexcept {
    uint32_t y = 0;
    for (uint32_t group = 0; group < 8; ++group) y ^= table[group][(x >> (4 * group)) & 15u];
    return y;
  }

  static constexpr std::array<Table, kPowers> MakeTables() noexcept {
    std::array<Table, kPowers> tables{};
    for (uint32_t k = 0; k < kPowers; ++k) {
      for (uint32_t group = 0; group < 8; ++group) {
        for (uint32_t value = 0; value < 16; ++value) {
          const uint32_t x = value << (4 * group);
          tables[k][group][value] = k == 0 ? XorshiftStep(x) : Map(tables[k - 1], Map(tables[k - 1], x));
        }
      }
    }
    return tables;
  }

  static const std::array<Table, kPowers> kTables;
};

inline constexpr std::array<XorshiftJump::Table, XorshiftJump::kPowers> XorshiftJump::kTables =
    XorshiftJump::MakeTables();

}  // namespace Vantora
