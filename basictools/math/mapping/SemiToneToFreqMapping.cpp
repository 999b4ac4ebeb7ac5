#include "basictools/math/mapping/SemiToneToFreqMapping.h"

#include <cmath>

namespace Vantora::MappingTools {

SemiToneToFreqMapping::SemiToneToFreqMapping(float baseFrequency, float noteCount) noexcept
    : base(baseFrequency), span(noteCount - 1.0f), invBase(1.0f / base), invSpan(1.0f / span) {}

float SemiToneToFreqMapping::ToValue(float position) const noexcept {
  return base * std::exp2(span * position * octaves);
}

float SemiToneToFreqMapping::ToPosition(float value) const noexcept {
  return invSpan * 12.0f * std::log2(invBase * value);
}

}  // namespace Vantora::MappingTools
