#pragma once

#include "basictools/math/mapping/IPotardMapping.h"

namespace Vantora::MappingTools {

/// A 1/x law between two bounds of the same sign, running backwards: position 0 gives 1, position 1 gives 0.
/// Intended: the block form leaves the data as it is.
/// MappingBlock.VectorFormsTakeWholeGroupsAndTheOthersEveryElement holds it.
class InversePotardMapping : public IPotardMapping {
 public:
  /// Throws CException when the range touches 0 or `highBound` isn't above `lowBound`.
  InversePotardMapping(float lowBound, float highBound);

  float ToValue(float position) const noexcept override {
    return (1.0f / (invHigh + (invLow - invHigh) * position) - low) / (high - low);
  }

  float ToPosition(float value) const noexcept override {
    return (1.0f / (low + (high - low) * value) - invHigh) / (invLow - invHigh);
  }

  void ToValueBlock(float*, uint32_t) const noexcept override {}

 private:
  float low;
  float invHigh;  // 1 / high
  float high;
  float invLow;  // 1 / low
};

}  // namespace Vantora::MappingTools
