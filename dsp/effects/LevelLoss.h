#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <numbers>

#include "dsp/effects/CompensationTables.h"
#include "dsp/effects/ShapingCurves.h"
#include "dsp/effects/TriangleFold.h"

/// How the level compensation tables are measured: a full-scale sine through the effect's own chain, in
/// double precision; the entry is what its RMS level has lost, in dB. `scripts/tables` prints the result as
/// code, and a test holds the two together.
namespace Vantora::dsp {

/// Drive in dB of entry `index`.
constexpr double CompensationDrive(uint32_t index) {
  return static_cast<double>(kCompensationLowestDrive) + static_cast<double>(kCompensationStep) * index;
}

/// Loss in dB of a full-scale sine through `shape`, a function of double.
template <typename Shape>
double MeasureLevelLoss(Shape&& shape) {
  constexpr uint32_t kPoints = 65536;  // one period, between the zero crossings
  double sum = 0.0;
  for (uint32_t i = 0; i < kPoints; ++i) {
    const double y = shape(std::sin(2.0 * std::numbers::pi * (i + 0.5) / kPoints));
    sum += y * y;
  }
  return 10.0 * std::log10(0.5 * kPoints / sum);
}

/// The table of a shaping algorithm.
inline std::array<double, kCompensationCount> MeasureShaperCompensation(uint32_t algorithm) {
  std::array<double, kCompensationCount> table{};
  VisitShapingCurve(algorithm, [&](auto curve) {
    for (uint32_t k = 0; k < kCompensationCount; ++k) {
      const double gain = std::pow(10.0, CompensationDrive(k) / 20.0);
      table[k] =
          MeasureLevelLoss([&](double x) { return decltype(curve)::template Curve<double>(gain * x); });
    }
  });
  return table;
}

/// The table of a fold, whose chain is in * g * r, fold, * 1/r with r = g^0.25.
/// Its first four entries are set by hand, as drives that low would otherwise
/// lift nothing but noise; the others never rise above the one before.
template <typename Fold>
std::array<double, kCompensationCount> MeasureFoldCompensation(const std::array<double, 4>& first,
                                                               Fold&& fold) {
  std::array<double, kCompensationCount> table{};
  for (uint32_t k = 0; k < kCompensationCount; ++k) {
    if (k < first.size()) {
      table[k] = first[k];
      continue;
    }
    const double gain = std::pow(10.0, CompensationDrive(k) / 20.0);
    const double r = std::pow(gain, 0.25);
    table[k] = std::fmin(MeasureLevelLoss([&](double x) { return fold(gain * r * x) / r; }), table[k - 1]);
  }
  return table;
}

inline std::array<double, kCompensationCount> MeasureSineFoldCompensation() {
  return MeasureFoldCompensation({53.753990, 51.714432, 49.249668, 46.880257},
                                 [](double x) { return std::sin(0.5 * std::numbers::pi * x); });
}

inline std::array<double, kCompensationCount> MeasureTriangleFoldCompensation() {
  return MeasureFoldCompensation({54.093781, 54.093781, 52.442211, 50.021572}, FoldTriangle);
}

}  // namespace Vantora::dsp
