#pragma once

#include <algorithm>

#include "basictools/math/mapping/IPotardMapping.h"

namespace Vantora::MappingTools {

/// Two straight lines: three quarters of the travel lie below `knee`. The
/// only inverse that is clamped. Intended: the block form leaves the data
/// as it is, so a parameter that is modulated at audio rate moves linearly.
/// MappingBlock.VectorFormsTakeWholeGroupsAndTheOthersEveryElement holds it.
class PiecewiseLinearPotardMapping : public IPotardMapping {
 public:
  /// kneeValue  strictly between 0 and 1
  explicit PiecewiseLinearPotardMapping(float kneeValue) noexcept : knee(kneeValue) {}

  float ToValue(float position) const noexcept override {
    if (position < 0.75f) return position * 1.3333334f * knee;
    const float t = 4.0f * position - 3.0f;
    return knee + t - knee * t;
  }

  float ToPosition(float value) const noexcept override {
    const float position =
        value < knee ? value * 0.75f / knee : (value - knee) * 0.25f / (1.0f - knee) + 0.75f;
    return std::clamp(position, 0.0f, 1.0f);
  }

  void ToValueBlock(float*, uint32_t) const noexcept override {}

 private:
  float knee;
};

}  // namespace Vantora::MappingTools
