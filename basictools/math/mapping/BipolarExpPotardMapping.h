#pragma once

#include "basictools/math/mapping/ExponentialPotardMapping.h"

namespace Vantora::MappingTools {

/// Two exponentials that mirror each other about the centre (0.5, 0.5), fine near it and coarse at the ends.
/// The block form covers whole groups of four, by the polynomials of VectorExpLog.h.
class BipolarExpPotardMapping : public ExponentialPotardMapping {
 public:
  explicit BipolarExpPotardMapping(float bend) noexcept : ExponentialPotardMapping(bend) {}

  float ToValue(float position) const noexcept override;
  float ToPosition(float value) const noexcept override;
  void ToValueBlock(float* data, uint32_t count) const noexcept override;
};

}  // namespace Vantora::MappingTools
