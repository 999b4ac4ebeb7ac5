#include "dsp/stage/TapLines.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "basictools/BitCast.h"

namespace Vantora::dsp {

namespace {

/// The greatest of `count` numbers from 0 on, which are in the order of their bits.
float Greatest(const float* x, uint32_t count) {
  int32_t greatest = 0;
  for (uint32_t i = 0; i < count; ++i) greatest = std::max(greatest, BitCast<int32_t>(x[i]));
  return BitCast<float>(greatest);
}

}  // namespace

void TapLines::Configure(uint32_t maxBlockSize, float longestTap) {
  longest = static_cast<uint32_t>(std::ceil(longestTap)) + 10u;
  start = kVectorPadding + longest;
  way = kBlocks * maxBlockSize;
  // Taps are read by whole vectors, which may begin in front of the past and end behind the block.
  for (AlignedFloats& line : lines) line.assign(start + way + 2 * kVectorPadding, 0.0f);
  next = start;
  moved = 0;
  states = {};
}

void TapLines::Clear() {
  for (AlignedFloats& line : lines) std::fill(line.begin(), line.end(), 0.0f);
  next = start;
  moved = 0;
  states = {};
}

// The past goes back piece by piece, as soon as it is written and where no tap reaches any more: all at once
// would be felt in that block. Only where blocks were shorter does the way end elsewhere.
void TapLines::MovePast(uint32_t count) {
  if (next + count > start + way) {
    const uint32_t done = next == start + way ? moved : 0;
    CopyPast(done, longest, next - start);
    next = start;
    moved = 0;
    return;
  }
  const uint32_t gone = next - start;
  const uint32_t until = std::min({gone, longest, std::max(gone + longest, way) - way});
  if (until <= moved) return;
  CopyPast(moved, until, way);
  moved = until;
}

void TapLines::CopyPast(uint32_t from, uint32_t to, uint32_t distance) {
  for (AlignedFloats& line : lines) {
    float* const past = line.data() + kVectorPadding;
    std::memmove(past + from, past + from + distance, (to - from) * sizeof(float));
  }
}

void TapLines::Write(const Input& input, const float* depth, uint32_t count) {
  // With room for what a smoother adds beyond its target.
  const uint32_t past = std::min(static_cast<uint32_t>(1.05f * Greatest(depth, count)) + 4u, longest);
  furthest = static_cast<int32_t>(past) - 1;
  MovePast(count);
  for (uint32_t side = 0; side < 2; ++side) block[side] = lines[side].data() + next;
  if (input.highPass != nullptr) {
    WriteSides<true>(input, block[0], block[1], count);
  } else {
    WriteSides<false>(input, block[0], block[1], count);
  }
  next += count;
}

template <bool kHighPass>
void TapLines::WriteSides(const Input& input, float* __restrict left, float* __restrict right,
                          uint32_t count) {
  const float* __restrict gain = input.gain;
  const float* __restrict returnedGain = input.returnedGain;
  const float* __restrict inLeft = input.in[0];
  const float* __restrict inRight = input.in[1];
  const float* __restrict returnedLeft = input.returned[0];
  const float* __restrict returnedRight = input.returned[1];
  for (uint32_t i = 0; i < count; ++i) {
    left[i] = gain[i] * inLeft[i] + returnedGain[i] * returnedLeft[i];
    right[i] = gain[i] * inRight[i] + returnedGain[i] * returnedRight[i];
  }
  if constexpr (kHighPass) {
    const BiquadCoefficients k = *input.highPass;
    DirectForm1<Float4> both = states;
    for (uint32_t i = 0; i < count; ++i) {
      const Float4 y = both.Tick(k, MakeStereo(left[i], right[i]));
      left[i] = y[0];
      right[i] = y[1];
    }
    states = both;
  }
}

}  // namespace Vantora::dsp
