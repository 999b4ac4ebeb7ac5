#include "dsp/stage/Prismel.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "basictools/math/Decibels.h"
#include "basictools/math/SeedHash.h"
#include "basictools/math/SinCos.h"
#include "basictools/math/WholeQuads.h"
#include "dsp/stage/StageRoutes.h"

namespace Vantora::dsp {

namespace {

constexpr uint32_t kPrimaryPort = 2;
constexpr uint32_t kPrismelPort = 3;

FxBank MakeBank(const char* name, uint32_t seed, uint32_t side) {
  return FxBank(name, {0, 0},
                [=](uint32_t voice) { return FxVariant("FX", SeedHash(seed, side * kVoiceCount + voice)); });
}

template <typename T, std::size_t... Index>
std::array<T, sizeof...(Index)> Copies(const T& model, std::index_sequence<Index...>) {
  return {{((void)Index, model)...}};
}

template <typename T>
std::array<T, kVoiceCount> ForEachVoice(const T& model) {
  return Copies(model, std::make_index_sequence<kVoiceCount>{});
}

}  // namespace

Prismel::Prismel(std::string text, uint32_t seed)
    : ModuleContainer(
          std::move(text), kInputCount, kOutputCount, MakeRecords(PrismelKnobs::kOwnRows),
          [seed] { return MakeBank("FXL", seed, 0); }, [seed] { return MakeBank("FXR", seed, 1); }),
      clones(Child<0>(), Child<1>()),
      voiceGains(ForEachVoice(SmootherSRL(0.2f, 1.0f))),
      sweeps{{ForEachVoice(SmootherInterpLPF(0.01f)), ForEachVoice(SmootherInterpLPF(0.01f))}} {
  Forward(kFxType, {FxVariant::kOwnBase + FxVariant::kModuleType,
                    kChildBases[1] + FxVariant::kOwnBase + FxVariant::kModuleType});
}

void Prismel::Configure(uint32_t maxBlockSize, float rate) {
  sampleRate = rate;
  blockSize = maxBlockSize;
  tickLength = static_cast<float>(maxBlockSize) / rate;
  radiansPerHz = 6.2831855f / rate;
  CarveWorkspace();

  for (auto& gain : voiceGains) gain.Setup(1, rate);
  for (auto& side : sweeps) {
    for (auto& sweep : side) sweep.Setup(1, maxBlockSize, rate);
  }
  for (auto* smoother : {&wet, &inputGain, &outputGain, &voiceCountGain})
    smoother->Setup(1, maxBlockSize, rate);
  sweepDepth.Setup(1, rate);
  highPassPosition.Setup(maxBlockSize, rate);
  lowPassPosition.Setup(maxBlockSize, rate);
  primaryReadOut.Setup(maxBlockSize, rate);
  prismelReadOut.Setup(maxBlockSize, rate);

  taps.Configure(maxBlockSize, OwnRecord(kDetune).GetMaximum() * 0.001f * rate);
  feedback.Configure(maxBlockSize, rate, OwnRecord(kFeedbackDelayTime).GetMaximum());

  lowPassPosition.SetValue(OwnNormalized(kLpfCutoff));
  highPassPosition.SetValue(OwnNormalized(kHpfCutoff));
  lowPassHz = OwnValue(kLpfCutoff);
  highPassHz = OwnValue(kHpfCutoff);
  ComputeLowPass();
  ComputeHighPass();
}

void Prismel::CarveWorkspace() {
  workspace.Resize(kBufferCount, WholeVectors(blockSize));
  const auto take = [&] { return workspace.Take(); };
  for (auto* group : {&sweepRamps, &tapBuffers, &effects}) {
    for (auto& side : *group) {
      for (float*& buffer : side) buffer = take();
    }
  }
  depthBuffer = take();
  wetBuffer = take();
  for (float*& buffer : wetSums) buffer = take();
  inputGainBuffer = take();
  outputGainBuffer = take();
  for (float*& buffer : dry) buffer = take();
  for (float*& buffer : voiceGainBuffers) buffer = take();
  feedbackGainBuffer = take();
  feedbackDelayBuffer = take();
  for (float*& buffer : feedbackOutputs) buffer = take();
  feedback.SetOutputs(feedbackOutputs[0], feedbackOutputs[1]);
  voiceCountGainBuffer = take();
  for (RestingBlock& block : voiceGainBlocks) block.Forget();
  for (RestingBlock* block :
       {&voiceCountGainBlock, &wetBlock, &inputGainBlock, &outputGainBlock, &depthBlock})
    block->Forget();
}

void Prismel::DoReset(bool) {
  sweepLfo.Restart();
  taps.Clear();
  lowPassStates = {};
  ForgetNonsense();
  highPassPosition.SetValue(OwnNormalized(kHpfCutoff));
  lowPassPosition.SetValue(OwnNormalized(kLpfCutoff));
  wet.SetValue(OwnValue(kWet));
  inputGain.SetValue(DbToGain(OwnValue(kInputGain)));
  outputGain.SetValue(DbToGain(OwnValue(kOutputGain)));
  // Intended: a moved knob will aim 1 ms shorter than this. The stored render "cascade" holds it.
  feedback.Reset(OwnValue(kFeedbackDelayTime));
  voiceCountGain.SetValue(kVoiceCountGains[VoicesAsked() - 1]);
  prismelReadOut.SetValue(OwnNormalized(kPrismelion));
}

// An effect leaves the last samples of a block that isn't of whole groups of four as they were, so what isn't
// a number there, or no sound, would stay.
void Prismel::ForgetNonsense() {
  constexpr float kLoudest = 1e20f;
  for (VoiceBuffers& side : effects) {
    for (float* effect : side) {
      std::replace_if(
          effect, effect + WholeVectors(blockSize), [](float x) { return !(std::fabs(x) <= kLoudest); },
          0.0f);
    }
  }
}

bool Prismel::UpdateParams(ProcessContext& context) {
  const uint32_t count = context.sampleCount;
  if (changed != 0) {
    for (uint32_t v = 0; v < kVoiceCount; ++v) voiceGains[v].SetValue(v < VoicesAsked() ? 1.0f : 0.0f);
    feedback.SnapGain(
        FeedbackPath::GainOf(OwnRecord(kHarmonizerSpray).ReadNormalizedModulated(context, kPrimaryPort)));
  }
  if (IsOwnDirty(kVoices)) UpdateVoices();
  voiceCountGainBlock.Render(voiceCountGain, voiceCountGainBuffer, count);
  if (IsOwnDirty(kFeedbackDelayTime)) feedback.AimDelay(OwnValue(kFeedbackDelayTime));
  feedback.RenderDelay(feedbackDelayBuffer, count);
  CountActiveVoices();
  for (uint32_t v = 0; v < activeVoices; ++v)
    voiceGainBlocks[v].Render(voiceGains[v], voiceGainBuffers[v], count);
  UpdateLowPass();
  UpdateHighPass();

  const float amount = OwnRecord(kPrismelion).ReadValueModulated(context, kPrismelPort);
  UpdateStageEffects(context, amount);

  wet.SetTarget(OwnValue(kWet));
  wetStands = wet.IsSettled() && count >= 4;
  inputGain.SetTarget(inputGainOf(OwnValue(kInputGain), DbToGain));
  outputGain.SetTarget(outputGainOf(OwnValue(kOutputGain), DbToGain));
  wetBlock.Render(wet, wetBuffer, count);
  inputGainBlock.Render(inputGain, inputGainBuffer, count);
  outputGainBlock.Render(outputGain, outputGainBuffer, count);
  depthBlock.Render(sweepDepth, depthBuffer, count);
  feedback.RenderGain(feedbackGainBuffer, count);

  if (IsOwnDirty(kFxType) || changed != 0) clones.Reset();
  return true;
}

void Prismel::UpdateVoices() {
  const uint32_t voices = VoicesAsked();
  sweepGroups = voices % 2 + voices / 2;
  // For the voices of the previous block only: one that comes in now keeps the speed it had.
  sweepLfo.SetRate(activeVoices, sweepRate, tickLength);
  voiceCountGain.SetTarget(kVoiceCountGains[voices - 1]);
  for (uint32_t v = 0; v < kVoiceCount; ++v) voiceGains[v].SetTarget(v < voices ? 1.0f : 0.0f);
}

// A count, not the highest sounding voice: that many voices from the first on are run.
void Prismel::CountActiveVoices() {
  activeVoices = 1;
  for (uint32_t v = 1; v < kVoiceCount; ++v) {
    if (voiceGains[v].Current() > 0.0f || !voiceGains[v].IsSettled()) ++activeVoices;
  }
}

void Prismel::UpdateLowPass() {
  const float position = OwnNormalized(kLpfCutoff);
  lowPassPosition.SetTarget(position);
  const float hz =
      lowPassCurve(lowPassPosition.Tick(), [&](float x) { return OwnRecord(kLpfCutoff).ToValue(x); });
  if (hz != lowPassHz) {
    lowPassHz = hz;
    ComputeLowPass();
  }
  // An opening filter starts clean: a stale state would burst out.
  const bool runs = position < 1.0f;
  if (runs && !lowPassRuns) lowPassStates = {};
  lowPassRuns = runs;
}

void Prismel::UpdateHighPass() {
  const float position = OwnNormalized(kHpfCutoff);
  highPassPosition.SetTarget(position);
  highPassHz =
      highPassCurve(highPassPosition.Tick(), [&](float x) { return OwnRecord(kHpfCutoff).ToValue(x); });
  // Intended: compared with the other filter's frequency, so a meeting of the two holds the coefficients for
  // a block. PrismelTest.CutoffsThatMeetHoldTheHighPassWhereItWas holds it.
  if (highPassHz != lowPassHz && highPassHz != tunedHighPassHz) ComputeHighPass();
  const bool runs = position > 0.0f;
  if (runs && !highPassRuns) taps.ClearHighPass();
  highPassRuns = runs;
}

void Prismel::ComputeLowPass() {
  const float w = std::min(lowPassHz, 0.495f * sampleRate) * radiansPerHz;
  lowPass = BiquadCoefficients::LowPass(w, std::sin(w) * 0.5f * kButterworthInverseQ);
}

void Prismel::ComputeHighPass() {
  // Held below half the rate, where it would turn unstable;
  // from 44.1 kHz up the knob's top stays below that anyway.
  const float w = std::min(highPassHz, 0.495f * sampleRate) * radiansPerHz;
  tunedHighPassHz = highPassHz;
  highPass = BiquadCoefficients::HighPass(w, std::sin(w) * 0.5f * kButterworthInverseQ);
}

void Prismel::UpdateStageEffects(const ProcessContext& context, float amount) {
  const uint32_t type = Type();
  const StageRoute& route = kStageRoutes[type];
  if (route.law != SpreadLaw::kNone) {
    const float primary = OwnRecord(route.primary).ReadValueModulated(context, kPrimaryPort);
    clones.SpreadPrimary(type, primary, amount, activeVoices);
    PassSecondary(type);
  }
  AimFeedbackGain(context, type);
  UpdateReadOuts(context, type, amount);
  UpdateSweep(amount);
}

// Only when something that bears on it has moved.
void Prismel::PassSecondary(uint32_t type) {
  const bool due = IsOwnDirty(kBandpassResonance) || IsOwnDirty(kCombResonance) ||
                   IsOwnDirty(kBitCrusherBitDepth) || IsOwnDirty(kDistortionAlgorithm) ||
                   IsOwnDirty(kHarmonizerChord) || IsOwnDirty(kVoices) || IsOwnDirty(kFxType);
  if (due) clones.WriteSecondary(type, OwnValue(kStageRoutes[type].secondary), activeVoices);
}

void Prismel::AimFeedbackGain(const ProcessContext& context, uint32_t type) {
  feedback.AimGain(
      type == kFxHarmonizer
          ? FeedbackPath::GainOf(OwnRecord(kHarmonizerSpray).ReadNormalizedModulated(context, kPrimaryPort))
          : 0.0f);
}

void Prismel::UpdateReadOuts(const ProcessContext& context, uint32_t type, float amount) {
  if (type != kFxPassThrough) {
    primaryReadOut.SetTarget(
        OwnRecord(kStageRoutes[type].primary).ReadNormalizedModulated(context, kPrimaryPort));
    SetParam(kOwnBase + kFeedbackPrimary, primaryReadOut.Tick());
  }
  prismelReadOut.SetTarget(amount);
  SetParam(kOwnBase + kFeedbackPrismel, prismelReadOut.Tick());
}

void Prismel::UpdateSweep(float amount) {
  const float depth =
      detuneOf(amount, [&](float x) { return OwnRecord(kDetune).ToValue(x); }) * 0.001f * sampleRate;
  sweepDepth.SnapOrGlide(depth, changed != 0);
  const float rate = rateOf(amount, [&](float x) { return OwnRecord(kRate).ToValue(x); });
  if (rate == sweepRate) return;
  sweepRate = rate;
  sweepLfo.SetRate(activeVoices, sweepRate, tickLength);
}

uint32_t Prismel::DoProcess(ProcessContext& context) {
  const uint32_t count = context.sampleCount;
  const float* left = context.Input(0);
  if (left == nullptr) return 0;
  const float* right = context.Input(1);
  std::copy_n(left, count, dry[0]);
  std::copy_n(right != nullptr ? right : left, count, dry[1]);

  RenderSweeps(count);
  // Taps are read in whole vectors: voices that only pass go straight to where effects lie if these are full.
  const bool isPassed = clones.Survey(activeVoices) && count % kVectorPadding == 0;
  const VoicePairs& tapped = isPassed ? effects : tapBuffers;
  if (count > 0) SweepTaps(tapped, count);
  clones.Run(context, tapped, effects);
  StereoBuffers out;
  for (uint32_t side = 0; side < 2; ++side) {
    StageKernels().sumVoices(effects[side].data(), voiceGainBuffers.data(), activeVoices,
                             voiceCountGainBuffer, wetSums[side], count);
    out[side] = context.Output(side) != nullptr ? context.Output(side) : wetSums[side];
  }
  Finish(out, count);
  Mix(out, count);
  return 1;
}

void Prismel::RenderSweeps(uint32_t count) {
  sweepLfo.Advance(sweepGroups);
  std::array<SmootherInterpLPF*, 2 * kVoiceCount> smoothers;
  std::array<float*, 2 * kVoiceCount> ramps;
  uint32_t moving = 0;
  for (uint32_t v = 0; v < kVoiceCount; ++v) {
    for (uint32_t side = 0; side < 2; ++side) {
      SmootherInterpLPF& sweep = sweeps[side][v];
      if (changed != 0) sweep.SetValue(sweepLfo.Output(v, side));
      if (v >= activeVoices) continue;
      sweep.SetTarget(sweepLfo.Output(v, side));
      smoothers[moving] = &sweep;
      ramps[moving++] = sweepRamps[side][v];
    }
  }
  SmootherInterpLPF::RenderSideBySide(smoothers.data(), ramps.data(), moving, count);
}

void Prismel::SweepTaps(const VoicePairs& tapped, uint32_t count) {
  taps.Write({.in = {dry[0], dry[1]},
              .gain = inputGainBuffer,
              .returned = {feedback.Output(0), feedback.Output(1)},
              .returnedGain = feedbackGainBuffer,
              .highPass = highPassRuns ? &highPass : nullptr},
             depthBuffer, count);
  for (uint32_t v = 0; v < activeVoices; ++v) {
    for (uint32_t side = 0; side < 2; ++side)
      taps.Read(side, sweepRamps[side][v], depthBuffer, tapped[side][v], count);
  }
}

void Prismel::Finish(const StereoBuffers& out, uint32_t count) {
  // The feedback takes the sum before the low-pass: the loop stays bright.
  const FeedbackPath::LowPassAlongside alongside{&lowPass, &lowPassStates, out};
  feedback.Process({wetSums[0], wetSums[1]}, feedbackDelayBuffer, count, lowPassRuns ? &alongside : nullptr);
  for (uint32_t side = 0; side < 2; ++side) {
    const float* source = lowPassRuns ? out[side] : wetSums[side];
    for (uint32_t i = 0; i < count; ++i) out[side][i] = source[i] * outputGainBuffer[i];
  }
}

// Equal power. The dry signal is the raw input: neither gain touches it.
void Prismel::Mix(const StereoBuffers& out, uint32_t count) {
  if (!wetStands) {
    StageKernels().mix(wetBuffer, dry.data(), out.data(), count);
    return;
  }
  if (wetBuffer[0] != shareOf) {
    shareOf = wetBuffer[0];
    share = SinCos(shareOf * 1.5707964f);
  }
  const float sine = share.sin;
  const float cosine = share.cos;
  for (uint32_t side = 0; side < 2; ++side) {
    float* __restrict signal = out[side];
    const float* __restrict raw = dry[side];
    for (uint32_t i = 0, end = WholeQuads(count); i < end; ++i)
      signal[i] = signal[i] * sine + raw[i] * cosine;
  }
}

}  // namespace Vantora::dsp
