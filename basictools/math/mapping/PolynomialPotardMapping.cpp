#include "basictools/math/mapping/PolynomialPotardMapping.h"

#include <cmath>

#include "basictools/math/VectorExpLog.h"

namespace Vantora::MappingTools {

float PolynomialPotardMapping::ToValue(float position) const noexcept { return std::pow(position, exponent); }

float PolynomialPotardMapping::ToPosition(float value) const noexcept {
  return std::pow(value, 1.0f / exponent);
}

void PolynomialPotardMapping::ToValueBlock(float* data, uint32_t count) const noexcept {
  TransformQuads(data, count, [power = exponent](Float4 x) { return PowFloat4(x, power); });
}

}  // namespace Vantora::MappingTools
