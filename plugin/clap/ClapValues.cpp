#include <algorithm>
#include <cmath>

#include "plugin/clap/ClapPlugin.h"

namespace Vantora::plugin {

double ToClapValue(const host::Parameter& parameter, float position) {
  if (!parameter.IsStepped()) return static_cast<double>(position);
  return static_cast<double>(std::round(parameter.ToValue(position)));
}

float FromClapValue(const host::Parameter& parameter, double value) {
  if (!(value == value)) return parameter.PreferredNormalized();
  if (!parameter.IsStepped()) return static_cast<float>(std::clamp(value, 0.0, 1.0));
  const auto step =
      std::clamp(static_cast<float>(std::round(value)), parameter.Minimum(), parameter.Maximum());
  return parameter.ToNormalized(step);
}

}  // namespace Vantora::plugin
