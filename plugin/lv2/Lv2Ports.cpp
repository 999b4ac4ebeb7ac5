#include "plugin/lv2/Lv2Ports.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace Vantora::plugin {
namespace {

bool IsBypass(const host::Parameter& parameter) {
  return parameter.Index() == HostParameters::Get().BypassIndex();
}

/// What the curve makes of a position; of a choice its step, wherever in the step the position lies.
float OwnValue(const host::Parameter& parameter, float position) {
  if (IsBypass(parameter)) return position >= 0.5f ? 0.0f : 1.0f;
  const float value = parameter.ToValue(position);
  return parameter.IsStepped() ? std::round(value) : value;
}

/// The number near `value` with the fewest digits, at most 7, that leads back to `position`: people see 440,
/// not 439.99994.
std::optional<float> RoundestValue(const host::Parameter& parameter, float position, float value) {
  const auto [low, high] = std::minmax({parameter.Minimum(), parameter.Maximum()});
  const auto exact = static_cast<double>(value);
  const int magnitude = value == 0.0f ? 0 : static_cast<int>(std::floor(std::log10(std::abs(exact))));
  for (int digits = 1; digits <= 7; ++digits) {
    // A power of ten with a negative exponent isn't exact: divide by it, don't multiply.
    const int places = digits - 1 - magnitude;
    const double unit = std::pow(10.0, std::abs(places));
    const double rounded = places > 0 ? std::round(exact * unit) / unit : std::round(exact / unit) * unit;
    const auto candidate = static_cast<float>(rounded);
    if (candidate >= low && candidate <= high && parameter.ToNormalized(candidate) == position)
      return candidate;
  }
  return std::nullopt;
}

}  // namespace

float ToPortValue(const host::Parameter& parameter, float position) {
  const float value = OwnValue(parameter, position);
  if (IsBypass(parameter) || parameter.IsStepped()) return value;
  if (const auto round = RoundestValue(parameter, position, value)) return *round;
  // The curve and its inverse round: look for the float that leads back, near by.
  constexpr int kReach = 16;
  float below = value, above = value;
  for (int step = 0; step < kReach; ++step) {
    if (parameter.ToNormalized(below) == position) return below;
    if (parameter.ToNormalized(above) == position) return above;
    below = std::nextafter(below, parameter.Minimum());
    above = std::nextafter(above, parameter.Maximum());
  }
  return value;
}

bool SaysPortValue(const host::Parameter& parameter, float position, float value) {
  return FromPortValue(parameter, value) == position || OwnValue(parameter, position) == value;
}

float FromPortValue(const host::Parameter& parameter, float value) {
  if (std::isnan(value)) return parameter.PreferredNormalized();
  if (IsBypass(parameter)) return value > 0.5f ? 0.0f : 1.0f;
  return parameter.ToNormalized(parameter.IsStepped() ? std::round(value) : value);
}

}  // namespace Vantora::plugin
