#include "processor/PrismelProcessor.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <utility>

#include "basictools/math/SeedHash.h"
#include "basictools/math/WholeQuads.h"

namespace Vantora::Processor {

namespace {

constexpr std::size_t kPortHeader = 4;  // floats in front of a control port's data

/// Level of an envelope in dB plus `gainDb`, held in -80..6.
float LevelDb(float envelope, float gainDb) {
  if (envelope == 0.0f) return -80.0f;
  return std::fmin(std::fmax(20.0f * std::log10(envelope) + gainDb, -80.0f), 6.0f);
}

uint32_t NextProcessorSeed() {
  static std::atomic<uint32_t> processors{0};
  return PrismelProcessor::SeedOf(processors.fetch_add(1, std::memory_order_relaxed));
}

}  // namespace

uint32_t PrismelProcessor::SeedOf(uint32_t number) { return SeedHash(0x5051534Du, number); }

PrismelProcessor::PrismelProcessor() : PrismelProcessor(NextProcessorSeed()) {}

PrismelProcessor::PrismelProcessor(uint32_t seed)
    : EffectProcessor(
          "", [seed] { return dsp::Prismel("Prismel", SeedHash(seed, 0)); },
          [seed] { return dsp::LFO("LFO", SeedHash(seed, 1)); },
          [] { return dsp::EnvFollower("InputAnalyzer"); },
          [] { return dsp::EnvFollower("OutputAnalyzer"); }) {
  AddParams(dsp::MakeRecords(PrismelProcessorKnobs::kOwnRows));
  for (const Knobs::Fit& fit : PrismelProcessorKnobs::kFrameFits)
    SetParamInternal(kOwnBase + fit.index, fit.start.at);

  Child<kLfo>().ApplyFits(PrismelProcessorKnobs::kLfoFits);
  const auto& lengths = PrismelProcessorKnobs::kRateTable;
  Child<kLfo>().SetRateTable({lengths.begin(), lengths.end()});
  Child<kInputAnalyzer>().ApplyFits(PrismelProcessorKnobs::kMeterFits);
  Child<kOutputAnalyzer>().ApplyFits(PrismelProcessorKnobs::kMeterFits);
}

void PrismelProcessor::ConfigureProduct(uint32_t maxBlockSize, float sampleRate) {
  portMemory.Resize(5, maxBlockSize);
  for (float** buffer : {&inputLeft, &inputRight, &silentBuffer, &analyzerOutputs[0], &analyzerOutputs[1]}) {
    *buffer = portMemory.Take();
  }
  for (auto* port : {&lfoOutput, &lfoScaled}) {
    port->resize(maxBlockSize + kPortHeader);
    (*port)[kPortHeader - 1] = dsp::kLiveMark;
  }
  monoFade.Setup(1, sampleRate);
  monoFadeBuffer.assign(WholeQuadsAbove(maxBlockSize), 0.0f);
}

void PrismelProcessor::ResetProduct(bool) {}

bool PrismelProcessor::UpdateProduct(ProcessContext&) {
  auto& lfo = Child<kLfo>();
  if (IsOwnDirty(kLfoShapeType)) {
    // Sine, triangle, falling saw, square, sample and hold, and last a smoothed sample and hold.
    const auto shape = static_cast<uint32_t>(OwnValue(kLfoShapeType));
    if (shape == 5) {
      lfo.SetParamInternal(dsp::LFO::kWaveform, 5.0f);
      lfo.SetParam(dsp::LFO::kSmooth, 0.48f);
    } else {
      constexpr std::array<float, 5> kWaveforms = {0.0f, 1.0f, 2.0f, 4.0f, 5.0f};
      lfo.SetParam(dsp::LFO::kSmooth, 0.0f);
      lfo.SetParamInternal(dsp::LFO::kWaveform, shape < kWaveforms.size() ? kWaveforms[shape] : 0.0f);
    }
  }
  if (IsOwnDirty(kLfoRateType)) {
    const auto type = static_cast<uint32_t>(OwnValue(kLfoRateType));
    if (type == 0) lfo.SetParamInternal(dsp::LFO::kMidiSync, 0.0f);
    if (type == 1) lfo.SetParamInternal(dsp::LFO::kMidiSync, 2.0f);
    if (type >= 2 && type <= 4) {
      lfo.SetParamInternal(dsp::LFO::kMidiSync, 1.0f);
      lfo.SetParamInternal(dsp::LFO::kRateSyncedType, static_cast<float>(type - 2));
    }
  }
  return true;
}

uint32_t PrismelProcessor::ProcessWet(ProcessContext& context, ChannelMode mode) {
  const uint32_t count = context.sampleCount;
  std::array<float*, 2> wetPair = {context.outputs[0], mode == kMono ? silentBuffer : context.outputs[1]};
  for (float* side : wetPair) std::fill_n(side, count, 0.0f);
  Child<kInputAnalyzer>().SetParam(dsp::EnvFollower::kStereoInput, mode == kStereo ? 1.0f : 0.0f);
  Child<kOutputAnalyzer>().SetParam(dsp::EnvFollower::kStereoInput, mode != kMono ? 1.0f : 0.0f);

  RunLfo(context);
  CopyInput(context, mode);

  auto& prismel = Child<kPrismel>();
  std::array<float*, 4> ports = {inputLeft, mode == kMono ? silentBuffer : inputRight,
                                 lfoScaled.data() + kPortHeader, lfoOutput.data() + kPortHeader};
  ProcessContext inner = context.WithPorts(ports, wetPair);
  prismel.Process(inner);

  const std::array<float*, 2> measured = {inputLeft, mode == kStereo ? inputRight : nullptr};
  Meter(context, measured, wetPair, prismel.GetOwnValue(dsp::Prismel::kInputGain));

  if (IsBypassSettled() && OwnValue(kBypass) > 0.0f) {
    for (float* side : wetPair) std::fill_n(side, count, 0.0f);
  }
  return 1;
}

void PrismelProcessor::RunLfo(const ProcessContext& context) {
  std::array<float*, 3> nothing{};
  float* data = lfoOutput.data() + kPortHeader;
  std::array<float*, 2> both = {data, data};
  ProcessContext inner = context.WithPorts(nothing, both);
  Child<kLfo>().Process(inner);

  // Depths are applied here, once a block: the voice engine receives ready offsets of a position. The marks
  // in the headers stay: one scaled to 0 would end the modulation for good.
  const float primary = OwnValue(kLfoPrimaryAmount);
  float* scaled = lfoScaled.data() + kPortHeader;
  for (std::size_t i = 0; i < 2; ++i) scaled[i] = data[i] * primary;
  const float amount = OwnValue(kLfoPrismelAmount);
  for (std::size_t i = kPortHeader; i < lfoOutput.size(); ++i) lfoOutput[i] *= amount;
}

void PrismelProcessor::CopyInput(const ProcessContext& context, ChannelMode mode) {
  const uint32_t count = context.sampleCount;
  std::copy_n(context.inputs[0], count, inputLeft);
  if (mode == kMono) return;
  std::copy_n(context.inputs[mode == kStereo ? 1 : 0], count, inputRight);
  if (mode != kStereo || monoFade.IsSettled()) return;
  monoFade.Render(monoFadeBuffer.data(), count);
  for (uint32_t i = 0, end = WholeQuads(count); i < end; ++i) {
    const float x = monoFadeBuffer[i];
    const float middle = (inputLeft[i] + inputRight[i]) * x * 0.5f;
    inputLeft[i] = middle + (1.0f - x) * inputLeft[i];
    inputRight[i] = middle + (1.0f - x) * inputRight[i];
  }
}

void PrismelProcessor::Meter(const ProcessContext& context, std::array<float*, 2> input,
                             std::array<float*, 2> output, float inputGainDb) {
  std::array<float*, 2> levels = {analyzerOutputs[0], analyzerOutputs[1]};
  std::array<ProcessContext, 2> inner = {context.WithPorts(input, {&levels[0], 1}),
                                         context.WithPorts(output, {&levels[1], 1})};
  dsp::EnvFollower::ProcessBoth(Child<kInputAnalyzer>(), inner[0], Child<kOutputAnalyzer>(), inner[1]);
  SetParamInternal(kOwnBase + kInputPower, LevelDb(levels[0][0], inputGainDb));
  SetParamInternal(kOwnBase + kOutputPower, LevelDb(levels[1][0], 0.0f));
}

}  // namespace Vantora::Processor
