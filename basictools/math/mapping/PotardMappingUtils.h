#pragma once

#include <cstdint>

#include "basictools/math/mapping/MappingKind.h"
#include "basictools/math/mapping/PotardMappingHolder.h"

namespace Vantora::MappingTools {

/// Makes the holder of a curve for a parameter over `min`..`max`. `Normalized` overwrites the range with
/// 0..1. `reservedValue` is stored twice and read by nobody here. Throws CException for a kind above 16 and
/// for the bounds that InversePotardMapping refuses.
PotardMappingHolder MakePotardMapping(uint32_t kind, uint32_t reservedValue, float min, float max,
                                      float curveArg1 = 1.0f, float curveArg2 = 0.5f);

}  // namespace Vantora::MappingTools
