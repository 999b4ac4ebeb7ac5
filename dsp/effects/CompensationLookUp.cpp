#include "dsp/effects/CompensationTables.h"

namespace Vantora::dsp {

float LookUpCompensation(const CompensationTable& table, float driveDb) noexcept {
  constexpr float kLast = static_cast<float>(kCompensationCount - 1);
  const float position = driveDb / kCompensationStep - kCompensationLowestDrive / kCompensationStep;
  const float positive = position > 0.0f ? position : 0.0f;  // NaN becomes 0
  const float held = positive < kLast ? positive : kLast;
  const uint32_t below = static_cast<uint32_t>(held);
  if (below + 1 >= kCompensationCount) return table[kCompensationCount - 1];
  return table[below] + (table[below + 1] - table[below]) * (held - static_cast<float>(below));
}

}  // namespace Vantora::dsp
