#include "plugin/lv2/Lv2Ports.h"

#include <cmath>

namespace Vantora::plugin {
namespace {

bool IsBypass(const host::Parameter& parameter) {
  return parameter.Index() == HostParameters::Get().BypassIndex();
}

}  // namespace

float ToPortValue(const host::Parameter& parameter, float position) {
  if (IsBypass(parameter)) return position >= 0.5f ? 0.0f : 1.0f;
  const float value = parameter.ToValue(position);
  if (parameter.IsStepped()) return std::round(value);
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

float FromPortValue(const host::Parameter& parameter, float value) {
  if (std::isnan(value)) return parameter.PreferredNormalized();
  if (IsBypass(parameter)) return value > 0.5f ? 0.0f : 1.0f;
  return parameter.ToNormalized(parameter.IsStepped() ? std::round(value) : value);
}

}  // namespace Vantora::plugin
