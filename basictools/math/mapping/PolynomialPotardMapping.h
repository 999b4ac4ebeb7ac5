#pragma once

#include "basictools/math/mapping/IPotardMapping.h"

namespace Vantora::MappingTools {

/// A power: value = position^exponent. Above 1 it spends its travel on the low values.
/// The block form covers whole groups of four, by the polynomials of VectorExpLog.h.
class PolynomialPotardMapping : public IPotardMapping {
 public:
  explicit PolynomialPotardMapping(float power) noexcept : exponent(power) {}

  float ToValue(float position) const noexcept override;
  float ToPosition(float value) const noexcept override;
  void ToValueBlock(float* data, uint32_t count) const noexcept override;

 private:
  float exponent;
};

}  // namespace Vantora::MappingTools
