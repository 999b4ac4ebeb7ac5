#pragma once

#include "basictools/math/mapping/IPotardMapping.h"

namespace Vantora::MappingTools {

/// A factor from 1 / ratio to ratio, exactly 1 at the centre: below it the reciprocal of a straight line,
/// above it a straight line. Absolute. The block form covers whole groups of four.
class HarmonicMapping : public IPotardMapping {
 public:
  explicit HarmonicMapping(float factor) noexcept : ratio(factor) {}

  float ToValue(float position) const noexcept override;
  float ToPosition(float value) const noexcept override;
  void ToValueBlock(float* data, uint32_t count) const noexcept override;
  bool IsAbsolute() const noexcept override { return true; }

 private:
  float ratio;
};

}  // namespace Vantora::MappingTools
