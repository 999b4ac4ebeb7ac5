#pragma once

#include <cstdint>

namespace Vantora::MappingTools {

/// Selects a curve in a parameter's declaration. The numbers are fixed; 17 doesn't exist.
enum MappingKind : uint32_t {
  Normalized = 0,  ///< the position itself
  Linear = 1,
  Polynomial = 2,                   ///< curveArg1 exponent
  InvPolynomial = 3,                ///< curveArg1 exponent
  Exponential = 4,                  ///< curveArg1 curve
  BipolarExp = 5,                   ///< curveArg1 curve
  BipolarPolynomial = 6,            ///< curveArg1 exponent
  BipolarVariableCenterInvPow = 7,  ///< curveArg1 exponent, curveArg2 centre
  FixedExponential = 8,
  EnveloppeTime = 9,
  MixerTime = 10,
  VuMeter = 11,
  Harmonic = 12,  ///< curveArg1 ratio
  Reverse = 13,
  PiecewiseLinear = 14,  ///< curveArg1 knee
  Inverse = 15,          ///< curveArg1 low, curveArg2 high
  SemiToneToFreq = 16,   ///< curveArg1 base, curveArg2 number of notes
  Stepped = 18,          ///< a count, a first value and a step; has no curve and isn't made here
};

}  // namespace Vantora::MappingTools
