#pragma once

#include "dsp/effects/curves/CurveMath.h"

/// Curves whose two sides differ: even harmonics and, on a
/// loud note, a shifted middle. Forms as in ClipCurves.h.
namespace Vantora::dsp::curves {

/// An exponential rounding that is cut flat at full scale on the positive side alone; the negative side
/// creeps on towards -1.0104. Soft and full, with a trace of even harmonics when driven.
struct OneSidedLimit {
  static constexpr const char* kName = "One-Sided Limit";
  static constexpr double kRate = 4.5781655;
  static constexpr double kTop = -0.9897262738299194;  // expm1(-kRate): makes the curve meet (1, 1)
  static constexpr double kJoin =
      ((1.0 + kTop) / -kRate - 1.0) / kTop - 1.0;  // makes the antiderivative meet

  template <typename T>
  static T Curve(T x) noexcept {
    const T y = WithSignOf(x, Expm1(C<T>(-kRate) * Abs(x)) * C<T>(1.0 / kTop));
    // Intended: no limit at -1. ShapingCurves.OneSidedLimitCutsThePositiveSideOnly holds it.
    return Select(x >= C<T>(1.0), All<T>(1.0), y);
  }

  /// Integral(0) is 1 / (kRate * -kTop).
  static double Integral(double x) noexcept {
    if (x >= 1.0) return x + kJoin;
    const double a = std::fabs(x);
    return (std::exp(-kRate * a) / -kRate - a) / kTop;
  }
};

/// A valve stage with a cold bias, in seven pieces: nearly six times the slope of a wire about zero, a long
/// exponential shoulder on the positive side that comes back a little from full scale, and a negative side
/// that swings past its limit and settles at -0.58. Dense, vocal, never symmetric.
struct ColdTube {
  static constexpr const char* kName = "Cold Tube";

  template <typename T>
  static T Curve(T x) noexcept {
    // All exponential pieces are scale * expm1(rate * x + shift) + level, so the piece is chosen first and
    // one exponential serves. A piece includes its lower end.
    T rate = All<T>(kRate[0]);
    T shift = All<T>(kShift[0]);
    T scale = All<T>(kScale[0]);
    T level = All<T>(kLevel[0]);
    for (int piece = 1; piece < kExponentials; ++piece) {
      const auto isHere = x >= C<T>(kFrom[piece]);
      rate = Select(isHere, All<T>(kRate[piece]), rate);
      shift = Select(isHere, All<T>(kShift[piece]), shift);
      scale = Select(isHere, All<T>(kScale[piece]), scale);
      level = Select(isHere, All<T>(kLevel[piece]), level);
    }
    const T held = Min(Max(x, All<T>(-1.0)), All<T>(1.0));
    const T bend = Expm1(rate * held + shift) * scale + level;
    const T inner = Select(x < C<T>(kLineEnd), C<T>(kLineSlope) * x, bend);
    const T y = Select(x < C<T>(0.0), bend, inner);
    return Select(x < C<T>(-1.0), All<T>(kBottom), Select(x >= C<T>(1.0), All<T>(kTop), y));
  }

  /// -0.5821325 x + 0.11944218 in the lowest piece; the others join up with it.
  static double Integral(double x) noexcept;

  static constexpr double kBottom = -0.5821325;
  static constexpr double kTop = 0.9052924;
  static constexpr double kLineSlope = 5.4193144;
  static constexpr double kLineEnd = 0.058495;

  // The five exponential pieces, in order of their lower ends. The divisors are expm1 of -2, -1.2114142,
  // -0.7714677, -2.2265773 and -0.34447402: each piece ends where that argument is reached.
  static constexpr int kExponentials = 5;
  static constexpr double kFrom[] = {-1.0, -0.9375, -0.25, kLineEnd, 0.718663};
  static constexpr double kRate[] = {32.0, 1.7620571, 3.0858707, -3.3727436, -1.2244177};
  static constexpr double kShift[] = {30.0, 0.44051427, 0.0, 0.19728865, 0.87994367};
  static constexpr double kScale[] = {0.020172954 / -0.8646647167633873, 0.39769453 / -0.7022241331116402,
                                      -1.0 / -0.5376659975147755, 0.6829972 / -0.8921029017461037,
                                      -0.09470761 / -0.29140703880716773};
  static constexpr double kLevel[] = {-0.6023055, -1.0, 0.0, 0.3170028, 1.0};
};

/// One diode to ground: the positive half saturates at full scale, the negative one at a quarter of it and
/// four times as soon. A nasal fuzz that cleans up when the input is turned down.
struct Diode {
  static constexpr const char* kName = "Diode";

  template <typename T>
  static T Curve(T x) noexcept {
    const auto isNegative = x < C<T>(0.0);
    const T y = Expm1(Select(isNegative, C<T>(8.0) * x, C<T>(-2.0) * x));
    return y * Select(isNegative, All<T>(0.25), All<T>(-1.0));
  }

  static double Integral(double x) noexcept {
    return x < 0.0 ? 0.25 * (std::expm1(8.0 * x) / 8.0 - x) : x + 0.5 * std::expm1(-2.0 * x);
  }
};

/// The positive half through a parabola to full scale, a tenth of the negative half: a rectifier that leaks.
/// Hollow, an octave up in the making, strong in the bass.
struct HalfWave {
  static constexpr const char* kName = "Half Wave";

  template <typename T>
  static T Curve(T x) noexcept {
    const T up = Min(x, All<T>(1.0));
    const T down = Max(x, All<T>(-1.0));
    return Select(x < C<T>(0.0), C<T>(0.2) * down, up * (C<T>(2.0) - up));
  }

  static double Integral(double x) noexcept {
    if (x < -1.0) return -0.2 * x - 0.1;
    if (x < 0.0) return 0.1 * x * x;
    if (x < 1.0) return x * x * (1.0 - x / 3.0);
    return x - 1.0 / 3.0;
  }
};

/// The negative half turned up, a little lower than the positive one: full-wave rectification, so that the
/// octave stands above its note instead of replacing it.
struct Octave {
  static constexpr const char* kName = "Octave";
  static constexpr double kTurned = 0.6;

  template <typename T>
  static T Curve(T x) noexcept {
    const T held = Min(Max(x, All<T>(-1.0)), All<T>(1.0));
    return Max(held, C<T>(-kTurned) * held);
  }

  static double Integral(double x) noexcept {
    const double a = std::fabs(x);
    const double area = a < 1.0 ? 0.5 * a * a : a - 0.5;
    return x < 0.0 ? -kTurned * area : area;
  }
};

/// A parabola that runs into the wall at full scale above zero, an exponential that never ends below it, one
/// slope between them. Sweet second harmonic at low drive, a firm edge at high drive.
struct Triode {
  static constexpr const char* kName = "Triode";

  template <typename T>
  static T Curve(T x) noexcept {
    const T up = Min(x, All<T>(1.0));
    return Select(x < C<T>(0.0), Expm1(C<T>(2.0) * x), up * (C<T>(2.0) - up));
  }

  static double Integral(double x) noexcept {
    if (x < 0.0) return 0.5 * std::expm1(2.0 * x) - x;
    return x < 1.0 ? x * x * (1.0 - x / 3.0) : x - 1.0 / 3.0;
  }
};

}  // namespace Vantora::dsp::curves
