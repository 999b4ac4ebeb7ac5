#include "dsp/control/LFO.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "basictools/BitCast.h"
#include "basictools/math/ClockSeed.h"
#include "basictools/math/Xorshift.h"
#include "basictools/math/mapping/PotardMappingUtils.h"

namespace Vantora::dsp {
namespace {

/// Of one cycle, 0..1.
float Fraction(float x) noexcept { return x - std::floor(x); }

/// 2 to the power f, to 1e-4 or so, and exactly 1 at 0 for the fade-in to start
/// from silence. The bits of the result are a linear function of f but for a
/// correction within each octave. Source: the well-known form by P. Mineiro.
float FastExp2(float f) noexcept {
  const float held = std::min(std::max(f, -126.0f), 127.0f);
  const float z = held - std::trunc(held) + (held < 0.0f ? 1.0f : 0.0f);
  const float bits = 8388608.0f * (held + 121.274055f + 27.728024f / (4.8425255f - z) - 1.4901291f * z);
  return BitCast<float>(static_cast<uint32_t>(bits));
}

float Sine(float x) noexcept { return std::sin(x * 6.2831855f); }
float Triangle(float x) noexcept {
  return x < 0.25f ? 4.0f * x : x < 0.75f ? 2.0f - 4.0f * x : 4.0f * x - 4.0f;
}
float FallingSaw(float x) noexcept { return 1.0f - 2.0f * x; }
float RisingSaw(float x) noexcept { return 2.0f * x - 1.0f; }
float Square(float x) noexcept { return x < 0.5f ? 1.0f : -1.0f; }

}  // namespace

LFO::LFO(std::string text, uint32_t seed)
    : IGenerator(std::move(text), kInputCount, kOutputCount, MakeRecords(LFOKnobs::kRows)),
      randomState(seed != 0 ? seed : ClockSeed(this)) {
  SetRateInput(false, 0);
}

void LFO::Configure(uint32_t maxBlockSize, float newSampleRate) {
  IGenerator::Configure(maxBlockSize, newSampleRate);
  fadeSampleRate = newSampleRate;
  samplesPerStep = Normalized(kControlRate) > 0.5f ? static_cast<float>(maxBlockSize) : 1.0f;
  for (SmootherLPF& smoother : smoothers) {
    smoother.Setup(static_cast<uint32_t>(samplesPerStep), newSampleRate);
  }
}

void LFO::DoReset(bool) {
  ForgetTransport();
  Restart();
  for (SmootherLPF& smoother : smoothers) smoother.SetValue(0.0f);
  held[0] = held[1] = Draw();
  heldIsPrevious = false;
}

void LFO::Restart() {
  IGenerator::Restart();
  held[0] = held[1] = Draw();
  fadePosition = Normalized(kFade) > 0.0f ? 0.0f : 1.0f;
}

bool LFO::UpdateParams(ProcessContext& context) {
  if (!IGenerator::UpdateParams(context)) return false;
  if (!IsAnyDirty()) return true;

  if (IsDirty(kStereo)) channels = Normalized(kStereo) > 0.5f ? 2 : 1;
  if (IsDirty(kWaveform)) waveform = static_cast<uint32_t>(Value(kWaveform));
  if (IsDirty(kSnHStereoMode)) snhStereoMode = static_cast<uint32_t>(Value(kSnHStereoMode));
  if (IsDirty(kSmooth) || IsDirty(kSmoothRateLinked)) {
    smoothLinked = Normalized(kSmoothRateLinked) > 0.5f;
    if (!smoothLinked) SetSmoothingTime(static_cast<double>(Value(kSmooth)));
  }
  if (IsDirty(kFade)) {
    const float seconds = Value(kFade);
    if (!(seconds > 0.0f)) {
      fadePosition = 1.0f;
    } else {
      fadeStep = samplesPerStep / (fadeSampleRate * seconds);
    }
  }
  if (IsDirty(kUnipolar)) unipolar = Normalized(kUnipolar) > 0.5f;
  return true;
}

void LFO::SetSmoothingTime(double time) noexcept {
  for (SmootherLPF& smoother : smoothers) smoother.SetTime(time);
  smoothOn = time > 0.0;
}

float LFO::Draw() noexcept {
  randomState = XorshiftStep(randomState);
  return ToBipolar(randomState);
}

/// Cycles that a channel runs ahead.
float LFO::OffsetOf(uint32_t channel) {
  return channel == 1 && channels == 2 ? Value(kStereoSpread) / 360.0f : 0.0f;
}

void LFO::RenderShape(ProcessContext& context) {
  Shape shape{};
  shape.steps = context.sampleCount;
  shape.out[0] = context.Output(0);
  shape.out[1] = context.Output(1);
  shape.amp = Param(kAmp).ReadValueModulated(context, 1);
  shape.fading = fadePosition < 1.0f;
  if (context.LiveControl(2) != nullptr) {
    const float moved = Param(kPhaseInit).ReadValueModulated(context, 2) - Value(kPhaseInit);
    shape.phaseModulation = 1.0f + moved * 0.0027777778f;
  }
  if (smoothLinked) SetSmoothingTime(static_cast<double>(Value(kSmooth) / GetRateHz(0)));

  // The second channel may share the first one's buffer; then it overwrites it.
  for (uint32_t channel = 0; channel < channels; ++channel) {
    switch (waveform) {
      case kSine:
        RenderWaveform(shape, channel, Sine);
        break;
      case kTriangle:
        RenderWaveform(shape, channel, Triangle);
        break;
      case kFallingSaw:
        RenderWaveform(shape, channel, FallingSaw);
        break;
      case kRisingSaw:
        RenderWaveform(shape, channel, RisingSaw);
        break;
      case kSquare:
        RenderWaveform(shape, channel, Square);
        break;
      default:
        break;
    }
  }
  if (waveform == kSampleAndHold) RenderSampleAndHold(shape);

  fadePosition += fadeStep * static_cast<float>(shape.steps);
  Param(kCurrentPhaseFeedback).SetValue(Fraction(phases[0] + shape.phaseModulation));
  if (shape.out[0] != nullptr) Param(kCurrentValueLFeedback).SetValue(shape.out[0][0]);
}

template <typename Function>
void LFO::RenderWaveform(const Shape& shape, uint32_t channel, Function&& function) {
  const float offset = OffsetOf(channel);
  float* out = shape.out[channel];
  for (uint32_t i = 0; i < shape.steps; ++i) {
    const float x = Fraction(offset + shape.phaseModulation + phases[i]);
    const float y = Finish(shape, channel, i, function(x));
    if (out != nullptr) out[i] = y;
  }
}

/// Step by step through both channels: the second follows what the first holds at that moment.
void LFO::RenderSampleAndHold(const Shape& shape) {
  const float lag = 2.0f * OffsetOf(1);
  for (uint32_t i = 0; i < shape.steps; ++i) {
    HoldFirst(i);
    const float first = Finish(shape, 0, i, held[0]);
    if (shape.out[0] != nullptr) shape.out[0][i] = first;
    if (channels != 2) continue;
    if (snhStereoMode == 0) HoldSecond(i, lag);
    const float second = Finish(shape, 1, i, held[1]);
    if (shape.out[1] != nullptr) shape.out[1][i] = second;
  }
}

void LFO::HoldFirst(uint32_t step) noexcept {
  previousHeld = held[0];
  if (!(triggers[step] > 0.5f)) return;
  held[0] = Draw();
  heldIsPrevious = false;
  if (snhStereoMode == 1) held[1] = -held[0];
}

/// lag  cycles; from 1 on the second channel is a whole value behind
void LFO::HoldSecond(uint32_t step, float lag) noexcept {
  const float t = phases[step];
  const float moved = std::fmod(t + 1.0f - delayPhase, 1.0f);
  const bool isShort = lag < 1.0f;
  if ((moved >= lag || !isShort) && triggers[step] > 0.5f) {
    held[1] = isShort ? held[0] : previousHeld;
    heldIsPrevious = false;
  }
  if (moved < lag && isShort && t + std::clamp(1.0f - lag, 0.0f, 1.0f) >= 1.0f && !heldIsPrevious) {
    held[1] = previousHeld;
    heldIsPrevious = true;
  }
  delayPhase = t;
}

/// From the waveform's value to the output's.
float LFO::Finish(const Shape& shape, uint32_t channel, uint32_t step, float v) noexcept {
  const float u = 0.5f * v + 0.5f;
  float y = (unipolar ? u : v) * shape.amp;
  if (smoothOn) {
    smoothers[channel].SetTarget(y);
    y = smoothers[channel].Tick();
  }
  if (shape.fading) {
    // y * (exp(10 t) - 1) / (exp(10) - 1). Intended: t may run past 1 within the block in which the fade
    // ends. LFO.AFadeThatEndsWithinABlockRunsOnToTheBlocksEnd holds it.
    const float f = (fadePosition + fadeStep * static_cast<float>(step)) * 14.42695f;
    y = (FastExp2(f) * y - y) / fadeScale;
  }
  return y;
}

}  // namespace Vantora::dsp
