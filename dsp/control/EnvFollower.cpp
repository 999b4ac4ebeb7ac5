#include "dsp/control/EnvFollower.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "basictools/math/Decibels.h"
#include "basictools/math/mapping/PotardMappingUtils.h"

namespace Vantora::dsp {
namespace {

/// Share of a step that one sample covers when `seconds` are five time constants.
float CoefficientOf(float seconds, float sampleRate) {
  return 1.0f - std::exp(-5.0f / (sampleRate * seconds));
}

}  // namespace

EnvFollower::EnvFollower(std::string text)
    : UnitModule(std::move(text), kInputCount, kOutputCount, MakeRecords(EnvFollowerKnobs::kRows)) {}

void EnvFollower::DelayLineDouble::Resize(uint32_t newSize) {
  buffer.resize(newSize);
  data = buffer.data();
  size = newSize;
  Clear();
}

void EnvFollower::DelayLineDouble::Clear() noexcept {
  std::fill(buffer.begin(), buffer.end(), 0.0);
  writeIndex = 0;
  sum = 0.0;
}

void EnvFollower::Configure(uint32_t, float newSampleRate) {
  sampleRate = newSampleRate;
  const float longest = sampleRate * 0.001f * Param(kRmsWindow).GetMaximum();
  ring.Resize(static_cast<uint32_t>(longest) + 5);
  // Of milliseconds, not of samples: it only stands until the first UpdateParams, which Init makes come next.
  invWindow = static_cast<double>(1.0f / Value(kRmsWindow));
}

void EnvFollower::DoReset(bool) {
  envelope = 0.0f;
  ring.Clear();
}

bool EnvFollower::UpdateParams(ProcessContext&) {
  if (IsDirty(kAttack)) attackCoef = CoefficientOf(Value(kAttack), sampleRate);
  if (IsDirty(kRelease)) releaseCoef = CoefficientOf(Value(kRelease), sampleRate);
  if (IsDirty(kStereoInput)) stereoIn = Normalized(kStereoInput) > 0.5f;
  if (IsDirty(kRmsWindow)) {
    const int32_t window = static_cast<int32_t>(Value(kRmsWindow) * 0.001f * sampleRate);
    windowSamples = std::max(window, 1);
    invWindow = 1.0 / windowSamples;
    rmsOn = window > 1;
    DoReset(false);
    MarkChanged();
  }
  if (IsDirty(kFixedLinearGain)) gain = Value(kFixedLinearGain);
  if (IsDirty(kThreshold) || IsDirty(kThresholdActive)) {
    thresholdLinear = DbToGain(Value(kThreshold));
    thresholdOn = Normalized(kThresholdActive) > 0.5f && Normalized(kThreshold) > 0.0f;
  }
  return true;
}

template <bool kStereo, bool kGate, bool kRms>
void EnvFollower::Follow(const float* left, const float* right, float* out, uint32_t count) noexcept {
  float level = envelope;
  for (uint32_t i = 0; i < count; ++i) {
    float t;
    if constexpr (kRms) {
      const float m = kStereo ? (std::fabs(right[i]) + std::fabs(left[i])) * 0.5f : std::fabs(left[i]);
      const double square = static_cast<double>(m) * static_cast<double>(m) * invWindow;
      const float rms = std::sqrt(static_cast<float>(ring.Push(square, windowSamples)));
      // Intended: this path compares before the gain, the peak path after it.
      t = !kGate || rms > thresholdLinear ? gain * rms : 0.0f;
    } else {
      t = kStereo ? gain * 0.5f * (std::fabs(right[i]) + std::fabs(left[i])) : std::fabs(left[i]) * gain;
      if (kGate && !(t > thresholdLinear)) t = 0.0f;
    }
    const float coef = level > t ? releaseCoef : attackCoef;
    const float y = level + (t - level) * coef;
    level = static_cast<double>(y) >= 1e-6 ? y : 0.0f;
    out[i] = level;
  }
  envelope = level;
}

uint32_t EnvFollower::DoProcess(ProcessContext& context) {
  const float* left = context.Input(0);
  const float* right = context.Input(1);
  float* out = context.Output(0);
  if (left == nullptr || out == nullptr) return 0;

  using Loop = void (EnvFollower::*)(const float*, const float*, float*, uint32_t) noexcept;
  static constexpr Loop kLoops[2][2][2] = {
      // [rms][stereo][gate]: no flag is tested inside a loop
      {{&EnvFollower::Follow<false, false, false>, &EnvFollower::Follow<false, true, false>},
       {&EnvFollower::Follow<true, false, false>, &EnvFollower::Follow<true, true, false>}},
      {{&EnvFollower::Follow<false, false, true>, &EnvFollower::Follow<false, true, true>},
       {&EnvFollower::Follow<true, false, true>, &EnvFollower::Follow<true, true, true>}}};
  const bool stereo = stereoIn && right != nullptr;
  // Into a local first: GCC's undefined-behaviour sanitizer crashes on an index within the call.
  const Loop loop = kLoops[rmsOn][stereo][thresholdOn];
  (this->*loop)(left, right, out, context.sampleCount);
  return 1;
}

}  // namespace Vantora::dsp
