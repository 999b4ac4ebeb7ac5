#include "basictools/math/mapping/InvPolynomialPotardMapping.h"

#include <cmath>

#include "basictools/math/VectorExpLog.h"

namespace Vantora::MappingTools {

float InvPolynomialPotardMapping::ToValue(float position) const noexcept {
  return 1.0f - std::pow(1.0f - position, exponent);
}

float InvPolynomialPotardMapping::ToPosition(float value) const noexcept {
  return 1.0f - std::pow(1.0f - value, 1.0f / exponent);
}

void InvPolynomialPotardMapping::ToValueBlock(float* data, uint32_t count) const noexcept {
  TransformQuads(data, count, [power = exponent](Float4 x) { return 1.0f - PowFloat4(1.0f - x, power); });
}

}  // namespace Vantora::MappingTools
