#pragma once

#include "basictools/math/Float4.h"
#include "basictools/math/mapping/IPotardMapping.h"

namespace Vantora::MappingTools {

/// The falling line: value = 1 - position. The block form covers whole groups of four.
class ReversePotardMapping : public IPotardMapping {
 public:
  float ToValue(float position) const noexcept override { return 1.0f - position; }
  float ToPosition(float value) const noexcept override { return 1.0f - value; }
  void ToValueBlock(float* data, uint32_t count) const noexcept override {
    TransformQuads(data, count, [](Float4 x) { return 1.0f - x; });
  }
};

}  // namespace Vantora::MappingTools
