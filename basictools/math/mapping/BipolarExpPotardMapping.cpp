#include "basictools/math/mapping/BipolarExpPotardMapping.h"

#include <cmath>

#include "basictools/math/VectorExpLog.h"

namespace Vantora::MappingTools {

float BipolarExpPotardMapping::ToValue(float position) const noexcept {
  const float half = scale * 0.5f;
  const float bent = 2.0f * position * curve;
  if (position > 0.5f) return half * std::exp(bent - curve) - half + 0.5f;
  return half - half * std::exp(curve - bent) + 0.5f;
}

float BipolarExpPotardMapping::ToPosition(float value) const noexcept {
  if (value > 0.5f) return 0.5f * std::log((2.0f * value - 1.0f) / scale + 1.0f) / curve + 0.5f;
  return 0.5f - 0.5f * std::log((1.0f - 2.0f * value) / scale + 1.0f) / curve;
}

void BipolarExpPotardMapping::ToValueBlock(float* data, uint32_t count) const noexcept {
  const float half = scale * 0.5f;
  TransformQuads(data, count, [c = curve, half](Float4 x) {
    // One exponential serves both halves: only its argument and its sign differ.
    const Float4 fromCenter = 2.0f * x * c - c;
    const auto isUpper = x > 0.5f;
    const Float4 rise = half * ExpFloat4(isUpper ? fromCenter : -fromCenter);
    return (isUpper ? rise - half : half - rise) + 0.5f;
  });
}

}  // namespace Vantora::MappingTools
