#pragma once

#include <cmath>
#include <cstdint>
#include <numbers>
#include <type_traits>

#include "basictools/math/Float4.h"
#include "basictools/math/VectorExpLog.h"
#include "basictools/math/VectorSine.h"

/// The arithmetic that the shaping curves are written in, for four kinds of number: `Lane` in the sample
/// loops, which the compiler takes as many at once as the machine has lanes, `Float4` with the same bits,
/// `double` where antiderivatives and level measurements are taken, `float` for a plain version to compare
/// with. Every operation is free of branches, so that four lanes can take it at once.
namespace Vantora::dsp::curves {

/// One lane of the vector arithmetic: a float with the vector forms of the functions, so that a loop over it
/// vectorises to any width with the same bits.
struct Lane {
  float x;
};
inline Lane operator+(Lane a, Lane b) noexcept { return {a.x + b.x}; }
inline Lane operator-(Lane a, Lane b) noexcept { return {a.x - b.x}; }
inline Lane operator*(Lane a, Lane b) noexcept { return {a.x * b.x}; }
inline Lane operator+(Lane a, float b) noexcept { return {a.x + b}; }
inline Lane operator-(Lane a, float b) noexcept { return {a.x - b}; }
inline Lane operator*(Lane a, float b) noexcept { return {a.x * b}; }
inline Lane operator+(float a, Lane b) noexcept { return {a + b.x}; }
inline Lane operator-(float a, Lane b) noexcept { return {a - b.x}; }
inline Lane operator*(float a, Lane b) noexcept { return {a * b.x}; }
inline Lane operator-(Lane a) noexcept { return {-a.x}; }
inline bool operator<(Lane a, Lane b) noexcept { return a.x < b.x; }
inline bool operator>(Lane a, Lane b) noexcept { return a.x > b.x; }
inline bool operator<(Lane a, float b) noexcept { return a.x < b; }
inline bool operator>(Lane a, float b) noexcept { return a.x > b; }
inline bool operator<=(Lane a, float b) noexcept { return a.x <= b; }
inline bool operator>=(Lane a, float b) noexcept { return a.x >= b; }

namespace details {
template <typename T>
struct LaneOf {
  using Type = T;
};
template <>
struct LaneOf<Float4> {
  using Type = float;
};
template <>
struct LaneOf<Lane> {
  using Type = float;
};
}  // namespace details

/// A constant in the precision of T's lanes.
template <typename T>
constexpr typename details::LaneOf<T>::Type C(double value) noexcept {
  return static_cast<typename details::LaneOf<T>::Type>(value);
}

/// All lanes `value`.
template <typename T>
inline T All(double value) noexcept {
  if constexpr (std::is_same_v<T, Float4>) {
    return MakeFloat4(static_cast<float>(value));
  } else if constexpr (std::is_same_v<T, Lane>) {
    return {static_cast<float>(value)};
  } else {
    return static_cast<T>(value);
  }
}

inline Float4 Select(Int4 condition, Float4 yes, Float4 no) noexcept { return condition ? yes : no; }
inline Lane Select(bool condition, Lane yes, Lane no) noexcept { return {Choose(condition, yes.x, no.x)}; }
inline float Select(bool condition, float yes, float no) noexcept { return condition ? yes : no; }
inline double Select(bool condition, double yes, double no) noexcept { return condition ? yes : no; }

/// A NaN in `a` stays.
template <typename T>
inline T Min(T a, T b) noexcept {
  return Select(a > b, b, a);
}
template <typename T>
inline T Max(T a, T b) noexcept {
  return Select(a < b, b, a);
}

inline Float4 Abs(Float4 x) noexcept { return FromBits(BitsOf(x) & 0x7FFFFFFF); }
inline Lane Abs(Lane x) noexcept { return {std::fabs(x.x)}; }
inline float Abs(float x) noexcept { return std::fabs(x); }
inline double Abs(double x) noexcept { return std::fabs(x); }

/// y where x is positive, -y where it is negative: makes a curve of |x| odd.
inline Float4 WithSignOf(Float4 x, Float4 y) noexcept {
  return FromBits(BitsOf(y) ^ (BitsOf(x) & static_cast<int32_t>(0x80000000)));
}
inline Lane WithSignOf(Lane x, Lane y) noexcept {
  return {FromBits(BitsOf(y.x) ^ (BitsOf(x.x) & static_cast<int32_t>(0x80000000)))};
}
inline float WithSignOf(float x, float y) noexcept { return std::signbit(x) ? -y : y; }
inline double WithSignOf(double x, double y) noexcept { return std::signbit(x) ? -y : y; }

/// exp(x) - 1.
inline Float4 Expm1(Float4 x) noexcept { return Expm1Float4(x); }
inline Lane Expm1(Lane x) noexcept { return {Expm1Float4(x.x)}; }
inline float Expm1(float x) noexcept { return std::expm1(x); }
inline double Expm1(double x) noexcept { return std::expm1(x); }

/// sin(x) for |x| <= pi/2.
inline Float4 Sine(Float4 x) noexcept { return SineWithinQuarterTurn(x); }
inline Lane Sine(Lane x) noexcept { return {SineWithinQuarterTurn(x.x)}; }
inline float Sine(float x) noexcept { return std::sin(x); }
inline double Sine(double x) noexcept { return std::sin(x); }

/// Nearest whole number, halves upwards, for 0 <= x < 2^31.
inline Float4 RoundPositive(Float4 x) noexcept { return ToFloat4(Truncate(x + 0.5f)); }
inline Lane RoundPositive(Lane x) noexcept { return {ToFloat4(Truncate(x.x + 0.5f))}; }
inline float RoundPositive(float x) noexcept { return std::floor(x + 0.5f); }
inline double RoundPositive(double x) noexcept { return std::floor(x + 0.5); }

}  // namespace Vantora::dsp::curves
