#pragma once

#include <algorithm>
#include <cmath>

namespace Vantora::dsp {

/// The endless triangle that the wavefolder folds with: x
/// between -1 and 1, back at each odd number, period 4.
inline double FoldTriangle(double x) noexcept {
  const double u = std::floor(0.5 * x + 0.5);
  const bool isOdd = u - 2.0 * std::floor(0.5 * u) != 0.0;
  return isOdd ? 2.0 * u - x : x - 2.0 * u;
}

/// An antiderivative of it, 0 at 0. In double precision: its parts grow with the square of x and cancel.
/// Intended: the joining constants stop growing 500 folds from zero, 60 dB above full scale.
/// Wavefolder.TriangleReturnsAtEachOddNumberAndKeepsItsAntiderivative holds it.
inline double FoldTriangleIntegral(double x) noexcept {
  const double u = std::floor(0.5 * x + 0.5);
  const bool isOdd = u - 2.0 * std::floor(0.5 * u) != 0.0;
  const double k = std::min(std::fabs(u), 500.0);
  const bool isOddJoin = k - 2.0 * std::floor(0.5 * k) != 0.0;
  const double join = isOddJoin ? 1.0 - 2.0 * k * k : 2.0 * k * k;
  return isOdd ? join + x * (2.0 * u - 0.5 * x) : join + x * (0.5 * x - 2.0 * u);
}

}  // namespace Vantora::dsp
