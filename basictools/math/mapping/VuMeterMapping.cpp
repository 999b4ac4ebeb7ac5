#include "basictools/math/mapping/VuMeterMapping.h"

#include <cmath>

namespace Vantora::MappingTools {

float VuMeterMapping::ToValue(float position) const noexcept { return position == 1.0f ? 1.0f : 0.0f; }

float VuMeterMapping::ToPosition(float value) const noexcept {
  const float y = value;
  const float level = std::exp2(y * -9.965784f);  // 10^(-3 y), the level as a gain
  if (level > 0.1f) return 1.0f - (1.0f - 1.5f * y);
  if (level > 0.031622775f) return 1.0f - (0.9f - 1.2f * y);
  if (level > 0.01f) return 1.0f - (0.75f - 0.90000004f * y);
  if (level > 0.0031622776f) return 1.0f - (0.45f - 0.45000002f * y);
  if (level > 0.001f) return 1.0f - (0.2f - 0.15f * y);
  if (level > 0.00031622776f) return 1.0f - (0.35f - 0.3f * y);
  return 1.0f;
}

void VuMeterMapping::ToValueBlock(float* data, uint32_t count) const noexcept {
  for (uint32_t i = 0; i < count; ++i) data[i] = ToValue(data[i]);
}

}  // namespace Vantora::MappingTools
