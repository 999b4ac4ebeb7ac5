#include "basictools/math/mapping/BipolarVariableCenterInvPowPotardMapping.h"

#include <cmath>

#include "basictools/math/VectorExpLog.h"

namespace Vantora::MappingTools {

float BipolarVariableCenterInvPowPotardMapping::Bend(float x, float power) const noexcept {
  if (x <= center) return center * std::pow(x / center, power);
  const float above = 1.0f - center;
  const float u = (center - x) / above + 1.0f;
  return above - above * std::pow(u, power) + center;
}

void BipolarVariableCenterInvPowPotardMapping::ToValueBlock(float* data, uint32_t count) const noexcept {
  const float above = 1.0f - center;
  TransformQuads(data, count, [c = center, above, power = exponent](Float4 x) {
    const auto isLower = x <= c;
    const Float4 bent = PowFloat4(isLower ? x / c : (c - x) / above + 1.0f, power);
    return isLower ? c * bent : above - above * bent + c;
  });
}

}  // namespace Vantora::MappingTools
