#include "basictools/math/mapping/BipolarPolynomialPotardMapping.h"

#include <cmath>

namespace Vantora::MappingTools {

float BipolarPolynomialPotardMapping::ToValue(float position) const noexcept {
  const float t = 2.0f * position - 1.0f;
  // An even power has lost the sign of its base.
  const float half = 0.5f * std::trunc(exponent);
  const bool isEven = std::trunc(half) == half;
  const float sign = isEven ? std::copysign(1.0f, t) : 1.0f;
  return 0.5f + 0.5f * std::pow(t, exponent) * sign;
}

float BipolarPolynomialPotardMapping::ToPosition(float value) const noexcept {
  if (value > 0.5f) return 0.5f + 0.5f * std::pow(2.0f * value - 1.0f, 1.0f / exponent);
  return 0.5f - 0.5f * std::pow(1.0f - 2.0f * value, 1.0f / exponent);
}

void BipolarPolynomialPotardMapping::ToValueBlock(float* data, uint32_t count) const noexcept {
  for (uint32_t i = 0; i < count; ++i) data[i] = ToValue(data[i]);
}

}  // namespace Vantora::MappingTools
