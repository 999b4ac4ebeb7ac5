#include "host/Parameter.h"

#include <algorithm>

#include "engine/ParamRecord.h"

namespace Vantora::host {
namespace {

/// Fowler, Noll and Vo's hash, variant 1a, 32 bits.
uint32_t Hash(std::string_view text) {
  uint32_t hash = 2166136261u;
  for (const char c : text) hash = (hash ^ static_cast<uint8_t>(c)) * 16777619u;
  return hash;
}

dsp::ParamRecord MakeCurve(const Parameter::Declaration& row) {
  if (row.kind == MappingTools::Stepped) {
    return {row.name, static_cast<uint32_t>(row.max - row.min) + 1, row.min, 1.0f};
  }
  return {row.name, row.kind, false, row.min, row.max, row.bend};
}

}  // namespace

std::string_view UnitName(Unit unit) {
  switch (unit) {
    case Unit::kHertz:
      return "Hz";
    case Unit::kDecibels:
      return "dB";
    case Unit::kMilliseconds:
      return "ms";
    case Unit::kSeconds:
      return "s";
    case Unit::kPercent:
      return "%";
    case Unit::kDegrees:
      return "deg";
    case Unit::kSemitones:
      return "st";
    case Unit::kBits:
      return "bits";
    case Unit::kTimes:
      return "x";
    case Unit::kNone:
    case Unit::kRatio:
      break;
  }
  return "";
}

Parameter::Parameter(uint32_t flatIndex, std::string fullName, std::string unambiguousName,
                     std::string_view section, const Declaration& declaration)
    : index(flatIndex),
      id(Hash(unambiguousName)),
      name(std::move(fullName)),
      uniqueName(std::move(unambiguousName)),
      group(section),
      row(declaration),
      curve(std::make_shared<const dsp::ParamRecord>(MakeCurve(row))),
      startNormalized(ToNormalized(row.start)),
      preferredNormalized(row.preferred == kAsStart ? startNormalized : ToNormalized(row.preferred)) {}

bool Parameter::IsStepped() const { return row.kind == MappingTools::Stepped; }
uint32_t Parameter::StepCount() const { return IsStepped() ? curve->GetStepCount() : 0; }
bool Parameter::IsInPresets() const { return IsOffered() && name != "Bypass"; }

const std::vector<std::string>& Parameter::Labels() const {
  static const std::vector<std::string> none;
  return row.labels != nullptr ? *row.labels : none;
}

float Parameter::ToValue(float normalized) const {
  return curve->ToValue(std::clamp(normalized, 0.0f, 1.0f));
}

float Parameter::ToNormalized(float value) const {
  if (row.max <= row.min) return 0.0f;  // one step: there is nowhere else
  return std::clamp(curve->ToNormalized(value), 0.0f, 1.0f);
}

}  // namespace Vantora::host
