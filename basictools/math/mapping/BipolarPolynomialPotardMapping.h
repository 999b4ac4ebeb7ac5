#pragma once

#include "basictools/math/mapping/IPotardMapping.h"

namespace Vantora::MappingTools {

/// A power on either side of the centre (0.5, 0.5). The exponent is meant to be a whole number: with a
/// fractional part the lower half is NaN. The block form takes every element, one by one.
class BipolarPolynomialPotardMapping : public IPotardMapping {
 public:
  explicit BipolarPolynomialPotardMapping(float power) noexcept : exponent(power) {}

  float ToValue(float position) const noexcept override;
  float ToPosition(float value) const noexcept override;
  void ToValueBlock(float* data, uint32_t count) const noexcept override;

 private:
  float exponent;
};

}  // namespace Vantora::MappingTools
