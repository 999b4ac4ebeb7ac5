#include "engine/ParamRecord.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "basictools/math/HoldBetween.h"
#include "basictools/math/WholeQuads.h"

namespace Vantora::dsp {

namespace {

using MappingTools::MakePotardMapping;

constexpr uint32_t kUnusedByCurves = 0xFFFFFFFFu;

float ClampPosition(float x) { return HoldBetween(x, 0.0f, 1.0f); }

Knobs::Travel StepsOf(uint32_t count, float first, float step) {
  const float last = std::fma(static_cast<float>(count) - 1.0f, step, first);
  return {MappingTools::Stepped, static_cast<float>(count), step, std::min(first, last),
          std::max(first, last)};
}

MappingTools::PotardMappingHolder MaybeReversed(MappingTools::PotardMappingHolder curve, bool isReversed) {
  curve.reversed = isReversed;
  return curve;
}

}  // namespace

ParamRecord::ParamRecord(Declaration declaration)
    : fixed(std::make_shared<const Declaration>(std::move(declaration))) {}

ParamRecord::ParamRecord(std::string text)
    : ParamRecord(Declaration{MakePotardMapping(MappingTools::Linear, kUnusedByCurves, 0.0f, 1.0f),
                              std::move(text),
                              {MappingTools::Normalized, 2.0f, 1.0f, 0.0f, 1.0f}}) {}

ParamRecord::ParamRecord(std::string text, uint32_t count, float first, float step)
    : ParamRecord(Declaration{MakePotardMapping(MappingTools::Linear, kUnusedByCurves, 0.0f, 1.0f),
                              std::move(text), StepsOf(count, first, step)}) {
  value = GetMinimum();
}

ParamRecord::ParamRecord(std::string text, uint32_t curveKind, bool reversed, float min, float max,
                         float curveArg1, float curveArg2)
    : ParamRecord(Declaration{
          MaybeReversed(MakePotardMapping(curveKind, kUnusedByCurves, min, max, curveArg1, curveArg2),
                        reversed),
          std::move(text),
          {curveKind, 2.0f, 1.0f, min, max}}) {
  value = min;
}

ParamRecord::ParamRecord(const Knobs::Range& range)
    : ParamRecord(Declaration{Knobs::MakeCurve(range), {}, Knobs::MakeTravel(range)}) {
  value = range.min;
}

ParamRecord::ParamRecord(const Knobs::Row& row)
    : ParamRecord(Declaration{Knobs::MakeCurve(row.range), row.name, Knobs::MakeTravel(row.range)}) {
  value = row.range.min;
  if (row.start.how == Knobs::Start::kAtValue) SetValue(row.start.at);
  if (row.start.how == Knobs::Start::kAtPosition) SetNormalized(row.start.at);
}

void ParamRecord::SetName(std::string text) {
  fixed = std::make_shared<const Declaration>(Declaration{fixed->mapping, std::move(text), fixed->travel});
}

void ParamRecord::FollowValue() {
  normalized = ToNormalized(value);
  state = kBothAgree;
}

void ParamRecord::FollowPosition() {
  value = ToValue(normalized);
  state = kBothAgree;
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
  const uint32_t end = WholeQuads(count);
  const auto& [mapping, name, travel] = *fixed;
  if (travel.kind == MappingTools::Normalized) {
    std::copy(positions, positions + end, out);
    return;
  }
  if (travel.kind == MappingTools::Stepped) {
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
  declaration.SetName(GetName());
  declaration.value = declaration.GetMinimum();
  declaration.normalized = 0.0f;
  declaration.state = kBothAgree;
  *this = std::move(declaration);
}

std::vector<ParamRecord> MakeRecords(std::span<const Knobs::Row> rows) {
  std::vector<ParamRecord> records;
  records.reserve(rows.size());
  for (const Knobs::Row& row : rows) records.emplace_back(row);
  return records;
}

}  // namespace Vantora::dsp
