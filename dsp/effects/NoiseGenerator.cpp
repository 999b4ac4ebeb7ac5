#include "dsp/effects/NoiseGenerator.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "basictools/math/ClockSeed.h"
#include "basictools/math/Float4.h"
#include "basictools/math/Xorshift.h"

namespace Vantora::dsp {
namespace {

constexpr double kTwoPi = 6.28318548;
constexpr double kHighestCorner =
    0.495;  // of the rate: above 0.5 a corner has no meaning and the filter runs away
constexpr double kDbToOctaves = 0.166096404;  // log2(10) / 20, at this module's own digits

/// Gain of the violet colour. Intended: the three formulas don't meet at 48 kHz.
/// NoiseGenerator.EveryColourHasTheLevelOfItsFormulaAtEveryRate holds it.
double VioletGain(double sampleRate, double ratio) {
  constexpr double kReference = 0.421696514;
  if (sampleRate <= 44100.0) return kReference;
  if (sampleRate >= 48000.0) return kReference * std::exp2(std::log2(ratio) * 1.07962668 + 0.215925321);
  return kReference * std::exp2(sampleRate * 5.53654609e-05 - 2.44161701);
}

}  // namespace

static_assert(std::size(NoiseGeneratorKnobs::kTypes) == NoiseGenerator::kTypeCount);

NoiseGenerator::NoiseGenerator(std::string moduleName, uint32_t seed)
    : UnitModule(std::move(moduleName), kInputCount, kOutputCount, MakeRecords(NoiseGeneratorKnobs::kRows)),
      randomState(seed != 0 ? seed : ClockSeed(this)) {}

void NoiseGenerator::Configure(uint32_t maxBlockSize, float sampleRate) {
  const double rate = static_cast<double>(sampleRate);
  const double ratio = rate * 2.26757365e-05;  // to 44100 Hz
  // Twice the rate spreads the same power over twice the band: what is heard would fall.
  const double levelDb = rate <= 88200.0 ? 3.5 * std::log2(ratio) : std::log2(rate * 1.13378683e-05) + 3.5;
  brownGain = static_cast<float>(0.0298538245 * std::sqrt(ratio));
  darkGain = static_cast<float>(0.223872095 * std::sqrt(ratio));
  violetGain = static_cast<float>(VioletGain(rate, ratio));
  ConfigurePinkBank(rate, std::exp2(levelDb * kDbToOctaves));

  const double k = rate * 0.0159154944;  // one pole at 20 Hz
  hpGain = static_cast<float>(k / (k + 1.0));
  hpPole = static_cast<float>((1.0 - k) / (1.0 + k));

  const double w = std::min(125663.711 / rate, kHighestCorner * kTwoPi);  // 20 kHz, Q 0.7071
  const double a = std::sin(w) * 0.707106769;
  const double n = 1.0 / (1.0 + a);
  const double c = std::cos(w);
  lpB1 = static_cast<float>((1.0 - c) * n);
  lpB0 = lpB2 = 0.5f * lpB1;
  lpA1 = static_cast<float>(-2.0 * c * n);
  lpA2 = static_cast<float>((1.0 - a) * n);

  scratch.assign(maxBlockSize, 0.0f);
}

void NoiseGenerator::ConfigurePinkBank(double sampleRate, double gain) {
  poleCoefs.clear();
  poleWeights.clear();
  const double limit = sampleRate * 0.159154937 - 1.0;
  for (double f = 1.7; f < limit && poleCoefs.size() < 4 * kMostGroups; f *= 4.0) {
    poleWeights.push_back(
        static_cast<float>(std::exp2(-6.0 * static_cast<double>(poleCoefs.size()) * kDbToOctaves)));
    poleCoefs.push_back(static_cast<float>(f * 6.28318548 / sampleRate));
  }
  poleCount = static_cast<uint32_t>(poleCoefs.size());
  double sum = 0.0;
  for (const float weight : poleWeights) sum += static_cast<double>(weight);
  pinkGain = poleCount == 0
                 ? 0.0f
                 : static_cast<float>(gain * 14.1253757 * std::exp2(std::log10(sum) * -3.32192802));
  const std::size_t groups = (std::size_t{poleCount} + 3) / 4;
  const std::size_t padded = 4 * (groups > 2 ? std::max(groups, kMostGroups) : groups);
  poleCoefs.resize(padded, 0.0f);
  poleWeights.resize(padded, 0.0f);
  poleStates.assign(padded, 0.0f);
}

void NoiseGenerator::DoReset(bool) { ClearColours(); }

void NoiseGenerator::ClearColours() {
  std::fill(poleStates.begin(), poleStates.end(), 0.0f);
  brownSum = 0.0f;
  hpState = 0.0f;
}

bool NoiseGenerator::UpdateParams(ProcessContext&) {
  if (IsDirty(kNoiseType)) {
    type = static_cast<uint32_t>(std::fmin(std::fmax(Value(kNoiseType), 0.0f), float{kTypeCount - 1}));
    ClearColours();
  }
  if (IsDirty(kNoiseColor)) color = Normalized(kNoiseColor);
  return true;
}

uint32_t NoiseGenerator::DoProcess(ProcessContext& context) {
  float* out = context.Output(0);
  if (out == nullptr) return 1;
  const uint32_t count = context.sampleCount;
  White(out, count);
  switch (type) {
    case kViolet:
      Violet(out, count);
      break;
    case kPink:
      Pink(out, count);
      break;
    case kBrown:
      Brown(out, count);
      break;
    case kDark:
      Pink(out, count);
      Brown(out, count);
      for (uint32_t i = 0; i < count; ++i) out[i] *= darkGain;
      break;
    case kVariable: {
      const float* control = context.LiveControl(0);
      const float blend = control == nullptr ? color : color + control[0];
      Variable(out, count, std::fmin(std::fmax(blend, 0.0f), 1.0f));
      break;
    }
    default:
      break;
  }
  for (uint32_t i = 0; i < count; ++i) {
    const float low = out[i] > -1.0f ? out[i] : -1.0f;  // also for what is no number
    out[i] = low < 1.0f ? low : 1.0f;
  }
  return 1;
}

void NoiseGenerator::White(float* data, uint32_t count) {
  uint32_t x = randomState;
  for (uint32_t i = 0; i < count; ++i) {
    x = XorshiftStep(x);
    data[i] = ToBipolar(x);
  }
  randomState = x;
}

void NoiseGenerator::Violet(float* data, uint32_t count) {
  float last = lastWhite, s1 = lpState1, s2 = lpState2;
  for (uint32_t i = 0; i < count; ++i) {
    const float d = data[i] - last;
    last = data[i];
    const float y = lpB0 * d + s1;
    s1 = lpB1 * d + s2 - lpA1 * y;
    s2 = lpB2 * d - lpA2 * y;
    data[i] = violetGain * y;
  }
  lastWhite = last;
  lpState1 = s1;
  lpState2 = s2;
}

void NoiseGenerator::Pink(float* data, uint32_t count) {
  // Two groups are the usual bank, from 2.7 kHz to 700 kHz.
  switch (poleStates.size() / 4) {
    case 0:
      std::fill_n(data, count, 0.0f);
      break;
    case 1:
      RunBank<1>(data, count);
      break;
    case 2:
      RunBank<2>(data, count);
      break;
    default:
      RunBank<kMostGroups>(data, count);
      break;
  }
}

/// Poles side by side in lanes, as the samples hang on
/// each other through the states, which stay in registers.
template <std::size_t groups>
void NoiseGenerator::RunBank(float* data, uint32_t count) {
  Float4 states[groups], coefs[groups], weights[groups];
  for (std::size_t g = 0; g < groups; ++g) {
    states[g] = LoadFloat4(&poleStates[4 * g]);
    coefs[g] = LoadFloat4(&poleCoefs[4 * g]);
    weights[g] = LoadFloat4(&poleWeights[4 * g]);
  }
  for (uint32_t i = 0; i < count; ++i) {
    Float4 sum = MakeFloat4(0.0f);
    for (std::size_t g = 0; g < groups; ++g) {
      states[g] += (data[i] - states[g]) * coefs[g];
      sum += states[g] * weights[g];
    }
    data[i] = pinkGain * ((sum[0] + sum[1]) + (sum[2] + sum[3]));
  }
  for (std::size_t g = 0; g < groups; ++g) StoreFloat4(states[g], &poleStates[4 * g]);
}

void NoiseGenerator::Brown(float* data, uint32_t count) {
  float sum = brownSum, state = hpState;
  for (uint32_t i = 0; i < count; ++i) {
    sum += data[i];
    const float u = brownGain * sum;
    const float y = hpGain * u + state;
    state = -hpGain * u - hpPole * y;
    data[i] = y;
  }
  brownSum = sum;
  hpState = state;
}

void NoiseGenerator::Variable(float* data, uint32_t count, float blend) {
  // Only the two colours of the zone advance; the others keep their state.
  float* other = scratch.data();
  std::copy_n(data, count, other);
  float position;  // 0: data, 1: other
  if (blend < 0.25f) {
    Brown(data, count);
    Pink(other, count);
    position = 4.0f * blend;
    for (uint32_t i = 0; i < count; ++i) data[i] += position * (other[i] - data[i]);
  } else if (blend < 0.5f) {
    Pink(data, count);
    position = 4.0f * blend - 1.0f;
    for (uint32_t i = 0; i < count; ++i) data[i] = data[i] * (2.0f - 4.0f * blend) + other[i] * position;
  } else {
    Violet(other, count);
    position = 2.0f * blend - 1.0f;
    for (uint32_t i = 0; i < count; ++i) data[i] = data[i] * (2.0f - 2.0f * blend) + other[i] * position;
  }
}

}  // namespace Vantora::dsp
