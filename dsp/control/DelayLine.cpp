#include "dsp/control/DelayLine.h"

#include <algorithm>

namespace Vantora::dsp {

DelayLine::~DelayLine() = default;

void DelayLine::Resize(uint32_t newSize) {
  buffer.assign(newSize, 0.0f);
  data = buffer.data();
  size = static_cast<int32_t>(newSize);
  Clear();
  ready = true;
}

void DelayLine::Clear() noexcept {
  writeIndex = 0;
  zeroBegin = 0;
  zeroEnd = size;
  ready = false;
}

void DelayLine::WriteAt(uint32_t delay, float value) noexcept {
  const int32_t i = Wrapped(writeIndex - static_cast<int32_t>(delay));
  data[i] = value;
  if (!IsInZeroRange(i)) return;
  const int32_t below = i - zeroBegin;
  const int32_t above = zeroEnd - 1 - i;
  if (below <= above) {
    std::fill(data + zeroBegin, data + i, 0.0f);
    zeroBegin = i + 1;
  } else {
    // Intended: the cell itself stays in the range and reads as zero until the range moves past it.
    std::fill(data + i + 1, data + zeroEnd, 0.0f);
    zeroEnd = i + 1;
  }
}

}  // namespace Vantora::dsp
