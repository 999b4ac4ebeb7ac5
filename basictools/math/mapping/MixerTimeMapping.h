#pragma once

#include "basictools/math/mapping/IPotardMapping.h"

namespace Vantora::MappingTools {

/// The times of a mixer: 9 straight segments, fine at the
/// short end. The block form takes every element, one by one.
class MixerTimeMapping : public IPotardMapping {
 public:
  float ToValue(float position) const noexcept override;
  float ToPosition(float value) const noexcept override;
  void ToValueBlock(float* data, uint32_t count) const noexcept override;
};

}  // namespace Vantora::MappingTools
