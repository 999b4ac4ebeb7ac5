#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "basictools/BitCast.h"

namespace Vantora {

/// Four floats that are computed side by side, each lane exactly as a scalar would be. These are the
/// compiler's own vector types: + - * / and comparisons work lane by lane, `mask ? a : b` selects.
using Float4 = float __attribute__((vector_size(16)));
using Int4 = int32_t __attribute__((vector_size(16)));

/// All lanes `x`.
inline Float4 MakeFloat4(float x) noexcept { return Float4{x, x, x, x}; }

inline Float4 LoadFloat4(const float* from) noexcept {
  Float4 x;
  std::memcpy(&x, from, sizeof(x));
  return x;
}

inline void StoreFloat4(Float4 x, float* to) noexcept { std::memcpy(to, &x, sizeof(x)); }

/// The same bits, read as integers.
inline Int4 BitsOf(Float4 x) noexcept {
  Int4 bits;
  std::memcpy(&bits, &x, sizeof(bits));
  return bits;
}

/// The same bits, read as floats.
inline Float4 FromBits(Int4 bits) noexcept {
  Float4 x;
  std::memcpy(&x, &bits, sizeof(x));
  return x;
}

/// Towards zero.
inline Int4 Truncate(Float4 x) noexcept { return __builtin_convertvector(x, Int4); }
inline Float4 ToFloat4(Int4 x) noexcept { return __builtin_convertvector(x, Float4); }

// The same for a single float, so that a formula can be written once, as a template over the kind of number.
// A loop over floats takes as many lanes as the compiler knows.
inline int32_t BitsOf(float x) noexcept { return BitCast<int32_t>(x); }
inline float FromBits(int32_t bits) noexcept { return BitCast<float>(bits); }
inline int32_t Truncate(float x) noexcept { return static_cast<int32_t>(x); }
inline float ToFloat4(int32_t x) noexcept { return static_cast<float>(x); }

/// condition ? yes : no. For a float by its bits: a plain choice is at times turned into a branch, and then
/// its loop no longer vectorises.
inline Float4 Choose(Int4 condition, Float4 yes, Float4 no) noexcept { return condition ? yes : no; }
inline float Choose(bool condition, float yes, float no) noexcept {
  const int32_t mask = -static_cast<int32_t>(condition);
  return FromBits((BitsOf(yes) & mask) | (BitsOf(no) & ~mask));
}

/// `x` as a T: a Float4 or a float.
template <typename T>
inline T MakeNumber(float x) noexcept {
  if constexpr (std::is_same_v<T, float>) {
    return x;
  } else {
    return MakeFloat4(x);
  }
}

/// Replaces data[0..count) in whole groups of four by `f` of them; what lies behind the last group stays.
template <typename Function>
inline void TransformQuads(float* data, uint32_t count, Function&& f) noexcept {
  for (uint32_t round = count / 4; round > 0; --round, data += 4) StoreFloat4(f(LoadFloat4(data)), data);
}

}  // namespace Vantora
