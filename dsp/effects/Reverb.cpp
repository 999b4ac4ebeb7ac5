#include "dsp/effects/Reverb.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "basictools/math/Decibels.h"

namespace Vantora::dsp {
namespace {

constexpr float kQuarterTurn = 1.5707964f;

}  // namespace

Reverb::Reverb(std::string moduleName)
    : ModuleContainer(std::move(moduleName), kInputCount, kOutputCount, MakeRecords(ReverbKnobs::kOwnRows),
                      [] { return DattorroCore("Core"); }) {}

void Reverb::Configure(uint32_t maxBlockSize, float sampleRate) {
  rate = sampleRate;
  const uint32_t block = std::max(maxBlockSize, 1u);
  workspace.Resize(buffers.size(), block);
  for (float*& buffer : buffers) buffer = workspace.Take();
  for (SmootherLPF* smoother : {&lowPass.position, &highPass.position, &gain.glide, &middle.glide}) {
    smoother->Setup(block, sampleRate);
  }
  wetAngle.Setup(1, block, sampleRate);
}

void Reverb::DoReset(bool) {
  for (BandLimit* limit : {&lowPass, &highPass}) limit->states = {};
}

void Reverb::BlockGain::Aim(float value, bool isFresh) {
  glide.SnapOrGlide(value, isFresh);
  from = isFresh ? value : to;
  to = isFresh ? value : glide.Tick();
}

void Reverb::AimBandLimit(BandLimit& limit, uint32_t own, bool wanted, bool isFresh) {
  if (wanted && !limit.isOn) limit.states = {};  // what they hold is from another time
  limit.position.SnapOrGlide(OwnNormalized(own), isFresh || !limit.isOn);
  limit.isOn = wanted;
  if (!wanted) return;
  const float hz = std::min(OwnRecord(own).ToValue(limit.position.Tick()), 0.495f * rate);
  const float w = hz * (6.2831855f / rate);
  const float alpha = std::sin(w) * 0.5f * kButterworthInverseQ;
  limit.coefficients =
      own == kLowPass ? BiquadCoefficients::LowPass(w, alpha) : BiquadCoefficients::HighPass(w, alpha);
}

bool Reverb::UpdateParams(ProcessContext&) {
  const bool isFresh = IsChanged();
  AimBandLimit(lowPass, kLowPass, OwnNormalized(kLowPass) < 1.0f, isFresh);
  AimBandLimit(highPass, kHighPass, OwnNormalized(kHighPass) > 0.0f, isFresh);
  wetAngle.SnapOrGlide(OwnValue(kWet) * kQuarterTurn, isFresh);
  gain.Aim(DbToGain(OwnValue(kOutputGain)), isFresh);
  middle.Aim(OwnValue(kMidSideMix), isFresh);
  return true;
}

void Reverb::LimitBand(uint32_t side, const float* in, float* out, uint32_t count) {
  std::copy_n(in, count, out);
  for (BandLimit* limit : {&lowPass, &highPass}) {
    if (!limit->isOn) continue;
    const BiquadCoefficients k = limit->coefficients;
    BiquadDirectForm1 state = limit->states[side];
    for (uint32_t i = 0; i < count; ++i) out[i] = state.Tick(k, out[i]);
    limit->states[side] = state;
  }
}

uint32_t Reverb::DoProcess(ProcessContext& context) {
  const float* left = context.Input(0);
  if (left == nullptr || context.Output(0) == nullptr || context.sampleCount == 0) return 1;
  const float* right = context.Input(1);
  LimitBand(0, left, buffers[0], context.sampleCount);
  if (right != nullptr) LimitBand(1, right, buffers[1], context.sampleCount);

  std::array<float*, 2> ins = {buffers[0], right != nullptr ? buffers[1] : nullptr};
  std::array<float*, 2> outs = {buffers[2], buffers[3]};
  ProcessContext inner = context.WithPorts(ins, outs);
  Child<0>().Process(inner);
  Mix(context, left, right != nullptr ? right : left);
  return 1;
}

void Reverb::Mix(const ProcessContext& context, const float* dryLeft, const float* dryRight) {
  const uint32_t count = context.sampleCount;
  float* outLeft = context.Output(0);
  float* outRight = context.Output(1);
  const float part = 1.0f / static_cast<float>(count);
  const float gainStep = (gain.to - gain.from) * part;
  const float middleStep = (middle.to - middle.from) * part;
  bool isSettled = wetAngle.IsSettled();
  float angle = static_cast<float>(wetAngle.Current());
  float dryGain = std::cos(angle);
  float wetGain = std::sin(angle);
  for (uint32_t i = 0; i < count; ++i) {
    if (!isSettled) {
      angle = wetAngle.Tick();
      dryGain = std::cos(angle);
      wetGain = std::sin(angle);
    }
    const float position = middle.from + middleStep * static_cast<float>(i + 1);
    const float level = (gain.from + gainStep * static_cast<float>(i + 1)) * wetGain;
    const float left = buffers[2][i];
    const float right = buffers[3][i];
    const float mid = 0.5f * (left + right) * std::min(1.0f, 2.0f - 2.0f * position);
    const float side = 0.5f * (left - right) * std::min(1.0f, 2.0f * position);
    const float dryR = dryRight[i];  // before the left is written: one buffer may serve as input and output
    outLeft[i] = dryLeft[i] * dryGain + level * (mid + side);
    if (outRight != nullptr) outRight[i] = dryR * dryGain + level * (mid - side);
  }
}

}  // namespace Vantora::dsp
