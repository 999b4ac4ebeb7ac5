#include "dsp/stage/TapLines.h"

#include <algorithm>
#include <cmath>

namespace Vantora::dsp {

void TapLines::Configure(uint32_t maxBlockSize, float longestTap) {
  for (DelayLine& line : lines) line.Resize(static_cast<uint32_t>(std::ceil(longestTap)) + 10u);
  // A tap that lies between two whole places is read with three loads, of which one may lie in front of the
  // past.
  for (AlignedFloats& window : windows)
    window.assign(kVectorPadding + lines[0].Size() + WholeVectors(maxBlockSize) + kVectorPadding, 0.0f);
  states = {};
}

void TapLines::Clear() {
  for (DelayLine& line : lines) line.Clear();
  states = {};
}

void TapLines::Write(const Input& input, const float* depth, uint32_t count) {
  // The greatest depth, with room for what a smoother adds beyond its target.
  const float greatest = *std::max_element(depth, depth + count);
  const uint32_t past = std::min(static_cast<uint32_t>(1.05f * greatest) + 4u, lines[0].Size());
  furthest = static_cast<int32_t>(past) - 1;
  for (uint32_t side = 0; side < 2; ++side) {
    float* start = windows[side].data() + kVectorPadding;
    lines[side].CopyRun(start, past, past);
    block[side] = start + past;
  }
  if (input.highPass != nullptr) {
    WriteSides<true>(input, block[0], block[1], count);
  } else {
    WriteSides<false>(input, block[0], block[1], count);
  }
  for (uint32_t side = 0; side < 2; ++side) lines[side].WriteBlock(block[side], count);
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
    BiquadDirectForm1 a = states[0];
    BiquadDirectForm1 b = states[1];
    for (uint32_t i = 0; i < count; ++i) {
      left[i] = a.Tick(k, left[i]);
      right[i] = b.Tick(k, right[i]);
    }
    states = {a, b};
  }
}

}  // namespace Vantora::dsp
