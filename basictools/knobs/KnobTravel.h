#pragma once

#include <cmath>
#include <cstdint>

#include "basictools/knobs/KnobRow.h"
#include "basictools/math/HoldBetween.h"
#include "basictools/math/mapping/PotardMappingHolder.h"
#include "basictools/math/mapping/PotardMappingUtils.h"

namespace Vantora::Knobs {

/// Travel: the range of a knob, with its steps if it has any. Together with a curve it converts between
/// positions 0 to 1 and values in the knob's unit. Fixed once made; the conversions may run on any thread.
struct Travel {
  uint32_t kind;           ///< `MappingTools::MappingKind`
  float stepCount = 2.0f;  ///< of a stepped knob
  float stepSize = 1.0f;   ///< of a stepped knob; negative: position 0 is the highest value
  float minValue;
  float maxValue;

  /// Value at a position. Beyond 0 to 1 a curve is held at its ends; a stepped knob is limited on top only.
  float ToValue(const MappingTools::PotardMappingHolder& curve, float position) const {
    if (!IsStraight(curve)) return BentToValue(curve, position);
    return std::fma(curve.max - curve.min, HoldBetween(position, 0.0f, 1.0f), curve.min);
  }

  /// Position of a value. A curve's is held in 0 to 1, NaN on a bound; a stepped one's isn't.
  float ToPosition(const MappingTools::PotardMappingHolder& curve, float value) const {
    if (!IsStraight(curve)) return BentToPosition(curve, value);
    return HoldBetween((HoldBetween(value, curve.min, curve.max) - curve.min) / (curve.max - curve.min), 0.0f,
                       1.0f);
  }

 private:
  /// Of most knobs that move in every block.
  bool IsStraight(const MappingTools::PotardMappingHolder& curve) const {
    return kind == MappingTools::Linear && !curve.reversed && curve.min < curve.max;
  }
  float BentToValue(const MappingTools::PotardMappingHolder& curve, float position) const;
  float BentToPosition(const MappingTools::PotardMappingHolder& curve, float value) const;
};

/// The curve of a range, ready for `Travel`. Throws `CException` for an unknown kind or an impossible curve.
MappingTools::PotardMappingHolder MakeCurve(const Range& range);
Travel MakeTravel(const Range& range);

}  // namespace Vantora::Knobs
