#include "basictools/math/mapping/ExponentialPotardMapping.h"

#include <cmath>

#include "basictools/math/VectorExpLog.h"

namespace Vantora::MappingTools {

ExponentialPotardMapping::ExponentialPotardMapping(float bend) noexcept
    : curve(bend), scale(1.0f / (std::exp(bend) - 1.0f)) {}

float ExponentialPotardMapping::ToValue(float position) const noexcept {
  return scale * std::exp(curve * position) - scale;
}

// In this order and precision 1 gives back exactly 1 for the usual curves; an open low-pass hangs on it.
float ExponentialPotardMapping::ToPosition(float value) const noexcept {
  return std::log(value / scale + 1.0f) / curve;
}

void ExponentialPotardMapping::ToValueBlock(float* data, uint32_t count) const noexcept {
  TransformQuads(data, count, [c = curve, s = scale](Float4 x) { return s * ExpFloat4(c * x) - s; });
}

}  // namespace Vantora::MappingTools
