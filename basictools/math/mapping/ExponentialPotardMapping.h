#pragma once

#include "basictools/math/mapping/IPotardMapping.h"

namespace Vantora::MappingTools {

/// An exponential through 0 and 1: value = (exp(curve * position) - 1) / (exp(curve) - 1).
/// The block form covers whole groups of four, by the polynomials of VectorExpLog.h.
class ExponentialPotardMapping : public IPotardMapping {
 public:
  /// curve  above 0 bends downwards; 0 yields NaN
  explicit ExponentialPotardMapping(float bend) noexcept;
  /// Both fields as they stand, for a curve that is given by its literals.
  ExponentialPotardMapping(float bend, float literalScale) noexcept : curve(bend), scale(literalScale) {}

  float ToValue(float position) const noexcept override;
  float ToPosition(float value) const noexcept override;
  void ToValueBlock(float* data, uint32_t count) const noexcept override;

 protected:
  float curve;
  float scale;  // 1 / (exp(curve) - 1)
};

}  // namespace Vantora::MappingTools
