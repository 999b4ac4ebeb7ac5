#include "basictools/math/mapping/MixerTimeMapping.h"

#include "basictools/math/mapping/TimeTable.h"

namespace Vantora::MappingTools {
namespace {

// Times as parts of the longest, at 9 equal steps of the knob: laid out by hand for the feel of the knob.
constexpr float kTimes[10] = {0.0f,          0.00140653912f, 0.00419494137f, 0.00858729146f, 0.0192227028f,
                              0.0384207293f, 0.0917951912f,  0.28584823f,    0.552621841f,   1.0f};

}  // namespace

float MixerTimeMapping::ToValue(float position) const noexcept {
  if (position >= 1.0f) return 1.0f;
  if (!(position >= 0.0f)) return 0.0f;  // NaN too
  return InterpolateTable(kTimes, position);
}

float MixerTimeMapping::ToPosition(float value) const noexcept {
  if (value >= 1.0f) return 1.0f;
  if (!(value >= 0.0f)) return 0.0f;
  return FindInTable(kTimes, value) * 0.11111111f;
}

void MixerTimeMapping::ToValueBlock(float* data, uint32_t count) const noexcept {
  for (uint32_t i = 0; i < count; ++i) data[i] = ToValue(data[i]);
}

}  // namespace Vantora::MappingTools
