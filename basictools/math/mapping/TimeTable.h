#pragma once

#include <cstddef>
#include <cstdint>

namespace Vantora::MappingTools {

/// Reads a rising table of N points at x, strictly between 0 and 1: straight lines over equal segments.
template <size_t N>
float InterpolateTable(const float (&table)[N], float x) noexcept {
  const float p = static_cast<float>(N - 1) * x;
  const uint32_t i = static_cast<uint32_t>(p);
  return table[i] + (table[i + 1] - table[i]) * (p - static_cast<float>(i));
}

/// The way back, in segments: 0..N - 1 for y strictly between 0 and 1.
template <size_t N>
float FindInTable(const float (&table)[N], float y) noexcept {
  uint32_t i = 0;
  while (y > table[i + 1]) ++i;
  return (y - table[i]) / (table[i + 1] - table[i]) + static_cast<float>(i);
}

}  // namespace Vantora::MappingTools
