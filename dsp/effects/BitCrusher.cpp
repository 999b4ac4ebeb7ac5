#include "dsp/effects/BitCrusher.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "basictools/math/ClockSeed.h"
#include "basictools/math/Decibels.h"
#include "basictools/math/WholeQuads.h"
#include "basictools/math/Xorshift.h"
#include "basictools/math/mapping/PotardMappingUtils.h"

namespace Vantora::dsp {
namespace {

constexpr float kReferenceRate = 44100.0f;  // Hz, at every host rate
constexpr float kDcRadians = 31.41593f;     // 2 pi 5 Hz

enum Port : uint32_t {
  kWetPort = 2,
  kBitdepthPort = 3,
  kRatePort = 4,
  kJitterPort = 5,
  kAliasingPort = 6,
  kScalePort = 7,
  kReturnPort = 8,  // left; right follows
};
constexpr uint32_t kSendPort = 2;  // left; right follows

float FiniteOrZero(float x) { return std::isfinite(x) ? x : 0.0f; }

}  // namespace

BitCrusher::BitCrusher(std::string text, uint32_t seed)
    : UnitModule(std::move(text), kInputCount, kOutputCount, MakeRecords(BitCrusherKnobs::kRows)),
      random(seed != 0 ? seed : ClockSeed(this)) {}

void BitCrusher::Configure(uint32_t maxBlockSize, float newSampleRate) {
  sampleRate = newSampleRate;
  settings.dcGain = sampleRate / (sampleRate + kDcRadians);
  settings.dcPole = (kDcRadians - sampleRate) / (sampleRate + kDcRadians);
  lowestScale = Param(kScale).GetMinimum();
  wetSmoother.Setup(1, maxBlockSize, sampleRate);
  wet.assign(maxBlockSize, 0.0f);
  dry.assign(maxBlockSize, 0.0f);
  settings.SetScale(Value(kScale));
  tunedCutoff = periodRate = 0.0f;
  levelWet = 0;
  UpdateAntiAlias();
}

void BitCrusher::DoReset(bool) {
  for (CrusherChannel& channel : channels) {
    channel.dc = 0.0f;
    std::fill(std::begin(channel.antiAlias), std::end(channel.antiAlias), StateVariableState<float>{});
    channel.phase = 0.0f;
    // The held value survives a reset, but a value that isn't finite would survive everything after it too.
    channel.held = FiniteOrZero(channel.held);
    channel.slope = FiniteOrZero(channel.slope);
  }
  jitterOffset = 0.0f;
}

// Parameters ------------------------------------------------------------------------------------------------

bool BitCrusher::UpdateParams(ProcessContext& context) {
  if (context.sampleCount == 0) return false;  // flags and marks wait for the next block
  if (StandsStill(context)) return true;
  TakeWrites();
  isUnmodulated = !IsModulated(context);
  if (IsDirty(kConfDownSample)) useFrequency = Value(kConfDownSample) == 1.0f;
  if (IsDirty(kConfAliasing)) settings.filtered = Normalized(kConfAliasing) > 0.5f;
  if (IsDirty(kConfScale)) scaleOn = Normalized(kConfScale) > 0.5f;
  if (IsDirty(kStereo)) channelCount = Value(kStereo) >= 1.0f ? 2 : 1;
  if (IsDirty(kMode)) settings.glide = Value(kMode) < 1.0f;
  if (IsDirty(kJitterRate)) jitterPeriod = sampleRate / Value(kJitterRate);
  if (IsDirty(kJitterMode)) perBlockJitter = Value(kJitterMode) >= 1.0f;

  const float wetAim = Param(kWet).ReadValueModulated(context, kWetPort);
  wetSmoother.SnapOrGlide(wetAim, changed != 0);
  const auto wetStands = static_cast<float>(wetSmoother.Target());
  if (!wetSmoother.IsSettled() || levelWet < WholeQuads(context.sampleCount) || wet[0] != wetStands) {
    levelWet = wetSmoother.IsSettled() ? WholeQuads(context.sampleCount) : 0;
    wetSmoother.Render(wet.data(), context.sampleCount);
  }

  UpdateWordLength(context);
  UpdateRate(context);
  aliasing = Param(kAliasing).ReadValueModulated(context, kAliasingPort);
  jitter = Param(kJitter).ReadValueModulated(context, kJitterPort);
  const float scale = Param(kScale).ReadValueModulated(context, kScalePort);
  settings.companding = scaleOn && scale > lowestScale;
  if (scale != settings.scale) settings.SetScale(scale);
  if (settings.filtered) UpdateAntiAlias();

  feedbackOn = Normalized(kConfFeedbackOn) > 0.5f;
  if (IsDirty(kInGainCompensated)) {
    gainIn = DbToGain(Value(kInGainCompensated));
    gainOut = 1.0f / gainIn;
  }
  return true;
}

// Then all would be read as it was for the last block.
bool BitCrusher::StandsStill(const ProcessContext& context) const {
  return changed == 0 && !IsAnyDirty() && !IsWritten() && isUnmodulated &&
         levelWet >= WholeQuads(context.sampleCount) && levelWet > 0 && !IsModulated(context);
}

bool BitCrusher::IsModulated(const ProcessContext& context) {
  for (const uint32_t port : {kWetPort, kBitdepthPort, kRatePort, kAliasingPort, kJitterPort, kScalePort}) {
    if (context.LiveControl(port) != nullptr) return true;
  }
  return false;
}

void BitCrusher::UpdateWordLength(ProcessContext& context) {
  const float newBits = Param(kBitdepth).ReadValueModulated(context, kBitdepthPort);
  if (newBits == bits) return;
  bits = newBits;
  settings.SetWordLength(bits);
}

void BitCrusher::UpdateRate(ProcessContext& context) {
  rate = useFrequency ? Param(kFrequency).ReadValueModulated(context, kRatePort)
                      : kReferenceRate / Param(kDownsample).ReadValueModulated(context, kRatePort);
}

void BitCrusher::UpdateAntiAlias() {
  // The factor is just under pi / 2: the corner lies near half of the cutoff. A cutoff above the host's rate
  // would turn the tangent negative.
  const float cutoff = std::min(rate + (kReferenceRate - rate) * aliasing, sampleRate);
  if (cutoff == tunedCutoff) return;
  tunedCutoff = cutoff;
  settings.antiAlias.Tune(std::tan(cutoff * 1.5671835f / sampleRate), 1.4142071f);
}

// Signal ----------------------------------------------------------------------------------------------------

float BitCrusher::DrawAsFloat() {
  random = XorshiftStep(random);
  return static_cast<float>(random);
}

void BitCrusher::DrawPeriods(uint32_t count) {
  if (jitter <= 0.0f && rate == periodRate) {
    sinceJitter += count;
    return;  // the periods stand
  }
  const float base = sampleRate / rate;
  periodRate = jitter <= 0.0f ? rate : 0.0f;
  if (jitter <= 0.0f) {
    for (CrusherChannel& channel : channels) channel.SetPeriod(base);
  } else if (!perBlockJitter) {
    if (static_cast<float>(sinceJitter) >= jitterPeriod) {
      const float first = DrawAsFloat();
      const float second = DrawAsFloat();
      jitterOffset = jitter * 1.1641532e-12f * rate * (first - second);
      sinceJitter = 0;
    }
    for (CrusherChannel& channel : channels) channel.SetPeriod(sampleRate / (rate + jitterOffset));
  } else {
    for (uint32_t c = 0; c < channelCount; ++c) {
      float stretch = 1.0f;
      if (DrawAsFloat() * 2.3283064e-8f < jitter * 0.9f) {
        const float second = DrawAsFloat();
        const float third = DrawAsFloat();
        stretch = 1.7f + (second - third) * 1.3969839e-10f;
      }
      channels[c].SetPeriod(base * stretch);
    }
  }
  sinceJitter += count;
}

uint32_t BitCrusher::DoProcess(ProcessContext& context) {
  DrawPeriods(context.sampleCount);
  for (uint32_t c = 0; c < channelCount; ++c) {
    const float* in = context.Input(c);
    float* out = context.Output(c);
    if (in == nullptr || out == nullptr) continue;
    if (in == out) {  // the mix still needs the input after the crusher has overwritten it
      std::copy_n(in, context.sampleCount, dry.data());
      in = dry.data();
    }
    RunChannel(context, c, in, out);
  }
  return 1;
}

uint32_t BitCrusher::Variant() const {
  return (settings.filtered ? 4u : 0u) + (settings.glide ? 2u : 0u) + (settings.companding ? 1u : 0u);
}

void BitCrusher::RunChannel(ProcessContext& context, uint32_t channel, const float* in, float* out) {
  const uint32_t count = context.sampleCount;
  const uint32_t quads = WholeQuads(count);
  const float* feedback = feedbackOn ? context.Input(kReturnPort + channel) : nullptr;
  // Behind whole groups of four the crusher finds what stood in the output.
  const bool readsIn = feedback == nullptr && quads == count;
  if (feedback != nullptr) {
    for (uint32_t i = 0; i < quads; ++i) out[i] = in[i] * gainIn + feedback[i];
  } else if (!readsIn) {
    for (uint32_t i = 0; i < quads; ++i) out[i] = in[i] * gainIn;
  }

  const LaneBank::Loop<CrusherBlock> loop = CrusherKernels().run[Variant()];
  const bool isPlain = channelCount == 1 && !feedbackOn && in != dry.data();
  CrusherBlock own;
  CrusherBlock* shared = isPlain && bank != nullptr ? bank->Add(loop) : nullptr;
  CrusherBlock& block = shared != nullptr ? *shared : own;
  block = {.settings = &settings,
           .channel = &channels[channel],
           .in = in,
           .data = readsIn ? in : out,
           .out = out,
           .wet = wet.data(),
           .dataGain = readsIn ? gainIn : 1.0f,
           .gain = gainOut,
           .send = feedbackOn ? context.Output(kSendPort + channel) : nullptr,
           .isAllWet = levelWet >= quads && wet[0] == 1.0f && gainOut == 1.0f};
  if (shared == nullptr) loop(&own, 1, count);
}

}  // namespace Vantora::dsp
