#include "basictools/math/mapping/EnveloppeTimeMapping.h"

#include "basictools/math/mapping/TimeTable.h"

namespace Vantora::MappingTools {
namespace {

// Times as parts of the longest, at 20 equal steps of the knob: laid out by hand for the feel of the knob.
constexpr float kTimes[21] = {0.0f,          0.000275075639f, 0.00105028879f, 0.00217559841f, 0.00355097651f,
                              0.0055015129f, 0.00807722099f,  0.0119282799f,  0.017554827f,   0.0256820619f,
                              0.0378354043f, 0.0495386235f,   0.0779714435f,  0.0922503695f,  0.150191307f,
                              0.197279245f,  0.298081964f,    0.379829466f,   0.533371687f,   0.685788572f,
                              1.0f};

}  // namespace

float EnveloppeTimeMapping::ToValue(float position) const noexcept {
  if (position >= 1.0f) return 1.0f;
  if (!(position > 0.0f)) return 0.0f;  // NaN too
  return InterpolateTable(kTimes, position);
}

float EnveloppeTimeMapping::ToPosition(float value) const noexcept {
  if (value >= 1.0f) return 1.0f;
  if (!(value > 0.0f)) return 0.0f;
  return FindInTable(kTimes, value) * 0.05f;
}

void EnveloppeTimeMapping::ToValueBlock(float* data, uint32_t count) const noexcept {
  for (uint32_t i = 0; i < count; ++i) data[i] = ToValue(data[i]);
}

}  // namespace Vantora::MappingTools
