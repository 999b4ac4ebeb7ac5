#pragma once

#include "basictools/math/mapping/IPotardMapping.h"

namespace Vantora::MappingTools {

/// Equal temperament: position 0 is `base`, position 1 the last of `noteCount` semitones. Absolute, in the
/// unit of the base. Intended: the block form leaves the data as it is.
/// MappingBlock.VectorFormsTakeWholeGroupsAndTheOthersEveryElement holds it.
class SemiToneToFreqMapping : public IPotardMapping {
 public:
  /// baseFrequency  Hz, above 0
  /// noteCount      notes from the lowest to the highest, at least 2
  SemiToneToFreqMapping(float baseFrequency, float noteCount) noexcept;

  float ToValue(float position) const noexcept override;
  float ToPosition(float value) const noexcept override;
  void ToValueBlock(float*, uint32_t) const noexcept override {}
  bool IsAbsolute() const noexcept override { return true; }

 private:
  float base;                    // Hz
  float span;                    // semitones
  float octaves = 0.083333336f;  // per semitone
  float invBase;                 // 1 / base
  float invSpan;                 // 1 / span
};

}  // namespace Vantora::MappingTools
