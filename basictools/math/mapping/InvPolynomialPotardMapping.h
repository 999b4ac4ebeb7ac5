#pragma once

#include "basictools/math/mapping/IPotardMapping.h"

namespace Vantora::MappingTools {

/// A power from the other end: value = 1 - (1 - position)^exponent.
/// The block form covers whole groups of four, by the polynomials of VectorExpLog.h.
class InvPolynomialPotardMapping : public IPotardMapping {
 public:
  explicit InvPolynomialPotardMapping(float power) noexcept : exponent(power) {}

  float ToValue(float position) const noexcept override;
  float ToPosition(float value) const noexcept override;
  void ToValueBlock(float* data, uint32_t count) const noexcept override;

 protected:
  float exponent;
};

}  // namespace Vantora::MappingTools
