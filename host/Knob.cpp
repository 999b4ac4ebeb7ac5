#include "host/Knob.h"

#include <algorithm>
#include <utility>

namespace Vantora::host {

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

std::string_view RoleName(Role role) {
  switch (role) {
    case Role::kMain:
      return "main";
    case Role::kAdvanced:
      return "advanced";
    case Role::kReadOut:
      return "read-out";
    case Role::kCommand:
      return "command";
    case Role::kInternal:
      break;
  }
  return "internal";
}

Knob::Knob(std::string itsFullName, const Knobs::Row& itsRow)
    : fullName(std::move(itsFullName)),
      row(itsRow),
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

float Knob::ToValue(float normalized) const {
  return travel.ToValue(curve, std::clamp(normalized, 0.0f, 1.0f));
}

float Knob::ToNormalized(float value) const {
  return std::clamp(travel.ToPosition(curve, value), 0.0f, 1.0f);
}

}  // namespace Vantora::host
