#include "dsp/control/DelayLine.h"

#include <algorithm>

namespace Vantora::dsp {

DelayLine::~DelayLine() = default;

void DelayLine::Resize(uint32_t newSize) {
  memory.Resize(newSize + 1u);  // the first cell stands behind the last once more
  data = memory.Data();
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
  if (i == 0) data[size] = value;
  if (!IsInZeroRange(i)) return;
  const int32_t below = i - zeroBegin;
  const int32_t above = zeroEnd - 1 - i;
  if (below <= above) {
    std::fill(data + zeroBegin, data + i, 0.0f);
    zeroBegin = i + 1;
  } else {
    // Intended: the cell itself stays in the range and reads as zero until the range moves past it.
    // DelayLine.WritingIntoTheClearedRangeKeepsTheLowerSideAndSwallowsTheUpper holds it.
    std::fill(data + i + 1, data + zeroEnd, 0.0f);
    zeroEnd = i + 1;
  }
}

void DelayLine::WriteBlock(const float* values, uint32_t count) noexcept {
  while (count > 0) {
    const uint32_t straight = std::min(count, static_cast<uint32_t>(size - writeIndex));
    std::copy_n(values, straight, data + writeIndex);
    TakeRoom(straight);
    values += straight;
    count -= straight;
  }
}

void DelayLine::CopyRun(float* out, uint32_t delay, uint32_t count) const noexcept {
  int32_t begin = Wrapped(writeIndex - static_cast<int32_t>(delay));
  auto left = static_cast<int32_t>(count);
  while (left > 0) {
    const int32_t end = std::min(begin + left, size);
    std::copy(data + begin, data + end, out);
    const int32_t silentFrom = std::max(begin, zeroBegin);
    const int32_t silentTo = std::min(end, zeroEnd);
    if (silentFrom < silentTo) std::fill(out + (silentFrom - begin), out + (silentTo - begin), 0.0f);
    out += end - begin;
    left -= end - begin;
    begin = 0;
  }
}

}  // namespace Vantora::dsp
