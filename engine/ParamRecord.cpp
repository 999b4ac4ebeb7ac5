#include "engine/ParamRecord.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Vantora::dsp {

namespace {

using MappingTools::MakePotardMapping;

constexpr uint32_t kUnusedByCurves = 0xFFFFFFFFu;

// fmin and fmax, not std::clamp: NaN must end on a bound.
float ClampPosition(float x) { return std::fmin(std::fmax(x, 0.0f), 1.0f); }

}  // namespace

ParamRecord::ParamRecord(std::string text)
    : mapping(MakePotardMapping(MappingTools::Linear, kUnusedByCurves, 0.0f, 1.0f)),
      name(std::move(text)),
      kind(MappingTools::Normalized),
      minValue(0.0f),
      maxValue(1.0f) {}

ParamRecord::ParamRecord(std::string text, uint32_t count, float first, float step)
    : mapping(MakePotardMapping(MappingTools::Linear, kUnusedByCurves, 0.0f, 1.0f)),
      name(std::move(text)),
      kind(MappingTools::Stepped),
      stepCount(static_cast<float>(count)),
      stepSize(step) {
  const float last = std::fma(static_cast<float>(count) - 1.0f, step, first);
  minValue = std::min(first, last);
  maxValue = std::max(first, last);
  value = minValue;
}

ParamRecord::ParamRecord(std::string text, uint32_t curveKind, bool reversed, float min, float max,
                         float curveArg1, float curveArg2)
    : mapping(MakePotardMapping(curveKind, kUnusedByCurves, min, max, curveArg1, curveArg2)),
      name(std::move(text)),
      kind(curveKind),
      minValue(min),
      maxValue(max),
      value(min) {
  mapping.reversed = reversed;
}

float ParamRecord::GetNormalized() {
  if (state != kValueIsNewer) return normalized;
  normalized = ToNormalized(value);
  state = kBothAgree;
  return normalized;
}

float ParamRecord::GetValue() {
  if (state != kNormalizedIsNewer) return value;
  value = ToValue(normalized);
  state = kBothAgree;
  return value;
}

float ParamRecord::ToValue(float position) const {
  if (kind == MappingTools::Normalized) return position;
  if (kind == MappingTools::Stepped) {
    // Limited on top only: position 1 is the last value, not one beyond it.
    const float travel =
        std::min(std::floor(stepCount * position) * std::fabs(stepSize), maxValue - minValue);
    return stepSize >= 0.0f ? minValue + travel : maxValue - travel;
  }
  const float x = ClampPosition(mapping.reversed ? 1.0f - position : position);
  const float y = mapping.ToValue(x);
  return mapping.absolute ? y : std::fma(mapping.max - mapping.min, y, mapping.min);
}

float ParamRecord::ToNormalized(float plain) const {
  if (kind == MappingTools::Normalized) return plain;
  if (kind == MappingTools::Stepped) {
    const float range = maxValue - minValue;
    if (range == 0.0f) return 0.0f;  // one step only
    return (stepSize >= 0.0f ? plain - minValue : maxValue - plain) / range;
  }
  float y = plain;
  if (!mapping.absolute) {
    const float low = std::min(mapping.min, mapping.max);
    const float high = std::max(mapping.min, mapping.max);
    const float range = mapping.max - mapping.min;
    y = range != 0.0f ? (std::fmin(std::fmax(plain, low), high) - mapping.min) / range : 0.0f;
  }
  const float x = mapping.ToPosition(y);
  return ClampPosition(mapping.reversed ? 1.0f - x : x);
}

float ParamRecord::ReadNormalizedModulated(const ProcessContext& context, uint32_t port) {
  const float* control = context.LiveControl(port);
  return control == nullptr ? GetNormalized() : ClampPosition(GetNormalized() + control[0]);
}

float ParamRecord::ReadValueModulated(const ProcessContext& context, uint32_t port) {
  const float* control = context.LiveControl(port);
  return control == nullptr ? GetValue() : ToValue(ClampPosition(GetNormalized() + control[0]));
}

float ParamRecord::ValueAtOffset(float offset) { return ToValue(ClampPosition(GetNormalized() + offset)); }

void ParamRecord::ToValueBlock(float* out, const float* positions, uint32_t count) const {
  const uint32_t end = count & ~3u;
  if (kind == MappingTools::Normalized) {
    std::copy(positions, positions + end, out);
    return;
  }
  if (kind == MappingTools::Stepped) {
    for (uint32_t i = 0; i < end; ++i) out[i] = ToValue(positions[i]);
    return;
  }
  for (uint32_t i = 0; i < end; ++i) {
    out[i] = ClampPosition(mapping.reversed ? 1.0f - positions[i] : positions[i]);
  }
  mapping.ToValueBlock(out, end);
  if (mapping.absolute) return;
  const float low = mapping.min;
  const float range = mapping.max - mapping.min;
  for (uint32_t i = 0; i < end; ++i) out[i] = low + range * out[i];
}

void ParamRecord::ReDeclare(ParamRecord declaration) {
  declaration.name = std::move(name);
  declaration.value = declaration.minValue;
  declaration.normalized = 0.0f;
  declaration.state = kBothAgree;
  *this = std::move(declaration);
}

}  // namespace Vantora::dsp
