#include "basictools/knobs/KnobTravel.h"

#include <algorithm>
#include <cmath>

#include "basictools/math/HoldBetween.h"
#include "basictools/math/mapping/PotardMappingUtils.h"

namespace Vantora::Knobs {
namespace {

constexpr uint32_t kUnusedByCurves = 0xFFFFFFFFu;

float ClampPosition(float x) { return HoldBetween(x, 0.0f, 1.0f); }

}  // namespace

float Travel::BentToValue(const MappingTools::PotardMappingHolder& curve, float position) const {
  if (kind == MappingTools::Normalized) return position;
  if (kind == MappingTools::Stepped) {
    // Limited on top only: position 1 is the last value, not one beyond it.
    const float travelled =
        std::min(std::floor(stepCount * position) * std::fabs(stepSize), maxValue - minValue);
    return stepSize >= 0.0f ? minValue + travelled : maxValue - travelled;
  }
  const float x = ClampPosition(curve.reversed ? 1.0f - position : position);
  const float y = curve.ToValue(x);
  return curve.absolute ? y : std::fma(curve.max - curve.min, y, curve.min);
}

float Travel::BentToPosition(const MappingTools::PotardMappingHolder& curve, float value) const {
  if (kind == MappingTools::Normalized) return value;
  if (kind == MappingTools::Stepped) {
    const float range = maxValue - minValue;
    if (range == 0.0f) return 0.0f;  // one step only
    return (stepSize >= 0.0f ? value - minValue : maxValue - value) / range;
  }
  float y = value;
  if (!curve.absolute) {
    const float low = std::min(curve.min, curve.max);
    const float high = std::max(curve.min, curve.max);
    const float range = curve.max - curve.min;
    y = range != 0.0f ? (HoldBetween(value, low, high) - curve.min) / range : 0.0f;
  }
  const float x = curve.ToPosition(y);
  return ClampPosition(curve.reversed ? 1.0f - x : x);
}

MappingTools::PotardMappingHolder MakeCurve(const Range& range) {
  // Without a curve of their own, positions and steps hold a straight one over 0 to 1.
  if (range.kind == MappingTools::Normalized || range.kind == MappingTools::Stepped) {
    return MappingTools::MakePotardMapping(MappingTools::Linear, kUnusedByCurves, 0.0f, 1.0f);
  }
  return MappingTools::MakePotardMapping(range.kind, kUnusedByCurves, range.min, range.max, range.bend);
}

Travel MakeTravel(const Range& range) {
  Travel travel{range.kind, 2.0f, 1.0f, range.min, range.max};
  if (range.kind == MappingTools::Stepped) travel.stepCount = static_cast<float>(range.choices);
  return travel;
}

}  // namespace Vantora::Knobs
