#include "basictools/math/mapping/InversePotardMapping.h"

#include "tools/CException.h"

namespace Vantora::MappingTools {
namespace {

// The places that the messages name are part of them: logs
// are searched for them, so they stay when lines move.
constexpr const char* kSource = "basictools/math/mapping/InversePotardMapping";

}  // namespace

InversePotardMapping::InversePotardMapping(float lowBound, float highBound)
    : low(lowBound), invHigh(1.0f / highBound), high(highBound), invLow(1.0f / lowBound) {
  const bool isPositive = low > 0.0f && high > 0.0f;
  const bool isNegative = low < 0.0f && high < 0.0f;
  if (!isPositive && !isNegative) {
    throw CException("Inverse Mapping range should not cross 0 value", kSource, 28);
  }
  if (!(high > low)) throw CException("Max value must be bigger than min value", kSource, 31);
}

}  // namespace Vantora::MappingTools
