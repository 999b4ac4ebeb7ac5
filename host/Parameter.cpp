#include "host/Parameter.h"

#include <algorithm>
#include <utility>

namespace Vantora::host {
namespace {

/// Fowler, Noll and Vo's hash, variant 1a, 32 bits.
uint32_t Hash(std::string_view text) {
  uint32_t hash = 2166136261u;
  for (const char c : text) hash = (hash ^ static_cast<uint8_t>(c)) * 16777619u;
  return hash;
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

Parameter::Parameter(Place itsPlace, const Knobs::Row& itsRow)
    : place(std::move(itsPlace)),
      row(itsRow),
      id(Hash(place.uniqueName) & 0x7FFFFFFFu),
      curve(Knobs::MakeCurve(row.range)),
      travel(Knobs::MakeTravel(row.range)),
      labels(row.labels.begin(), row.labels.end()) {
  const auto positionOf = [this](const Knobs::Start& start) {
    if (start.how == Knobs::Start::kAtValue) return ToNormalized(start.at);
    return start.how == Knobs::Start::kAtPosition ? start.at : 0.0f;
  };
  startNormalized = positionOf(row.start);
  startValue = row.start.how == Knobs::Start::kAtValue ? row.start.at : ToValue(startNormalized);
  preferredNormalized = row.preset.how == Knobs::Start::kAtRest ? startNormalized : positionOf(row.preset);
}

bool Parameter::IsInPresets() const { return IsOffered() && place.name != "Bypass"; }

float Parameter::ToValue(float normalized) const {
  return travel.ToValue(curve, std::clamp(normalized, 0.0f, 1.0f));
}

float Parameter::ToNormalized(float value) const {
  return std::clamp(travel.ToPosition(curve, value), 0.0f, 1.0f);
}

}  // namespace Vantora::host
