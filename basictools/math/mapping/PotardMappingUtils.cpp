#include "basictools/math/mapping/PotardMappingUtils.h"

#include "tools/CException.h"

namespace Vantora::MappingTools {
namespace {

// Literals on purpose: the scale isn't exactly that of the curve, and presets are tuned to the pair.
constexpr float kFixedCurve = 4.4294891357421875f;
constexpr float kFixedScale = 0.012064392678439617f;

}  // namespace

PotardMappingHolder MakePotardMapping(uint32_t kind, uint32_t reservedValue, float min, float max,
                                      float curveArg1, float curveArg2) {
  const auto hold = [&](const auto& curve) { return PotardMappingHolder(curve, reservedValue, min, max); };
  switch (kind) {
    case Normalized:
      return PotardMappingHolder(LinearPotardMapping(), reservedValue, 0.0f, 1.0f);
    case Linear:
      return hold(LinearPotardMapping());
    case Polynomial:
      return hold(PolynomialPotardMapping(curveArg1));
    case InvPolynomial:
      return hold(InvPolynomialPotardMapping(curveArg1));
    case Exponential:
      return hold(ExponentialPotardMapping(curveArg1));
    case BipolarExp:
      return hold(BipolarExpPotardMapping(curveArg1));
    case BipolarPolynomial:
      return hold(BipolarPolynomialPotardMapping(curveArg1));
    case BipolarVariableCenterInvPow:
      return hold(BipolarVariableCenterInvPowPotardMapping(curveArg1, curveArg2));
    case FixedExponential:
      return hold(ExponentialPotardMapping(kFixedCurve, kFixedScale));
    case EnveloppeTime:
      return hold(EnveloppeTimeMapping());
    case MixerTime:
      return hold(MixerTimeMapping());
    case VuMeter:
      return hold(VuMeterMapping());
    case Harmonic:
      return hold(HarmonicMapping(curveArg1));
    case Reverse:
      return hold(ReversePotardMapping());
    case PiecewiseLinear:
      return hold(PiecewiseLinearPotardMapping(curveArg1));
    case Inverse:
      return hold(InversePotardMapping(curveArg1, curveArg2));
    case SemiToneToFreq:
      return hold(SemiToneToFreqMapping(curveArg1, curveArg2));
    default:
      // The place that the message names is part of it, so it stays when lines move.
      throw CException("Potard Mapping not found.", "basictools/math/mapping/PotardMappingUtils", 231);
  }
}

}  // namespace Vantora::MappingTools
