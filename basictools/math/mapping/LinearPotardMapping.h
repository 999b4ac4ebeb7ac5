#pragma once

#include "basictools/math/mapping/IPotardMapping.h"

namespace Vantora::MappingTools {

/// The straight line: value = position. The block form has nothing to do.
class LinearPotardMapping : public IPotardMapping {
 public:
  float ToValue(float position) const noexcept override { return position; }
  float ToPosition(float value) const noexcept override { return value; }
  void ToValueBlock(float*, uint32_t) const noexcept override {}
};

}  // namespace Vantora::MappingTools
