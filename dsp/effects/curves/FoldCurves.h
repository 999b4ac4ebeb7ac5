#pragma once

#include "dsp/effects/curves/CurveMath.h"

/// Curves that turn back: louder means brighter, not flatter. Each
/// holds its last value outside the folds. Forms as in ClipCurves.h.
namespace Vantora::dsp::curves {

/// Straight up to full scale, straight down through zero to
/// the other side, then held. The brightest of the folds.
struct TriangleFold {
  static constexpr const char* kName = "Triangle Fold";

  template <typename T>
  static T Curve(T x) noexcept {
    const T a = Abs(x);
    return WithSignOf(x, Min(a, Max(C<T>(2.0) - a, All<T>(-1.0))));
  }

  static double Integral(double x) noexcept {
    const double a = std::fabs(x);
    if (a < 1.0) return 0.5 * a * a;
    return a < 3.0 ? a * (2.0 - 0.5 * a) - 1.0 : 3.5 - a;
  }
};

/// The same road in arcs of parabolas, one and a half of them within one and a half times full scale. A sine
/// fold with a little more edge.
struct RoundFold {
  static constexpr const char* kName = "Round Fold";

  template <typename T>
  static T Curve(T x) noexcept {
    const T a = Min(Abs(x), All<T>(1.5));
    const T b = a - C<T>(1.0);
    const T first = C<T>(-4.0) * a * b;
    const T second = C<T>(4.0) * b * (b - C<T>(1.0));
    return WithSignOf(x, Select(a < C<T>(1.0), first, second));
  }

  static double Integral(double x) noexcept {
    const double a = std::fabs(x);
    if (a < 1.0) return a * a * (2.0 - 4.0 * a / 3.0);
    const double b = std::fmin(a - 1.0, 0.5);
    return 2.0 / 3.0 - b * b * (2.0 - 4.0 * b / 3.0) - std::fmax(a - 1.5, 0.0);
  }
};

/// One and a half periods of a sine, then held. Bell-like:
/// a full-scale sine becomes a frequency-modulated one.
struct SineFold {
  static constexpr const char* kName = "Sine Fold";
  static constexpr double kTwoPi = 2.0 * std::numbers::pi;

  template <typename T>
  static T Curve(T x) noexcept {
    // The sine is taken about the nearest of -0.5, 0 and 0.5, so its argument stays within a quarter turn.
    const T a = Abs(x);
    const auto isInner = a <= C<T>(0.25);
    const T y = Sine(C<T>(kTwoPi) * Select(isInner, a, C<T>(0.5) - Min(a, All<T>(0.75))));
    return WithSignOf(x, y);
  }

  /// Integral(0) is -1 / (2 pi).
  static double Integral(double x) noexcept {
    const double a = std::fabs(x);
    return a > 0.75 ? 0.75 - a : -std::cos(kTwoPi * a) / kTwoPi;
  }
};

/// Straight lines between turning points that lie closer to zero each time, then held at a quarter of full
/// scale. Soft notes sing, loud ones fall in on themselves: the envelope comes out upside down.
struct Collapse {
  static constexpr const char* kName = "Collapse";
  static constexpr int kPieces = 5;
  static constexpr double kFrom[] = {0.0, 0.5, 1.0, 1.5, 2.0};
  static constexpr double kAt[] = {0.0, 1.0, -0.6, 0.35, -0.25};
  static constexpr double kSlope[] = {2.0, -3.2, 1.9, -1.2, 0.0};

  template <typename T>
  static T Curve(T x) noexcept {
    const T a = Min(Abs(x), All<T>(kFrom[kPieces - 1]));
    T y = C<T>(kSlope[0]) * a;
    for (int i = 1; i < kPieces; ++i) {
      y = Select(a >= C<T>(kFrom[i]), C<T>(kAt[i]) + C<T>(kSlope[i]) * (a - C<T>(kFrom[i])), y);
    }
    return WithSignOf(x, y);
  }

  static double Integral(double x) noexcept {
    const double a = std::fabs(x);
    double area = 0.0;
    for (int i = 0; i < kPieces; ++i) {
      const bool isLast = i + 1 == kPieces || a < kFrom[i + 1];
      const double t = (isLast ? a : kFrom[i + 1]) - kFrom[i];
      area += t * (kAt[i] + 0.5 * kSlope[i] * t);
      if (isLast) break;
    }
    return area;
  }
};

}  // namespace Vantora::dsp::curves
