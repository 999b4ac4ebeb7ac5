#pragma once

#include "basictools/FlushDenormals.h"
#include "basictools/math/SeedHash.h"
#include "dsp/control/EnvFollower.h"
#include "dsp/control/LFO.h"
#include "dsp/control/SmootherLPF.h"
#include "processor/PrismelProcessorRows.h"
#include "tests/processor/model/Voices.h"

namespace Vantora::test::model {

/// The whole effect, by host parameter.
class PlainProcessor {
 public:
  enum {
    kBypass = 215,
    kPanic,
    kLoading,
    kOutputGain = 219,
    kRateType,
    kShape,
    kDepth,
    kPrimaryDepth,
    kInPower,
    kOutPower
  };
  enum Channels { kMono, kStereo, kMonoToStereo };
  /// The song, at a block's first sample; `position` in quarter notes.
  struct Transport {
    float tempo = 120.0f, position = 0.0f;
    bool plays = false;
  };

  explicit PlainProcessor(uint32_t seed) : voices(SeedHash(seed, 0)), lfo("", SeedHash(seed, 1)) {
    using namespace Processor::PrismelProcessorKnobs;
    lfo.ApplyFits(kLfoFits);
    lfo.SetRateTable({kRateTable.begin(), kRateTable.end()});
    for (dsp::EnvFollower& meter : meters) meter.ApplyFits(kMeterFits);
    using MappingTools::BipolarExp;
    own = {Steps(2),
           Steps(2),
           Steps(2),
           Steps(2),
           With(Line(-12.0f, 12.0f), 0.0f),
           Steps(5),
           Steps(6),
           Curve(BipolarExp, -1.0f, 1.0f, 3.0f),
           Curve(BipolarExp, -1.0f, 1.0f, 3.0f),
           Line(-80.0f, 6.0f),
           Line(-80.0f, 6.0f)};
  }
  void Init(float rate, uint32_t blockSize) {
    voices.Init(blockSize, rate);
    lfo.Init(blockSize, rate);
    for (dsp::EnvFollower& meter : meters) meter.Init(blockSize, rate);
    bypassFade.Setup(1, rate);
    gain.Setup(1, rate);
    for (Buffer* buffer : {&wet[0], &wet[1], &gains, &fades, &silence, &lfoOutput, &envelope})
      buffer->assign(blockSize, 0.0f);
    ResetSelf(true);
  }
  void Turn(uint32_t index, float position) {
    if (index < 175) return voices.Turn(index, position);
    if (dsp::UnitModule* module = ModuleAt(index)) {
      module->SetParam(IndexWithin(index), position);
      return;
    }
    KnobAt(index).Turn(position);
    if (index == kPanic && position >= 0.5f) Reset(true);
    if (index == kLoading && position < 0.5f) Reset(false);
  }
  float Position(uint32_t index) {
    dsp::UnitModule* module = ModuleAt(index);
    return module != nullptr ? module->GetParam(IndexWithin(index)) : KnobAt(index).Position();
  }

  void Process(const std::array<const float*, 2>& input, const std::array<float*, 2>& out, uint32_t count,
               const Transport& song, Channels mode) {
    const FlushDenormals flush;
    Update();
    const float lfoNow = RunLfo(count, song);
    const std::array<const float*, 2> in = {
        input[0], mode == kStereo ? input[1] : (mode == kMono ? silence.data() : input[0])};
    voices.Process(in, {wet[0].data(), wet[1].data()}, count, lfoNow * KnobAt(kPrimaryDepth).Value(),
                   lfoNow * KnobAt(kDepth).Value());
    const auto level = [](float amplitude, float dB) {
      return amplitude == 0.0f ? -80.0f : std::clamp(20.0f * std::log10(amplitude) + dB, -80.0f, 6.0f);
    };
    KnobAt(kInPower).Put(level(Measure(meters[0], in[0], mode == kStereo ? in[1] : nullptr, count),
                               voices.knobs[Voices::kInputGain].Value()));
    KnobAt(kOutPower).Put(
        level(Measure(meters[1], wet[0].data(), mode != kMono ? wet[1].data() : nullptr, count), 0.0f));
    gain.Render(gains.data(), count);
    const bool moves = bypassFade.Moves();
    const uint32_t quads = WholeQuads(count);
    if (moves) bypassFade.Render(fades, count);
    for (uint32_t c = 0; c < (mode == kMono ? 1u : 2u); ++c) {
      for (uint32_t i = 0; i < quads; ++i) wet[c][i] *= gains[i];
      for (uint32_t i = 0; i < count; ++i) {
        const float x = fades[i], y = wet[c][i];
        if (moves)
          out[c][i] = i < quads ? y * (1.0f - x) + in[c][i] * x : 0.0f;
        else
          out[c][i] = KnobAt(kBypass).Value() > 0.0f ? in[c][i] : y;
      }
    }
    SetDirty(own, false);
  }

 private:
  /// Null for a knob of the voices or of the frame.
  dsp::UnitModule* ModuleAt(uint32_t index) {
    if (index < 175 || index >= kBypass) return nullptr;
    return index < 201 ? static_cast<dsp::UnitModule*>(&lfo) : &meters[(index - 201) / 7];
  }
  static uint32_t IndexWithin(uint32_t index) { return index < 201 ? index - 175 : (index - 201) % 7; }
  float RunLfo(uint32_t count, const Transport& song) {
    std::array<float*, 3> nothing{};
    std::array<float*, 2> both = {lfoOutput.data(), lfoOutput.data()};
    dsp::ProcessContext context = dsp::ProcessContext().WithPorts(nothing, both);
    context.sampleCount = count;
    context.tempo = song.tempo;
    context.songPosition = song.position;
    context.isPlaying = song.plays ? 1 : 0;
    lfo.Process(context);
    return lfoOutput[0];
  }
  /// The envelope at the block's first sample; a null right side is mono.
  float Measure(dsp::EnvFollower& meter, const float* left, const float* right, uint32_t count) {
    meter.SetParam(dsp::EnvFollower::kStereoInput, right != nullptr ? 1.0f : 0.0f);
    std::array<float*, 2> inputs = {const_cast<float*>(left), const_cast<float*>(right)};
    std::array<float*, 1> outputs = {envelope.data()};
    dsp::ProcessContext context = dsp::ProcessContext().WithPorts(inputs, outputs);
    context.sampleCount = count;
    meter.Process(context);
    return envelope[0];
  }
  Knob& KnobAt(uint32_t index) {
    if (index < 175) return voices.knobs[index - 152];
    return own[index - kBypass];
  }
  void Reset(bool hard) {
    voices.Reset(hard);
    lfo.ResetState(hard);
    for (dsp::EnvFollower& meter : meters) meter.ResetState(hard);
    ResetSelf(hard);
  }
  void ResetSelf(bool hard) {
    bypassFade.SetValue(KnobAt(kBypass).Value());
    gain.SetValue(Gain(KnobAt(kOutputGain).Value()));
    if (hard) SetDirty(own, true);
  }
  void Update() {
    if (KnobAt(kBypass).dirty) bypassFade.target = KnobAt(kBypass).Value();
    if (KnobAt(kOutputGain).dirty) gain.SetTarget(Gain(KnobAt(kOutputGain).Value()));
    if (KnobAt(kShape).dirty) {
      constexpr std::array<float, 6> kWaveforms = {0.0f, 1.0f, 2.0f, 4.0f, 5.0f, 5.0f};
      const auto shape = static_cast<uint32_t>(KnobAt(kShape).Value());
      lfo.SetParamInternal(dsp::LFO::kWaveform, kWaveforms[shape]);
      lfo.SetParam(dsp::LFO::kSmooth, shape == 5 ? 0.48f : 0.0f);
    }
    if (KnobAt(kRateType).dirty) {
      const float type = KnobAt(kRateType).Value();
      lfo.SetParamInternal(dsp::LFO::kMidiSync, type == 0.0f ? 0.0f : (type == 1.0f ? 2.0f : 1.0f));
      if (type >= 2.0f) lfo.SetParamInternal(dsp::LFO::kRateSyncedType, type - 2.0f);
    }
  }

  Voices voices;
  dsp::LFO lfo;
  std::array<dsp::EnvFollower, 2> meters = {dsp::EnvFollower(""), dsp::EnvFollower("")};
  Buffer lfoOutput, envelope;
  Knobs own;
  Slew bypassFade{0.01f};
  dsp::SmootherLPF gain{0.1f};
  std::array<Buffer, 2> wet;
  Buffer gains, fades, silence;
};

}  // namespace Vantora::test::model
