#pragma once

#include "dsp/effects/curves/CurveMath.h"

/// Curves that limit, the same way on both sides. Each curve has a direct form for any kind of number of
/// CurveMath and an antiderivative in double precision, with Integral(0) = 0 unless said.
namespace Vantora::dsp::curves {

/// Straight up to full scale, then flat. The loudest way to be
/// square: all odd harmonics, edgy from the first clipped peak.
struct HardClip {
  static constexpr const char* kName = "Hard Clip";

  template <typename T>
  static T Curve(T x) noexcept {
    return Min(Max(x, All<T>(-1.0)), All<T>(1.0));
  }

  static double Integral(double x) noexcept {
    const double a = std::fabs(x);
    return a < 1.0 ? 0.5 * x * x : a - 0.5;
  }
};

/// Twice as steep as a wire up to a third, a parabola up to two thirds, then flat. Overdrive: warm while the
/// peaks stay in the knee, close to a hard clip above it. (U. Zoelzer, ed., DAFX, 2nd ed., section 4.3.)
struct SoftKnee {
  static constexpr const char* kName = "Soft Knee";

  template <typename T>
  static T Curve(T x) noexcept {
    const T a = Abs(x);
    const T down = Max(C<T>(2.0) - C<T>(3.0) * a, All<T>(0.0));  // from the knee's top, 1 at its foot
    const T knee = (C<T>(3.0) - down * down) * C<T>(1.0 / 3.0);
    return WithSignOf(x, Select(a < C<T>(1.0 / 3.0), a + a, knee));
  }

  static double Integral(double x) noexcept {
    const double a = std::fabs(x);
    if (a < 1.0 / 3.0) return a * a;
    const double down = std::fmax(2.0 - 3.0 * a, 0.0);
    return a + down * down * down / 27.0 - 7.0 / 27.0;
  }
};

/// An exponential approach to full scale that never gets there. The gentlest of the sixteen: harmonics come
/// in one after another and a loud chord keeps its dynamics for long.
struct Warm {
  static constexpr const char* kName = "Warm";

  template <typename T>
  static T Curve(T x) noexcept {
    return WithSignOf(x, -Expm1(C<T>(-2.0) * Abs(x)));
  }

  static double Integral(double x) noexcept {
    const double a = std::fabs(x);
    return a + 0.5 * std::expm1(-2.0 * a);
  }
};

/// Flat about zero, a parabola up to the slope of a wire and more, then clipped: a badly biased push-pull
/// stage. Quiet notes turn to grit and silence is really silent.
struct Crossover {
  static constexpr const char* kName = "Crossover";
  static constexpr double kGap = 0.1;        // where the parabola starts
  static constexpr double kOpen = 0.3;       // where it ends
  static constexpr double kLeak = 0.1;       // slope in the gap: nothing is lost for good
  static constexpr double kBend = 2.8125;    // of the parabola, so that the line behind it meets (1, 1)
  static constexpr double kSlope = 1.225;    // of that line
  static constexpr double kAtOpen = 0.1425;  // value where the line starts

  template <typename T>
  static T Curve(T x) noexcept {
    const T a = Min(Abs(x), All<T>(1.0));
    const T inKnee = a - C<T>(kGap);
    const T knee = C<T>(kLeak) * a + C<T>(kBend) * inKnee * inKnee;
    const T line = C<T>(kAtOpen) + C<T>(kSlope) * (a - C<T>(kOpen));
    return WithSignOf(x, Select(a < C<T>(kGap), C<T>(kLeak) * a, Select(a < C<T>(kOpen), knee, line)));
  }

  static double Integral(double x) noexcept {
    const double a = std::fabs(x);
    if (a < kGap) return 0.5 * kLeak * a * a;
    if (a < kOpen) return 0.5 * kLeak * a * a + kBend * (a - kGap) * (a - kGap) * (a - kGap) / 3.0;
    constexpr double kKnee = kOpen - kGap;
    constexpr double kIntegralAtOpen = 0.5 * kLeak * kOpen * kOpen + kBend * kKnee * kKnee * kKnee / 3.0;
    const double t = std::fmin(a, 1.0) - kOpen;
    return kIntegralAtOpen + kAtOpen * t + 0.5 * kSlope * t * t + std::fmax(a - 1.0, 0.0);
  }
};

/// An exponential that starts twenty times flatter than it ends and is clipped at full scale: an expander
/// that tears. Peaks spit, tails fall into the gate.
struct GatedFuzz {
  static constexpr const char* kName = "Gated Fuzz";
  static constexpr double kRate = 3.0;
  static constexpr double kTop = 19.085536923187668;  // e^3 - 1

  template <typename T>
  static T Curve(T x) noexcept {
    const T a = Min(Abs(x), All<T>(1.0));
    return WithSignOf(x, Expm1(C<T>(kRate) * a) * C<T>(1.0 / kTop));
  }

  static double Integral(double x) noexcept {
    const double a = std::fmin(std::fabs(x), 1.0);
    return (std::expm1(kRate * a) / kRate - a) / kTop + std::fmax(std::fabs(x) - 1.0, 0.0);
  }
};

/// Four stairs a side with leaning treads and risers: a coarse converter without its noise. Level by level
/// the tone changes, and it stays bright whatever comes in.
struct Stairs {
  static constexpr const char* kName = "Stairs";
  static constexpr double kStep = 0.25;
  static constexpr double kRiser = 0.25 * kStep;  // half of a riser's width
  static constexpr double kTreadSlope = 0.25;
  static constexpr double kExtraSlope = 1.5;  // of a riser

  template <typename T>
  static T Curve(T x) noexcept {
    const T a = Min(Abs(x), All<T>(1.0));
    const T floor = RoundPositive(a * C<T>(1.0 / kStep)) * C<T>(kStep);
    const T v = a - floor;  // within half a step of a riser's middle
    const T riser = Min(Max(v, All<T>(-kRiser)), All<T>(kRiser));
    return WithSignOf(x, floor + C<T>(kTreadSlope) * v + C<T>(kExtraSlope) * riser);
  }

  static double Integral(double x) noexcept {
    // The curve is a wire plus a ripple with the step as its period and no mean.
    const double a = std::fmin(std::fabs(x), 1.0);
    const double w = std::fabs(a - RoundPositive(a / kStep) * kStep);
    const double ripple = w < kRiser ? 0.375 * w * w : 0.375 * (kStep * w - w * w - 0.125 * kStep * kStep);
    return 0.5 * a * a + ripple + std::fmax(std::fabs(x) - 1.0, 0.0);
  }
};

}  // namespace Vantora::dsp::curves
