#include "dsp/stage/FeedbackPath.h"

#include <algorithm>
#include <cmath>

#include "dsp/stage/StageKernels.h"

namespace Vantora::dsp {

void FeedbackPath::Configure(uint32_t maxBlockSize, float rate, float maxMs) {
  sampleRate = rate;
  blockLength = maxBlockSize;
  for (AlignedFloats& side : past) side.assign(WholeVectors(maxBlockSize) + kVectorPadding, 0.0f);
  for (AlignedFloats& side : filtered) side.assign(WholeVectors(maxBlockSize), 0.0f);
  delay.Setup(1, maxBlockSize, rate);
  gain.Setup(1, maxBlockSize, rate);
  delayBlock.Forget();
  gainBlock.Forget();
  for (auto& line : lines) line.Resize(static_cast<uint32_t>(maxMs * 0.001f * rate) + 10u);
  const float w = 6.2831855f / rate * 20.0f;
  highPass = BiquadCoefficients::HighPass(w, std::sin(w) * 0.707213581f);
}

void FeedbackPath::Reset(float ms) {
  for (auto& line : lines) line.Clear();
  highPassStates = {};
  delay.SetValue(sampleRate * 0.001f * ms);
  for (float* output : outputs) {
    if (output == nullptr) continue;
    for (uint32_t i = 0; i < blockLength; ++i) {
      if (!std::isfinite(output[i])) output[i] = 0.0f;
    }
  }
}

void FeedbackPath::RenderDelay(float* out, uint32_t count) {
  isDelaySettled = delay.IsSettled();
  delayBlock.Render(delay, out, count);
}

void FeedbackPath::Process(const std::array<const float*, 2>& wetSums, const float* delaySamples,
                           uint32_t count, const LowPassAlongside* lowPass) {
  const bool stands = ReadsStandingDelay(delaySamples, count);
  const auto whole = static_cast<uint32_t>(delaySamples[0]);
  if (stands) {
    // Laid out long before it is read: a load across what was just stored in other pieces would wait.
    for (uint32_t side = 0; side < 2; ++side) lines[side].CopyRun(past[side].data(), whole + 2, count + 3);
  }
  if (lowPass != nullptr) {
    FilterSides<true>(wetSums, count, lowPass);
  } else {
    FilterSides<false>(wetSums, count, nullptr);
  }
  for (uint32_t side = 0; side < 2; ++side) {
    if (stands) {
      const float frac = delaySamples[0] - static_cast<float>(whole);
      StageKernels().readFifthOrder(past[side].data(), frac, outputs[side], count);
      lines[side].WriteBlock(filtered[side].data(), count);
    } else {
      ReadMoving(side, delaySamples, count);
    }
  }
}

template <bool kLowPass>
void FeedbackPath::FilterSides(const std::array<const float*, 2>& wetSums, uint32_t count,
                               const LowPassAlongside* lowPass) {
  const BiquadCoefficients k = highPass;
  Transposed2<Float4> loop = highPassStates;
  const float* left = wetSums[0];
  const float* right = wetSums[1];
  float* __restrict filteredLeft = filtered[0].data();
  float* __restrict filteredRight = filtered[1].data();
  if constexpr (kLowPass) {
    const BiquadCoefficients m = *lowPass->coefficients;
    DirectForm1<Float4> output = *lowPass->states;
    float* outLeft = lowPass->out[0];  // may be the sum itself
    float* outRight = lowPass->out[1];
    for (uint32_t i = 0; i < count; ++i) {
      const Float4 x = MakeStereo(left[i], right[i]);
      const Float4 y = loop.Tick(k, x);
      const Float4 z = output.Tick(m, x);
      filteredLeft[i] = y[0];
      filteredRight[i] = y[1];
      outLeft[i] = z[0];
      outRight[i] = z[1];
    }
    *lowPass->states = output;
  } else {
    for (uint32_t i = 0; i < count; ++i) {
      const Float4 y = loop.Tick(k, MakeStereo(left[i], right[i]));
      filteredLeft[i] = y[0];
      filteredRight[i] = y[1];
    }
  }
  highPassStates = loop;
}

// While the delay stands and is longer than the block, all reads lie in front of the block's writes.
bool FeedbackPath::ReadsStandingDelay(const float* delaySamples, uint32_t count) const {
  if (count == 0 || count > blockLength) return false;
  const float d = delaySamples[0];
  if (!(d >= static_cast<float>(count + 2)) || static_cast<uint32_t>(d) + 2 > lines[0].Size()) return false;
  if (isDelaySettled && count % 4 == 0) return true;
  // The end of a glide may move less than a float can tell.
  return std::all_of(delaySamples, delaySamples + count, [d](float other) { return other == d; });
}

void FeedbackPath::ReadMoving(uint32_t side, const float* delaySamples, uint32_t count) {
  DelayLine& line = lines[side];
  for (uint32_t i = 0; i < count; ++i) {
    const float d = delaySamples[i];
    const auto whole = static_cast<int32_t>(d);
    outputs[side][i] = line.ReadInterpolated(static_cast<uint32_t>(whole), kInterpolationFifthOrder,
                                             d - static_cast<float>(whole));
    line.Write(filtered[side][i]);
  }
}

}  // namespace Vantora::dsp
