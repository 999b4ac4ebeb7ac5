#include "basictools/math/mapping/HarmonicMapping.h"

#include "basictools/math/Float4.h"

namespace Vantora::MappingTools {

float HarmonicMapping::ToValue(float position) const noexcept {
  if (position < 0.5f) return 1.0f / (2.0f * position - 2.0f * position * ratio + ratio);
  if (position == 0.5f) return 1.0f;
  const float t = 2.0f * position - 1.0f;
  return 1.0f + t * ratio - t;
}

float HarmonicMapping::ToPosition(float value) const noexcept {
  if (value < 1.0f) return (1.0f / value - ratio) / (2.0f - 2.0f * ratio);
  if (value == 1.0f) return 0.5f;
  return 0.5f + (value - 1.0f) / (2.0f * ratio - 2.0f);
}

void HarmonicMapping::ToValueBlock(float* data, uint32_t count) const noexcept {
  TransformQuads(data, count, [r = ratio](Float4 x) {
    const Float4 twice = 2.0f * x;
    const Float4 t = twice - 1.0f;
    return x < 0.5f ? 1.0f / (twice - twice * r + r) : 1.0f + t * r - t;
  });
}

}  // namespace Vantora::MappingTools
