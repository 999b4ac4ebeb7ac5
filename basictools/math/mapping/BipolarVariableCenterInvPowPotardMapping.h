#pragma once

#include "basictools/math/mapping/InvPolynomialPotardMapping.h"

namespace Vantora::MappingTools {

/// A centre that stays where it is, with each side bent towards it by a power.
/// The block form covers whole groups of four, by the polynomials of VectorExpLog.h.
class BipolarVariableCenterInvPowPotardMapping : public InvPolynomialPotardMapping {
 public:
  /// centerPosition  strictly between 0 and 1
  BipolarVariableCenterInvPowPotardMapping(float power, float centerPosition) noexcept
      : InvPolynomialPotardMapping(power), center(centerPosition) {}

  float ToValue(float position) const noexcept override { return Bend(position, exponent); }
  float ToPosition(float value) const noexcept override { return Bend(value, 1.0f / exponent); }
  void ToValueBlock(float* data, uint32_t count) const noexcept override;

 private:
  float Bend(float x, float power) const noexcept;

  float center;
};

}  // namespace Vantora::MappingTools
