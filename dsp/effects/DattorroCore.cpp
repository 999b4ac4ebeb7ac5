#include "dsp/effects/DattorroCore.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Vantora::dsp {
namespace {

using MappingTools::Linear;

// Lengths in samples at 29761 Hz. Intended: the second diffuser is 407 where the paper has 107.
// DattorroCore.EachDiffuserEchoesAfterItsLength holds it.
constexpr std::array<float, 4> kDiffuserLengths = {142.0f, 407.0f, 379.0f, 277.0f};
constexpr std::array<float, 2> kFirstLengths = {908.0f, 672.0f};  // by half
constexpr std::array<float, 2> kSecondLengths = {2656.0f, 1800.0f};
constexpr std::array<float, 2> kLongFactors = {0.1416955f, 0.14962535f};  // 4217 and 4453 over 29761
constexpr std::array<float, 2> kEndFactors = {0.10628003f, 0.12499580f};  // 3163 and 3720 over 29761
constexpr float kRateToScale = 3.360101982e-05f;                          // just under 1 / 29761
constexpr uint32_t kDelayMargin = 10;                                     // samples

// By index: into which line a tap looks is written out in LeftTaps and RightTaps.
constexpr std::array<float, 14> kTapLengths = {266.0f, 2974.0f, 1913.0f, 1996.0f, 1990.0f, 187.0f, 1066.0f,
                                               353.0f, 3627.0f, 1228.0f, 2673.0f, 2111.0f, 335.0f, 121.0f};
constexpr float kTapGain = 0.6f;
constexpr double kFreeSpeed = 0.01;  // samples a sample: three times the modulation that a fresh plate has

uint32_t AtLeastOne(float samples) { return static_cast<uint32_t>(std::fmax(samples, 1.0f)); }

}  // namespace

DattorroCore::Coefficients DattorroCore::Coefficients::StepTo(const Coefficients& to, uint32_t count) const {
  const float part = 1.0f / static_cast<float>(count);
  return {(to.inputDiffusion1 - inputDiffusion1) * part,
          (to.inputDiffusion2 - inputDiffusion2) * part,
          (to.decay - decay) * part,
          (to.decayDiffusion1 - decayDiffusion1) * part,
          (to.decayDiffusion2 - decayDiffusion2) * part,
          (to.brightness - brightness) * part};
}

void DattorroCore::Coefficients::Add(const Coefficients& by) {
  inputDiffusion1 += by.inputDiffusion1;
  inputDiffusion2 += by.inputDiffusion2;
  decay += by.decay;
  decayDiffusion1 += by.decayDiffusion1;
  decayDiffusion2 += by.decayDiffusion2;
  brightness += by.brightness;
}

void DattorroCore::Phasor::SetIncrement(double radians) {
  increment = radians;
  turnSine = std::sin(radians);
  turnCosine = std::cos(radians);
}

void DattorroCore::Phasor::Restart() {
  sine = 0.0;
  cosine = 1.0;
}

void DattorroCore::Phasor::Turn() {
  const double next = sine * turnCosine + cosine * turnSine;
  cosine = cosine * turnCosine - sine * turnSine;
  sine = next;
}

void DattorroCore::Phasor::Normalize() {
  const double gain = 1.5 - 0.5 * (sine * sine + cosine * cosine);  // one Newton step from 1
  sine *= gain;
  cosine *= gain;
}

DattorroCore::DattorroCore(std::string moduleName)
    : UnitModule(std::move(moduleName), kInputCount, kOutputCount, MakeRecords(DattorroCoreKnobs::kRows)) {}

void DattorroCore::Configure(uint32_t, float sampleRate) {
  rate = sampleRate;
  scale = sampleRate * kRateToScale;
  const float largest = Param(kSize).GetMaximum();
  const auto allPassSize = [&](float length) {
    return std::max(static_cast<uint32_t>(length * largest * scale), 4u);
  };
  const auto delaySize = [&](float factor) {
    return static_cast<uint32_t>(largest * std::trunc(sampleRate * factor)) + kDelayMargin;
  };
  for (std::size_t i = 0; i < diffusers.size(); ++i)
    diffusers[i].Configure(allPassSize(kDiffuserLengths[i]), 1, 0.0f);
  for (std::size_t i = 0; i < halves.size(); ++i) {
    halves[i].first.Configure(allPassSize(kFirstLengths[i]), 1, 0.0f);
    halves[i].second.Configure(allPassSize(kSecondLengths[i]), 1, 0.0f);
    halves[i].longDelay.Resize(delaySize(kLongFactors[i]));
    halves[i].endDelay.Resize(delaySize(kEndFactors[i]));
  }
  // A whole predelay, one cell for the sample that is written first, one for the interpolation, some spare.
  predelayLine.Resize(static_cast<uint32_t>(Param(kPredelay).GetMaximum() * 0.001f * sampleRate) + 4);
  for (std::size_t i = 0; i < kTapCount; ++i) fullTaps[i] = static_cast<uint32_t>(kTapLengths[i] * scale);
  predelaySamples.Setup(1, sampleRate);
  excursionSamples.Setup(1, sampleRate);
  SetLengths();
  SetTaps();
}

void DattorroCore::DoReset(bool) {
  predelayLine.Clear();
  for (AllPassDelay& diffuser : diffusers) diffuser.Clear();
  for (Half& half : halves) {
    half.first.Clear();
    half.longDelay.Clear();
    half.second.Clear();
    half.endDelay.Clear();
    half.damped = 0.0f;
  }
  for (Phasor& phasor : phasors) phasor.Restart();
}

DattorroCore::Coefficients DattorroCore::ReadCoefficients() {
  return {Value(kInputDiffusion1),  Value(kInputDiffusion2), Value(kDecay),
          -Value(kDecayDiffusion1), Value(kDecayDiffusion2), 1.0f - Value(kDamping)};
}

void DattorroCore::SetLengths() {
  const float size = Value(kSize);
  const auto allPassLength = [&](float length) { return AtLeastOne(length * size * scale); };
  const auto delayLength = [&](float factor) { return AtLeastOne(size * std::trunc(rate * factor)); };
  for (std::size_t i = 0; i < diffusers.size(); ++i) {
    diffusers[i].SetDelay(static_cast<int32_t>(allPassLength(kDiffuserLengths[i])));
  }
  for (std::size_t i = 0; i < halves.size(); ++i) {
    Half& half = halves[i];
    // A modulated read needs the cell behind it, too: the reach ends two samples before the line does.
    const auto set = [&](AllPassDelay& allPass, float& room, float length) {
      const uint32_t delay = allPassLength(length);
      allPass.SetDelay(static_cast<int32_t>(delay));
      room = static_cast<float>(allPass.Line().Size()) - 2.0f - static_cast<float>(delay);
    };
    set(half.first, half.firstRoom, kFirstLengths[i]);
    set(half.second, half.secondRoom, kSecondLengths[i]);
    half.longLength = delayLength(kLongFactors[i]);
    half.endLength = delayLength(kEndFactors[i]);
  }
}

void DattorroCore::SetTaps() {
  const float size = Value(kEarlySize);
  for (std::size_t i = 0; i < kTapCount; ++i) taps[i] = AtLeastOne(static_cast<float>(fullTaps[i]) * size);
}

bool DattorroCore::UpdateParams(ProcessContext&) {
  if (IsAnyDirty()) {
    if (IsDirty(kSize)) SetLengths();
    if (IsDirty(kEarlySize)) SetTaps();
    if (IsDirty(kInvertEarly)) earlySign = Value(kInvertEarly) > 0.5f ? -1.0f : 1.0f;
    if (IsDirty(kSmoothing)) {
      const double seconds = static_cast<double>(std::fmax(Value(kSmoothing), 1e-12f));
      predelaySamples.SetTime(seconds);
      excursionSamples.SetTime(seconds);
    }
    if (IsDirty(kRate) || IsDirty(kSpread)) {
      const double w = static_cast<double>(Value(kRate) * 6.2831855f / rate);
      phasors[0].SetIncrement(w);
      phasors[1].SetIncrement(w - static_cast<double>(Value(kSpread)) * w);
    }
    target = ReadCoefficients();
    predelaySamples.SetTarget(Value(kPredelay) * 0.001f * rate);
    excursionSamples.SetTarget(Value(kExcursion) * 0.001f * rate);
  }
  if (IsChanged()) {
    target = ReadCoefficients();
    current = target;
    SetGains(current);
    predelaySamples.SetValue(Value(kPredelay) * 0.001f * rate);
    excursionSamples.SetValue(Value(kExcursion) * 0.001f * rate);
  }
  return true;
}

void DattorroCore::SetGains(const Coefficients& k) {
  diffusers[0].SetGain(k.inputDiffusion1);
  diffusers[1].SetGain(k.inputDiffusion1);
  diffusers[2].SetGain(k.inputDiffusion2);
  diffusers[3].SetGain(k.inputDiffusion2);
  for (Half& half : halves) {
    half.first.SetGain(k.decayDiffusion1);
    half.second.SetGain(k.decayDiffusion2);
  }
}

uint32_t DattorroCore::DoProcess(ProcessContext& context) {
  const float* left = context.Input(0);
  float* outLeft = context.Output(0);
  if (left == nullptr || outLeft == nullptr || context.sampleCount == 0) return 1;
  const float* right = context.Input(1);
  float* outRight = context.Output(1);
  if (current == target) {
    Run<false>(left, right, outLeft, outRight, context.sampleCount);
  } else {
    step = current.StepTo(target, context.sampleCount);
    Run<true>(left, right, outLeft, outRight, context.sampleCount);
    current = target;
    SetGains(current);
  }
  for (Phasor& phasor : phasors) phasor.Normalize();
  return 1;
}

float DattorroCore::Delayed(float input) {
  predelayLine.Write(input);
  const float samples = predelaySamples.Tick();
  const float whole = std::trunc(samples);
  return predelayLine.ReadInterpolated(static_cast<uint32_t>(whole) + 1, kInterpolationLinear,
                                       samples - whole);
}

/// A read that falls behind stretches what it reads and so adds energy, and a loop that keeps step with the
/// modulator would gather it and run away. Beyond the speed that plates are set to, the gain makes up for it:
/// then each all-pass keeps its energy however its delay moves, and the tank is stable in every corner.
DattorroCore::Reading DattorroCore::ReadAt(double position, double slope, double excursion,
                                           double increment) {
  const float offset = static_cast<float>(excursion * position);
  const double speed = excursion * increment * slope;  // samples a sample
  if (speed <= kFreeSpeed) return {offset, 1.0f};
  return {offset, static_cast<float>(std::sqrt(std::max(1.0 - (speed - kFreeSpeed), 0.0)))};
}

void DattorroCore::RunHalf(Half& half, float input, const Coefficients& k, float end, const Phasor& phasor,
                           double excursion) {
  const Reading first = ReadAt(phasor.sine, phasor.cosine, excursion, phasor.increment);
  const Reading second = ReadAt(phasor.cosine, -phasor.sine, excursion, phasor.increment);
  const float behindLong = half.longDelay.Read(half.longLength);
  half.longDelay.Write(half.first.ProcessModulated(kInterpolationLinear, input + k.decay * end,
                                                   std::min(first.offset, half.firstRoom), first.gain));
  half.damped += k.brightness * (behindLong - half.damped);
  half.endDelay.Write(half.second.ProcessModulated(kInterpolationLinear, k.decay * half.damped,
                                                   std::min(second.offset, half.secondRoom), second.gain));
}

float DattorroCore::LeftTaps() const {
  const auto& [a, b] = halves;
  const float early = a.longDelay.Read(taps[0]) + a.longDelay.Read(taps[1]);
  return earlySign * early - a.second.Line().Read(taps[2]) + a.endDelay.Read(taps[3]) -
         b.longDelay.Read(taps[4]) - b.second.Line().Read(taps[5]) - b.endDelay.Read(taps[6]);
}

float DattorroCore::RightTaps() const {
  const auto& [a, b] = halves;
  const float early = b.longDelay.Read(taps[7]) + b.longDelay.Read(taps[8]);
  return earlySign * early - b.second.Line().Read(taps[9]) + b.endDelay.Read(taps[10]) -
         a.longDelay.Read(taps[11]) - a.second.Line().Read(taps[12]) - a.endDelay.Read(taps[13]);
}

template <bool isMoving>
void DattorroCore::Run(const float* left, const float* right, float* outLeft, float* outRight,
                       uint32_t count) {
  Coefficients k = current;
  for (uint32_t i = 0; i < count; ++i) {
    if constexpr (isMoving) {
      k.Add(step);
      SetGains(k);
    }
    float x = Delayed(right != nullptr ? 0.5f * (left[i] + right[i]) : left[i]);

    // Taps and ends are read before anything is written, so a delay of n is n samples.
    outLeft[i] = kTapGain * LeftTaps();
    if (outRight != nullptr) outRight[i] = kTapGain * RightTaps();
    const float endOfA = halves[0].endDelay.Read(halves[0].endLength);
    const float endOfB = halves[1].endDelay.Read(halves[1].endLength);

    for (AllPassDelay& diffuser : diffusers) x = diffuser.Process(x);
    const double excursion = static_cast<double>(excursionSamples.Tick());
    RunHalf(halves[0], x, k, endOfB, phasors[0], excursion);
    RunHalf(halves[1], x, k, endOfA, phasors[1], excursion);
    for (Phasor& phasor : phasors) phasor.Turn();
  }
}

}  // namespace Vantora::dsp
