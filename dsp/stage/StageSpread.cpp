#include "dsp/stage/StageSpread.h"

#include <cmath>

#include "basictools/math/FastPower.h"

namespace Vantora::dsp {

std::array<StageSpread, 2> StageSpread::Sides() {
  return {{StageSpread(kLeftRatios, 1.0f), StageSpread(kRightRatios, kRightSide)}};
}

StageSpread::StageSpread(const std::array<float, kVoiceCount>& ratios, float sideFactor) {
  for (uint32_t v = 0; v < kVoiceCount; ++v) {
    const float t = ratios[v] * sideFactor;
    logs[v] = FastLog2(t);
    roots[v] = std::sqrt(t);
  }
}

float StageSpread::Ratio(uint32_t voice, float primary, float amount) const {
  return primary * FastPow2(logs[voice] * amount * amount * 5.0f);
}

}  // namespace Vantora::dsp
