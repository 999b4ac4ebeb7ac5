#include "processor/PrismelProcessor.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <utility>

#include "basictools/math/SeedHash.h"
#include "basictools/math/WholeQuads.h"

namespace Vantora::Processor {

namespace {

// Parameters of the children that the product drives, by their own numbers.
enum LfoParam : uint32_t {
  kLfoMidiSync = 1,
  kLfoRateUnSynced = 2,
  kLfoRateSyncedType = 5,
  kLfoControlRate = 11,
  kLfoConfAllowSyncAll = 14,
  kLfoWaveform = 15,
  kLfoSmooth = 17,
  kLfoSmoothRateLinked = 18,
  kLfoStereo = 20,
};
enum AnalyzerParam : uint32_t { kAnalyzerAttack = 0, kAnalyzerRelease = 1, kAnalyzerStereoInput = 4 };

constexpr std::size_t kPortHeader = 4;  // floats in front of a control port's data

uint32_t NextProcessorSeed() {
  static std::atomic<uint32_t> processors{0};
  return PrismelProcessor::SeedOf(processors.fetch_add(1, std::memory_order_relaxed));
}

std::vector<ParamRecord> OwnRecords() {
  using namespace MappingTools;
  std::vector<ParamRecord> records;
  records.emplace_back("LFORateType", 5u, 0.0f, 1.0f);
  records.emplace_back("LFOShapeType", 6u, 0.0f, 1.0f);
  records.emplace_back("LFOPrismelAmount", BipolarExp, false, -1.0f, 1.0f, 3.0f, 0.5f);
  records.emplace_back("LFOPrimaryAmount", BipolarExp, false, -1.0f, 1.0f, 3.0f, 0.5f);
  records.emplace_back("InputPower", Linear, false, -80.0f, 6.0f);   // dB
  records.emplace_back("OutputPower", Linear, false, -80.0f, 6.0f);  // dB
  return records;
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
  AddParams(OwnRecords());
  SetParamInternal(kOwnBase + kOutputGain, 0.0f);

  auto& lfo = Child<kLfo>();
  lfo.ReDeclareParam(kLfoRateUnSynced, MappingTools::Exponential, false, 0.025f, 50.0f, 3.0f);  // Hz
  lfo.SetParam(kLfoStereo, 0.0f);
  lfo.SetParam(kLfoControlRate, 1.0f);
  lfo.SetParam(kLfoConfAllowSyncAll, 1.0f);
  lfo.SetParamInternal(kLfoSmoothRateLinked, 1.0f);
  lfo.ReDeclareParam(kLfoSmooth, MappingTools::Linear, false, 0.0f, 5.0f);  // periods
  lfo.SetRateTable({16.0f, 8.0f, 4.0f, 2.0f, 1.0f, 0.5f, 0.25f, 0.125f, 0.0625f, 0.03125f});

  for (auto* analyzer : {&Child<kInputAnalyzer>(), &Child<kOutputAnalyzer>()}) {
    analyzer->SetParamInternal(kAnalyzerRelease, 0.2f);  // seconds
    analyzer->SetParamInternal(kAnalyzerAttack, 0.2f);
  }
}

void PrismelProcessor::ConfigureProduct(uint32_t maxBlockSize, float sampleRate) {
  const std::size_t length = WholeQuads(maxBlockSize + 3u);
  portMemory.assign(4 * length, 0.0f);
  inputLeft = portMemory.data();
  inputRight = inputLeft + length;
  silentBuffer = inputRight + length;
  analyzerOutput = silentBuffer + length;
  for (auto* port : {&lfoOutput, &lfoScaled}) {
    port->resize(maxBlockSize + kPortHeader);
    (*port)[kPortHeader - 1] = dsp::kLiveMark;
  }
  monoFade.Setup(1, sampleRate);
  monoFadeBuffer.assign(length, 0.0f);
}

void PrismelProcessor::ResetProduct(bool) {}

bool PrismelProcessor::UpdateProduct(ProcessContext&) {
  auto& lfo = Child<kLfo>();
  if (IsOwnDirty(kLfoShapeType)) {
    // Sine, triangle, falling saw, square, sample and hold, and last a smoothed sample and hold.
    const auto shape = static_cast<uint32_t>(OwnValue(kLfoShapeType));
    if (shape == 5) {
      lfo.SetParamInternal(kLfoWaveform, 5.0f);
      lfo.SetParam(kLfoSmooth, 0.48f);
    } else {
      constexpr std::array<float, 5> kWaveforms = {0.0f, 1.0f, 2.0f, 4.0f, 5.0f};
      lfo.SetParam(kLfoSmooth, 0.0f);
      lfo.SetParamInternal(kLfoWaveform, shape < kWaveforms.size() ? kWaveforms[shape] : 0.0f);
    }
  }
  if (IsOwnDirty(kLfoRateType)) {
    const auto type = static_cast<uint32_t>(OwnValue(kLfoRateType));
    if (type == 0) lfo.SetParamInternal(kLfoMidiSync, 0.0f);
    if (type == 1) lfo.SetParamInternal(kLfoMidiSync, 2.0f);
    if (type >= 2 && type <= 4) {
      lfo.SetParamInternal(kLfoMidiSync, 1.0f);
      lfo.SetParamInternal(kLfoRateSyncedType, static_cast<float>(type - 2));
    }
  }
  return true;
}

uint32_t PrismelProcessor::ProcessWet(ProcessContext& context, ChannelMode mode) {
  const uint32_t count = context.sampleCount;
  std::array<float*, 2> wetPair = {context.outputs[0], mode == kMono ? silentBuffer : context.outputs[1]};
  for (float* side : wetPair) std::fill_n(side, count, 0.0f);
  Child<kInputAnalyzer>().SetParam(kAnalyzerStereoInput, mode == kStereo ? 1.0f : 0.0f);
  Child<kOutputAnalyzer>().SetParam(kAnalyzerStereoInput, mode != kMono ? 1.0f : 0.0f);

  RunLfo(context);
  CopyInput(context, mode);

  auto& prismel = Child<kPrismel>();
  std::array<float*, 4> ports = {inputLeft, mode == kMono ? silentBuffer : inputRight,
                                 lfoScaled.data() + kPortHeader, lfoOutput.data() + kPortHeader};
  ProcessContext inner = context;
  inner.inputs = ports.data();
  inner.inputCount = static_cast<uint32_t>(ports.size());
  inner.outputs = wetPair.data();
  inner.outputCount = static_cast<uint32_t>(wetPair.size());
  prismel.Process(inner);

  const std::array<float*, 2> measured = {inputLeft, mode == kStereo ? inputRight : nullptr};
  SetParamInternal(kOwnBase + kInputPower, Meter(Child<kInputAnalyzer>(), context, measured,
                                                 prismel.GetOwnValue(dsp::Prismel::kInputGain)));
  SetParamInternal(kOwnBase + kOutputPower, Meter(Child<kOutputAnalyzer>(), context, wetPair, 0.0f));

  if (IsBypassSettled() && OwnValue(kBypass) > 0.0f) {
    for (float* side : wetPair) std::fill_n(side, count, 0.0f);
  }
  return 1;
}

void PrismelProcessor::RunLfo(const ProcessContext& context) {
  std::array<float*, 3> nothing{};
  float* data = lfoOutput.data() + kPortHeader;
  std::array<float*, 2> both = {data, data};
  ProcessContext inner = context;
  inner.inputs = nothing.data();
  inner.inputCount = static_cast<uint32_t>(nothing.size());
  inner.outputs = both.data();
  inner.outputCount = static_cast<uint32_t>(both.size());
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

float PrismelProcessor::Meter(dsp::EnvFollower& analyzer, const ProcessContext& context,
                              std::array<float*, 2> inputs, float gainDb) {
  float* output = analyzerOutput;
  ProcessContext inner = context;
  inner.inputs = inputs.data();
  inner.inputCount = static_cast<uint32_t>(inputs.size());
  inner.outputs = &output;
  inner.outputCount = 1;
  analyzer.Process(inner);
  const float envelope = output[0];
  if (envelope == 0.0f) return -80.0f;
  return std::fmin(std::fmax(20.0f * std::log10(envelope) + gainDb, -80.0f), 6.0f);
}

}  // namespace Vantora::Processor
