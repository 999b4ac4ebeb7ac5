#include "dsp/stage/FeedbackPath.h"

#include <algorithm>
#include <cmath>

namespace Vantora::dsp {

void FeedbackPath::Configure(uint32_t maxBlockSize, float rate, float maxMs) {
  sampleRate = rate;
  blockLength = maxBlockSize;
  scratch.assign(maxBlockSize + 3u, 0.0f);
  delay.Setup(1, maxBlockSize, rate);
  gain.Setup(1, maxBlockSize, rate);
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

void FeedbackPath::Process(uint32_t side, const float* wetSum, const float* delaySamples, uint32_t count) {
  DelayLine& line = lines[side];
  BiquadTransposed2 state = highPassStates[side];
  float* out = outputs[side];
  if (ReadsStandingDelay(line, delaySamples, count)) {
    ReadRun(line, delaySamples[0], out, count);
    for (uint32_t i = 0; i < count; ++i) scratch[i] = state.Tick(highPass, wetSum[i]);
    line.WriteBlock(scratch.data(), count);
  } else {
    for (uint32_t i = 0; i < count; ++i) {
      const float d = delaySamples[i];
      const auto whole = static_cast<int32_t>(d);
      out[i] = line.ReadInterpolated(static_cast<uint32_t>(whole), kInterpolationFifthOrder,
                                     d - static_cast<float>(whole));
      line.Write(state.Tick(highPass, wetSum[i]));
    }
  }
  highPassStates[side] = state;
}

// While the delay stands and is longer than the block, all reads lie in front of the block's writes.
bool FeedbackPath::ReadsStandingDelay(const DelayLine& line, const float* delaySamples,
                                      uint32_t count) const {
  if (count == 0 || count > blockLength) return false;
  const float d = delaySamples[0];
  if (!(d >= static_cast<float>(count + 2)) || static_cast<uint32_t>(d) + 2 > line.Size()) return false;
  return std::all_of(delaySamples, delaySamples + count, [d](float other) { return other == d; });
}

void FeedbackPath::ReadRun(const DelayLine& line, float delaySample, float* out, uint32_t count) {
  const auto whole = static_cast<uint32_t>(delaySample);
  const float frac = delaySample - static_cast<float>(whole);
  line.CopyRun(scratch.data(), whole + 2, count + 3);
  const float* x = scratch.data();
  for (uint32_t i = 0; i < count; ++i)
    out[i] = DelayLine::FifthOrder(x[i + 3], x[i + 2], x[i + 1], x[i], frac);
}

}  // namespace Vantora::dsp
