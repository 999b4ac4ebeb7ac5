#pragma once

#include "basictools/math/mapping/IPotardMapping.h"

namespace Vantora::MappingTools {

/// The law of a level meter. It goes one way: ToPosition places a level, and ToValue keeps only the two ends
/// of the travel, since a meter isn't turned. The block form takes every element, one by one.
class VuMeterMapping : public IPotardMapping {
 public:
  float ToValue(float position) const noexcept override;
  /// value  level in units of 60 dB below full scale. The scale bends at -20, -30, -40, -50, -60 and -70 dB.
  float ToPosition(float value) const noexcept override;
  void ToValueBlock(float* data, uint32_t count) const noexcept override;
};

}  // namespace Vantora::MappingTools
