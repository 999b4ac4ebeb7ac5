#include "dsp/stage/FeedbackPath.h"

#include <cmath>

namespace Vantora::dsp {

void FeedbackPath::Configure(uint32_t maxBlockSize, float rate, float maxMs) {
  sampleRate = rate;
  blockLength = maxBlockSize;
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
  for (uint32_t i = 0; i < count; ++i) {
    const float d = delaySamples[i];
    const auto whole = static_cast<int32_t>(d);
    out[i] = line.ReadInterpolated(static_cast<uint32_t>(whole), kInterpolationFifthOrder,
                                   d - static_cast<float>(whole));
    line.Write(state.Tick(highPass, wetSum[i]));
  }
  highPassStates[side] = state;
}

}  // namespace Vantora::dsp
