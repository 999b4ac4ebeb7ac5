#pragma once

#include <memory>

#include "basictools/math/FastPower.h"
#include "basictools/math/SeedHash.h"
#include "basictools/math/SinCos.h"
#include "dsp/control/Biquad.h"
#include "dsp/control/SmootherInterpLPF.h"
#include "dsp/stage/SpreadTables.h"
#include "tests/processor/model/Clone.h"

namespace Vantora::test::model {

/// The voice engine.
struct Voices {
  enum {
    kVoices,
    kDetune,
    kRate,
    kWet,
    kHpf,
    kLpf,
    kBandpass,
    kBandpassQ,
    kComb,
    kCombQ,
    kDivisor,
    kBits,
    kDrive,
    kAlgorithm,
    kSpray,
    kChord,
    kAmount,
    kType,
    kInputGain,
    kOutputGain,
    kDelay,
    kAmountOut,
    kPrimaryOut
  };
  struct Side {
    std::vector<std::unique_ptr<Clone>> clones;
    std::vector<dsp::SmootherInterpLPF> sweeps = std::vector(8, dsp::SmootherInterpLPF(0.01f));
    std::array<float, 8> phases{}, increments{}, places{};
    std::array<Buffer, 8> paths, taps, effects;
    Ring tapLine, feedbackLine;
    dsp::BiquadDirectForm1 highPass, lowPass;
    dsp::BiquadTransposed2 loopHighPass;
    Buffer returned;
  };

  explicit Voices(uint32_t seed) {
    for (uint32_t s = 0; s < 2; ++s) {
      for (uint32_t v = 0; v < 8; ++v)
        sides[s].clones.push_back(std::make_unique<Clone>(SeedHash(seed, s * 8 + v)));
    }
    knobs = {With(Steps(8, 1.0f), 5.0f),
             Line(2.0f, 16.5f),
             Line(0.0f, 0.35f),
             With(Line(0.0f, 1.0f), 0.5f),
             With(Exp(20.0f, 20000.0f, 6.0f), 250.0f),
             With(Exp(20.0f, 20000.0f, 6.0f), 20000.0f),
             Exp(20.0f, 20000.0f, 6.0f),
             Exp(0.71f, 15.0f, 5.5f),
             Exp(20.0f, 20000.0f, 8.0f),
             Exp(5.0f, 25.0f, -3.0f),
             Exp(1.0f, 80.0f, 3.0f),
             Curve(MappingTools::Reverse, 1.5f, 16.0f),
             Line(-14.0f, 36.0f),
             Steps(4),
             Exp(0.0f, 1500.0f, 3.0f),
             Steps(12),
             Line(0.0f, 1.0f),
             Steps(6),
             With(Line(-24.0f, 24.0f), 0.0f),
             With(Line(-24.0f, 24.0f), 0.0f),
             With(Line(2.0f, 1000.0f), 500.0f),
             Plain(),
             Plain()};
  }
  void Turn(uint32_t index, float position) {
    if (index < 152) {
      for (auto& clone : sides[index / 76].clones) clone->Turn(index % 76, position);
      return;
    }
    knobs[index - 152].Turn(position);
    if (index - 152 != kType) return;
    for (Side& side : sides) {
      for (auto& clone : side.clones) clone->choice.knobs[Switch::kType].Turn(position);
    }
  }
  void Init(uint32_t block, float sampleRate) {
    blockSize = block;
    rate = sampleRate;
    for (Slew& gain : gains) gain.Setup(1, rate);
    for (auto* ramp : {&countGain, &wet, &inputGain, &outputGain, &delay, &feedback})
      ramp->Setup(1, block, rate);
    depth.Setup(1, rate);
    highPassKnob.Setup(block, rate);
    for (auto* glide : {&lowPassKnob, &primaryOut, &amountOut}) glide->Setup(block, rate);
    for (Buffer* buffer : {&countGains, &wets, &inputGains, &outputGains, &delays, &feedbacks, &depths})
      buffer->assign(block, 0.0f);
    for (Buffer& buffer : voiceGains) buffer.assign(block, 0.0f);
    for (Side& side : sides) {
      for (auto& clone : side.clones) clone->Init(block, rate);
      for (auto& sweep : side.sweeps) sweep.Setup(1, block, rate);
      for (auto* group : {&side.paths, &side.taps, &side.effects}) {
        for (Buffer& buffer : *group) buffer.assign(block, 0.0f);
      }
      side.returned.assign(block, 0.0f);
      side.tapLine.Resize(static_cast<uint32_t>(std::ceil(16.5f * 0.001f * rate)) + 10u);
      side.feedbackLine.Resize(static_cast<uint32_t>(rate) + 10u);
    }
    const float w = 6.2831855f / rate * 20.0f;
    loop = dsp::BiquadCoefficients::HighPass(w, std::sin(w) * 0.707213581f);
    lowPassHz = knobs[kLpf].Value();
    ComputeHighPass(knobs[kHpf].Value());
    ResetSelf(true);
  }
  void Reset(bool hard) {
    for (Side& side : sides) {
      for (auto& clone : side.clones) clone->Reset(hard);
    }
    ResetSelf(hard);
  }
  void ResetSelf(bool hard) {
    for (Side& side : sides) {
      side.phases = dsp::kStartPhases;
      side.tapLine.Clear();
      side.feedbackLine.Clear();
      side.highPass = side.lowPass = {};
      side.loopHighPass = {};
    }
    highPassKnob.SetValue(knobs[kHpf].Position());
    lowPassKnob.SetValue(knobs[kLpf].Position());
    wet.SetValue(knobs[kWet].Value());
    inputGain.SetValue(Gain(knobs[kInputGain].Value()));
    outputGain.SetValue(Gain(knobs[kOutputGain].Value()));
    delay.SetValue(rate * 0.001f * knobs[kDelay].Value());
    countGain.SetValue(dsp::kVoiceCountGains[Asked() - 1]);
    amountOut.SetValue(knobs[kAmount].Position());
    changed = true;
    if (hard) SetDirty(knobs, true);
  }
  uint32_t Asked() { return static_cast<uint32_t>(knobs[kVoices].Value()); }

  void Process(const std::array<const float*, 2>& in, const std::array<float*, 2>& out, uint32_t count,
               float primary, float amount) {
    Update(count, &primary, &amount);
    for (uint32_t s = 0; s < 2; ++s) RunSide(sides[s], in[s], count);
    for (uint32_t s = 0; s < 2; ++s) Finish(sides[s], in[s], out[s], count);
    changed = false;
    SetDirty(knobs, false);
  }

  void Update(uint32_t count, const float* primary, const float* modulation) {
    const uint32_t voices = Asked();
    const auto feedbackGain = [&] {
      const float spray = knobs[kSpray].Position(primary);
      return spray < 0.5f ? 0.0f : 0.707f * spray - 0.3535f;
    };
    for (uint32_t v = 0; v < 8 && changed; ++v) gains[v].SetValue(v < voices ? 1.0f : 0.0f);
    if (changed) feedback.SetValue(feedbackGain());
    if (knobs[kVoices].dirty) {
      sweeping = (voices + 1) / 2 * 2;
      UpdateIncrements();
      countGain.SetTarget(dsp::kVoiceCountGains[voices - 1]);
      for (uint32_t v = 0; v < 8; ++v) gains[v].target = v < voices ? 1.0f : 0.0f;
    }
    countGain.Render(countGains.data(), count);
    if (knobs[kDelay].dirty) delay.SetTarget((knobs[kDelay].Value() - 1.0f) * 0.001f * rate);
    delay.Render(delays.data(), count);
    active = 1;
    for (uint32_t v = 1; v < 8; ++v) active += gains[v].current > 0.0f || gains[v].Moves() ? 1u : 0u;
    for (uint32_t v = 0; v < active; ++v) gains[v].Render(voiceGains[v], count);
    UpdateFilters();

    const float amount = knobs[kAmount].Value(modulation);
    const auto type = static_cast<uint32_t>(knobs[kType].Value());
    if (type != 0) Spread(type, primary, amount);
    feedback.SetTarget(type == 5 ? feedbackGain() : 0.0f);
    if (type != 0) {
      primaryOut.SetTarget(knobs[kPrimaries[type]].Position(primary));
      knobs[kPrimaryOut].Turn(primaryOut.Tick());
    }
    amountOut.SetTarget(amount);
    knobs[kAmountOut].Turn(amountOut.Tick());
    const float samples = knobs[kDetune].record.ToValue(amount) * 0.001f * rate;
    if (changed) depth.SetValue(samples);
    depth.SetTarget(samples);
    if (const float hz = knobs[kRate].record.ToValue(amount); hz != sweepHz) {
      sweepHz = hz;
      UpdateIncrements();
    }
    wet.SetTarget(knobs[kWet].Value());
    inputGain.SetTarget(Gain(knobs[kInputGain].Value()));
    outputGain.SetTarget(Gain(knobs[kOutputGain].Value()));
    wet.Render(wets.data(), count);
    inputGain.Render(inputGains.data(), count);
    outputGain.Render(outputGains.data(), count);
    depth.Render(depths.data(), count);
    feedback.Render(feedbacks.data(), count);
    for (uint32_t k = 1; k < 6 && (changed || knobs[kType].dirty); ++k) {
      for (Side& side : sides) {
        for (auto& clone : side.clones) clone->At(k).Reset(false);
      }
    }
  }
  void UpdateIncrements() {
    const float step = static_cast<float>(blockSize) / rate;
    for (uint32_t v = 0; v < active; ++v) {
      sides[0].increments[v] = std::clamp(dsp::kLeftRatios[v] * sweepHz, 0.0f, 0.7f) * step;
      sides[1].increments[v] = std::clamp(dsp::kRightRatios[v] * (sweepHz * 1.0404041f), 0.0f, 0.7f) * step;
    }
  }
  static float Alpha(float w) { return std::sin(w) * 0.5f * 1.41421354f; }
  void ComputeHighPass(float hz) {
    const float w = std::min(hz, 0.495f * rate) * (6.2831855f / rate);
    highPass = dsp::BiquadCoefficients::HighPass(w, Alpha(w));
  }
  void UpdateFilters() {
    lowPassKnob.SetTarget(knobs[kLpf].Position());
    lowPassHz = knobs[kLpf].record.ToValue(lowPassKnob.Tick());
    const float w = std::min(lowPassHz, 0.495f * rate) * (6.2831855f / rate);
    lowPass = dsp::BiquadCoefficients::LowPass(w, Alpha(w));
    highPassKnob.target = knobs[kHpf].Position();
    const float highPassHz = knobs[kHpf].record.ToValue(highPassKnob.Tick());
    if (highPassHz != lowPassHz) ComputeHighPass(highPassHz);
    const bool low = knobs[kLpf].Position()<1.0f, high = knobs[kHpf].Position()> 0.0f;
    for (Side& side : sides) {
      if (low && !lowRuns) side.lowPass = {};
      if (high && !highRuns) side.highPass = {};
    }
    lowRuns = low;
    highRuns = high;
  }
  void Spread(uint32_t type, const float* modulation, float amount) {
    const float value = knobs[kPrimaries[type]].Value(modulation);
    bool passes = false;
    for (const auto k : {kBandpassQ, kCombQ, kBits, kAlgorithm, kChord, kVoices, kType})
      passes |= knobs[k].dirty;
    const float second = knobs[kSecondaries[type]].Value();
    for (uint32_t v = 0; v < active; ++v) {
      for (uint32_t s = 0; s < 2; ++s) {
        const float t = s == 0 ? dsp::kLeftRatios[v] : dsp::kRightRatios[v] * 1.0404041f;
        Clone& clone = *sides[s].clones[v];
        const float own = type <= 3 ? value * FastPow2(FastLog2(t) * amount * amount * 5.0f)
                                    : value - (std::sqrt(t) - 1.0f) * amount * (type == 4 ? 25.0f : 2300.0f);
        switch (type) {
          case 1:
            clone.bandPass.PutWithin(dsp::MultiModeFilter::kFreq, own);
            if (passes) clone.bandPass.Put(dsp::MultiModeFilter::kQ, second);
            break;
          case 2:
            clone.comb.PutWithin(dsp::MultiModeFilter::kCombFreq, own);
            if (passes) clone.comb.Put(dsp::MultiModeFilter::kQ, second);
            break;
          case 3:
            clone.crusher.PutWithin(dsp::BitCrusher::kDownsample, own);
            if (passes) clone.crusher.Put(dsp::BitCrusher::kBitdepth, second);
            break;
          case 4:
            clone.disto.knobs[Disto::kDrive].Put(std::clamp(own, -14.0f, 36.0f));
            clone.disto.ForwardDrive();
            if (passes) clone.disto.knobs[Disto::kType].Put(second);
            break;
          default:
            clone.shifter.PutWithin(dsp::PitchShifter::kSpray, own);
            if (passes)
              clone.shifter.Put(dsp::PitchShifter::kPitchShift,
                                static_cast<float>(dsp::kChords[static_cast<std::size_t>(second)][v]));
        }
      }
    }
  }

  void RunSide(Side& side, const float* in, uint32_t count) {
    for (uint32_t v = 0; v < 8; ++v) {
      if (v < sweeping) {
        if (side.phases[v] > 1.0f) side.phases[v] -= 1.0f;
        side.places[v] = 0.5f * (1.0f + SinCos(side.phases[v] * 6.2831855f - 1.5707964f).sin);
        side.phases[v] += side.increments[v];
      }
      if (changed) side.sweeps[v].SetValue(side.places[v]);
      if (v >= active) continue;
      side.sweeps[v].SetTarget(side.places[v]);
      side.sweeps[v].Render(side.paths[v].data(), count);
    }
    for (uint32_t i = 0; i < count; ++i) {
      float x = inputGains[i] * in[i] + feedbacks[i] * side.returned[i];
      if (highRuns) x = side.highPass.Tick(highPass, x);
      for (uint32_t v = 0; v < active; ++v)
        side.taps[v][i] = side.tapLine.Linear(std::max(side.paths[v][i] * depths[i], 1.0f));
      side.tapLine.Push(x);
    }
    for (uint32_t v = 0; v < active; ++v) side.clones[v]->Process(side.taps[v], side.effects[v], count);
  }
  void Finish(Side& side, const float* in, float* out, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i) {
      float sum = 0.0f;
      for (uint32_t v = 0; v < active; ++v) sum += side.effects[v][i] * countGains[i] * voiceGains[v][i];
      const auto whole = static_cast<int32_t>(delays[i]);
      side.returned[i] = side.feedbackLine.Between(whole, delays[i] - static_cast<float>(whole));
      side.feedbackLine.Push(side.loopHighPass.Tick(loop, sum));
      if (lowRuns) sum = side.lowPass.Tick(lowPass, sum);
      const SinCosPair share = SinCos(wets[i] * 1.57079637f);
      out[i] = sum * outputGains[i];
      if (i < WholeQuads(count)) out[i] = out[i] * share.sin + in[i] * share.cos;
    }
  }

  static constexpr std::array<uint32_t, 6> kPrimaries = {kAmount, kBandpass, kComb, kDivisor, kDrive, kSpray};
  static constexpr std::array<uint32_t, 6> kSecondaries = {kAmount, kBandpassQ, kCombQ,
                                                           kBits,   kAlgorithm, kChord};
  Knobs knobs;
  std::array<Side, 2> sides;
  std::array<Slew, 8> gains = {Slew(0.2f), Slew(0.2f), Slew(0.2f), Slew(0.2f),
                               Slew(0.2f), Slew(0.2f), Slew(0.2f), Slew(0.2f)};
  std::array<Buffer, 8> voiceGains;
  dsp::SmootherInterpLPF countGain{0.01f}, wet{0.01f}, inputGain{0.01f}, outputGain{0.01f}, delay{0.2f},
      feedback{0.01f};
  Buffer countGains, wets, inputGains, outputGains, delays, feedbacks, depths;
  dsp::SmootherLPF depth{0.2f}, lowPassKnob{0.05f}, primaryOut{0.4f}, amountOut{0.4f};
  Slew highPassKnob{0.05f};
  dsp::BiquadCoefficients highPass, lowPass, loop;
  float rate = 44100.0f, sweepHz = 0.0f, lowPassHz = 0.0f;
  uint32_t blockSize = 4, active = 1, sweeping = 0;
  bool changed = true, lowRuns = false, highRuns = false;
};

}  // namespace Vantora::test::model
