#include "dsp/effects/curves/AsymmetricCurves.h"

namespace Vantora::dsp::curves {
namespace {

constexpr double kBottomOffset = 0.11944218;  // of the lowest piece, -0.5821325 x + 0.11944218

/// Antiderivative of exponential piece `i`, without its constant.
double Bend(int i, double x) {
  const double rate = ColdTube::kRate[i];
  return ColdTube::kScale[i] * (std::exp(rate * x + ColdTube::kShift[i]) / rate - x) +
         ColdTube::kLevel[i] * x;
}

double Line(double x) { return 0.5 * ColdTube::kLineSlope * x * x; }

/// The constants that join the pieces up, from the lowest piece upwards.
struct Offsets {
  double bend[ColdTube::kExponentials];
  double line;
  double top;

  Offsets() {
    bend[0] = ColdTube::kBottom * -1.0 + kBottomOffset - Bend(0, -1.0);
    for (int i = 1; i < 3; ++i)
      bend[i] = Bend(i - 1, ColdTube::kFrom[i]) + bend[i - 1] - Bend(i, ColdTube::kFrom[i]);
    line = Bend(2, 0.0) + bend[2];
    bend[3] = Line(ColdTube::kLineEnd) + line - Bend(3, ColdTube::kLineEnd);
    bend[4] = Bend(3, ColdTube::kFrom[4]) + bend[3] - Bend(4, ColdTube::kFrom[4]);
    top = Bend(4, 1.0) + bend[4] - ColdTube::kTop;
  }
};
const Offsets kOffsets;

}  // namespace

double ColdTube::Integral(double x) noexcept {
  if (x < -1.0) return kBottom * x + kBottomOffset;
  if (x >= 1.0) return kTop * x + kOffsets.top;
  if (x >= 0.0 && x < kLineEnd) return Line(x) + kOffsets.line;
  int piece = 0;
  while (piece + 1 < kExponentials && x >= kFrom[piece + 1]) ++piece;
  return Bend(piece, x) + kOffsets.bend[piece];
}

}  // namespace Vantora::dsp::curves
