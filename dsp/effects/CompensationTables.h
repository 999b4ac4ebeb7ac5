#pragma once

#include <array>
#include <cstdint>

#include "dsp/effects/ShapingCurves.h"

namespace Vantora::dsp {

inline constexpr uint32_t kCompensationCount = 44;
inline constexpr float kCompensationLowestDrive = -60.0f;  // dB
inline constexpr float kCompensationStep = 3.0f;           // dB

/// Level loss in dB of a full-scale sine, by drive: entry k stands for -60 dB + 3 dB * k.
using CompensationTable = std::array<float, kCompensationCount>;

extern const CompensationTable kSineFoldCompensation;
extern const CompensationTable kTriangleFoldCompensation;
/// By algorithm number.
extern const std::array<CompensationTable, kShapingCurveCount> kShaperCompensation;

/// What brings a full-scale sine back to its level after a drive of `driveDb`, in dB: linear between the
/// entries, held beyond the table. A drive that isn't a number counts as the lowest.
inline float LookUpCompensation(const CompensationTable& table, float driveDb) noexcept {
  constexpr float kLast = static_cast<float>(kCompensationCount - 1);
  const float position = driveDb / kCompensationStep - kCompensationLowestDrive / kCompensationStep;
  const float positive = position > 0.0f ? position : 0.0f;  // NaN becomes 0
  const float held = positive < kLast ? positive : kLast;
  const uint32_t below = static_cast<uint32_t>(held);
  if (below + 1 >= kCompensationCount) return table[kCompensationCount - 1];
  return table[below] + (table[below + 1] - table[below]) * (held - static_cast<float>(below));
}

/// A compensation gain on its way: from + step * (i + 1) at sample i.
struct CompensationLine {
  float from = 1.0f;
  float step = 0.0f;
};

/// CompensationRamp: the compensation gain, as a straight line over each block from the last block's gain.
class CompensationRamp {
 public:
  /// The next block starts at its own gain.
  void Snap() noexcept { isSnapPending = true; }

  /// The way to `gain`, which is reached after `count` samples, at least one.
  CompensationLine Aim(float gain, uint32_t count) noexcept {
    const float from = isSnapPending ? gain : last;
    last = gain;
    isSnapPending = false;
    return {from, (gain - from) / static_cast<float>(count)};
  }

  /// True when a block would be level at `gain`, as the last one ended.
  bool StandsAt(float gain) const noexcept { return !isSnapPending && last == gain; }

  /// The gain at the end of the last block.
  float Last() const noexcept { return last; }

  /// Without compensation the gain is 1 at once, and 1 is where a later ramp starts.
  void SwitchOff() noexcept {
    last = 1.0f;
    isSnapPending = false;
  }

 private:
  float last = 1.0f;
  bool isSnapPending = true;
};

}  // namespace Vantora::dsp
