#pragma once

#include <array>

#include "basictools/math/CompandingPower.h"
#include "basictools/math/FastPower.h"
#include "basictools/math/Xorshift.h"
#include "dsp/effects/FilterCompensation.h"
#include "dsp/stage/FxVariantRows.h"
#include "tests/processor/model/Parts.h"

namespace Vantora::test::model {

/// A stage effect, mono.
struct Effect {
  virtual ~Effect() = default;
  void Init(uint32_t block, float sampleRate) {
    blockSize = block;
    rate = sampleRate;
    Configure();
    Reset(true);
  }
  virtual void Reset(bool hard) {
    Clear();
    changed = true;
    if (hard) SetDirty(knobs, true);
  }
  void Process(const Buffer& in, Buffer& out, uint32_t count) {
    Run(in, out, count);
    changed = false;
    SetDirty(knobs, false);
  }

  virtual void Configure() {}
  virtual void Clear() {}
  virtual void Run(const Buffer& in, Buffer& out, uint32_t count) = 0;

  Knobs knobs;
  bool changed = true;
  uint32_t blockSize = 4;
  float rate = 44100.0f;
};

struct Copy : Effect {
  Copy() { knobs = {Plain()}; }
  void Run(const Buffer& in, Buffer& out, uint32_t count) override {
    std::copy_n(in.begin(), count, out.begin());
  }
};

struct Filter : Effect {
  enum { kMode = 1, kFreq, kCombFreq, kQ, kCompensation = 9 };
  explicit Filter(bool comb) : isComb(comb) {
    knobs = {Plain(),
             Steps(1),
             Exp(20.0f, 20000.0f, 6.0f),
             isComb ? Exp(20.0f, 20000.0f, 8.0f) : Exp(20.0f, 2000.0f, 6.0f),
             isComb ? Exp(5.0f, 25.0f, -3.0f) : Exp(0.71f, 15.0f, 5.5f),
             With(Line(-15.0f, 15.0f), 0.0f),
             Plain(),
             Plain(),
             Plain(),
             With(Plain(), 1.0f)};
  }
  void Configure() override {
    frequency.Setup(blockSize, rate);
    q.Setup(blockSize, rate);
    compensation.Setup(blockSize, rate);
    delay = Slew(0.01f, rate / 20.0f - rate / knobs[kCombFreq].record.GetMaximum());
    delay.Setup(1, rate);
    line.Resize(static_cast<uint32_t>(rate / 20.0f) + 5u);
    gains.assign(blockSize, 1.0f);
    delays.assign(blockSize, 1.0f);
  }
  void Run(const Buffer& in, Buffer& out, uint32_t count) override {
    const bool fresh = changed || knobs[kMode].dirty;
    const float comb = rate / knobs[kCombFreq].Value();
    if (fresh) {
      frequency.Snap(knobs[kFreq].Value());
      q.Snap(knobs[kQ].Value());
      delay.Snap(comb);
      line.Clear();
      for (auto& stage : stages) stage = {};
    }
    delay.target = comb;
    const float feedback = knobs[kQ].Position() * 0.99f;
    float aim = 1.0f;
    if (isComb) {
      delay.Render(delays, count);
      aim = dsp::CombCompensation(feedback);
    } else {
      aim = dsp::ResonanceCompensation(dsp::kFilterModes[dsp::FxVariantKnobs::kBandPassMode], Tune(fresh));
    }
    if (!knobs[kCompensation].IsOn()) aim = 1.0f;
    if (fresh) compensation.Snap(aim);
    compensation.Aim(aim);
    compensation.Render(gains, count);
    for (uint32_t i = 0; i < count; ++i) {
      float y = in[i];
      if (isComb) {
        y += feedback * line.Back(static_cast<uint32_t>(delays[i]));
        line.Push(y);
      } else {
        for (int k = 0; k < 3; ++k) g[k] += step[k];
        for (auto& s : stages) {
          const float u = y - s[1], b = g[0] * s[0] + g[1] * u, l = s[1] + g[1] * s[0] + g[2] * u;
          s = {2.0f * b - s[0], 2.0f * l - s[1]};
          y = b;
        }
      }
      out[i] = y * gains[i];
    }
  }
  float Tune(bool fresh) {
    frequency.Aim(knobs[kFreq].Value());
    q.Aim(knobs[kQ].Value());
    const float f = frequency.Tick(), resonance = q.Tick();
    const float w = std::tan(3.14159265f * f / rate);
    std::array<float, 3> aim;
    aim[0] = 1.0f / (1.0f + w * (w + 1.0f / resonance));
    aim[1] = w * aim[0];
    aim[2] = w * aim[1];
    for (int k = 0; k < 3; ++k)
      step[k] = fresh ? 0.0f : (aim[k] - g[k]) * (1.0f / static_cast<float>(blockSize));
    if (fresh) g = aim;
    return resonance;
  }

  bool isComb;
  Glide frequency{0.01f}, q{0.01f};
  Ramp compensation{0.01f};
  Slew delay{0.01f};
  Ring line;
  Buffer gains, delays;
  std::array<float, 3> g{}, step{};
  std::array<std::array<float, 2>, 3> stages{};
};

struct Crusher : Effect {
  enum {
    kWet,
    kBits,
    kDivisor,
    kFrequency,
    kStereo,
    kAliasing,
    kJitter,
    kJitterRate,
    kJitterMode,
    kHold,
    kScale,
    kUseFrequency,
    kFilter,
    kCompand,
    kFeedback,
    kGain
  };
  explicit Crusher(uint32_t seed) : random(seed) {
    knobs = {With(Plain(), 1.0f),
             Curve(MappingTools::Reverse, 1.5f, 16.0f),
             Exp(1.0f, 80.0f, 3.0f),
             Exp(200.0f, 44100.0f, 5.4f),
             Steps(2),
             Exp(0.0f, 1.0f, 3.0f),
             Line(0.0f, 100.0f),
             Line(20.0f, 3000.0f),
             With(Steps(2), 1.0f),
             With(Steps(2), 1.0f),
             With(Exp(0.1f, 255.0f, 6.0f), 16.0f),
             Steps(2),
             With(Plain(), 1.0f),
             With(Plain(), 1.0f),
             Plain(),
             With(Line(-40.0f, 40.0f), 0.0f)};
  }
  void Configure() override {
    wet.Setup(blockSize, rate);
    wets.assign(blockSize, 0.0f);
  }
  void Clear() override {
    dc = phase = offset = 0.0f;
    stages = {};
  }
  float Draw() {
    random = XorshiftStep(random);
    return static_cast<float>(random);
  }
  float Period(float target, uint32_t count) {
    const float base = rate / target, jitter = knobs[kJitter].Value();
    float period = base;
    if (jitter > 0.0f && knobs[kJitterMode].Value() < 1.0f) {
      if (static_cast<float>(sinceJitter) >= rate / knobs[kJitterRate].Value()) {
        const float first = Draw(), second = Draw();
        offset = jitter * 1.1641532e-12f * target * (first - second);
        sinceJitter = 0;
      }
      period = rate / (target + offset);
    } else if (jitter > 0.0f) {
      for (uint32_t channel = 0; channel < (knobs[kStereo].IsOn() ? 2u : 1u); ++channel) {
        float stretch = 1.0f;
        if (Draw() * 2.3283064e-8f < jitter * 0.9f) {
          const float second = Draw(), third = Draw();
          stretch = 1.7f + (second - third) * 1.3969839e-10f;
        }
        if (channel == 0) period = base * stretch;
      }
    }
    sinceJitter += count;
    return std::max(period, 1.0f);
  }
  void Run(const Buffer& in, Buffer& out, uint32_t count) override {
    if (changed) wet.Snap(knobs[kWet].Value());
    wet.Aim(knobs[kWet].Value());
    wet.Render(wets, count);
    const float target =
        knobs[kUseFrequency].IsOn() ? knobs[kFrequency].Value() : 44100.0f / knobs[kDivisor].Value();
    const float period = Period(target, count);
    const float w = std::tan((target + (44100.0f - target) * knobs[kAliasing].Value()) * 1.5671835f / rate);
    const float g1 = 1.0f / (1.0f + w * (w + 1.4142071f)), g2 = w * g1, g3 = w * g2;
    const float bits = knobs[kBits].Value(), deadband = std::exp2(-std::max(bits, 8.0f)),
                levels = std::exp2(bits);
    const float scale = knobs[kScale].Value();
    const bool compands = knobs[kCompand].IsOn() && scale > knobs[kScale].record.GetMinimum();
    const bool holds = knobs[kHold].IsOn();
    const float gain = Gain(knobs[kGain].Value());
    const float dcGain = rate / (rate + 31.41593f), dcPole = (31.41593f - rate) / (rate + 31.41593f);
    for (uint32_t i = 0; i < count; ++i) {
      const float s = in[i] * gain * dcGain;
      float y = s + dc;
      dc = -(dcPole * y + s);
      for (auto& stage : stages) {
        if (!knobs[kFilter].IsOn()) break;
        const float u = y - stage[1], b = g1 * stage[0] + g2 * u, l = stage[1] + g2 * stage[0] + g3 * u;
        stage = {2.0f * b - stage[0], 2.0f * l - stage[1]};
        y = l;
      }
      phase += 1.0f;
      const bool takes = phase > period;
      while (phase > period) phase -= period;
      if (takes && holds) held = y;
      if (takes && !holds) slope = (y - held) * (1.0f / period);
      if (!holds) held += slope;
      held = std::clamp(held, -1.0f, 1.0f);
      float v = held;
      if (compands) v = Sign(v) * FastLog2(1.0f + scale * std::fabs(v)) / FastLog2(1.0f + scale);
      const float q = std::trunc(levels * 0.5f * std::fabs(v)) * (2.0f / levels) + 1.0f / levels;
      v = v > -deadband && v < deadband ? 0.0f : (v > 0.0f ? q : -q);
      if (compands) v = Sign(v) * (CubicPow2(CubicLog2(1.0f + scale) * std::fabs(v)) - 1.0f) / scale;
      out[i] = in[i] - in[i] * wets[i] + wets[i] * (1.0f / gain) * std::clamp(v, -1.0f, 1.0f);
    }
  }
  static float Sign(float x) { return x > 0.0f ? 1.0f : (x < 0.0f ? -1.0f : 0.0f); }

  Ramp wet{0.01f};
  Buffer wets;
  std::array<std::array<float, 2>, 2> stages{};
  float dc = 0.0f, phase = 0.0f, held = 0.0f, slope = 0.0f, offset = 0.0f;
  uint32_t random, sinceJitter = 0;
};

struct Shifter : Effect {
  enum { kPreDelay = 1, kInterval, kSpray, kConnected };
  struct Grain {
    float width = 0.0f, length = 0.0f, speed = 0.0f;
  };
  explicit Shifter(uint32_t seed) : random(seed) {
    knobs = {Plain(), Line(0.0f, 1000.0f), With(Line(-24.0f, 24.0f), 0.0f), Exp(0.0f, 1500.0f, 3.0f),
             Plain()};
  }
  void Configure() override {
    const auto size = static_cast<uint32_t>(std::ceil(2.0f * rate));
    before.Resize(size);
    line.Resize(size);
    interval.Setup(1, rate);
    width.Setup(1, rate);
    length.Setup(1, rate);
    preDelay.Setup(blockSize, rate);
    semitones.assign(blockSize, 0.0f);
    preDelays = semitones;
  }
  void Clear() override {
    before.Clear();
    line.Clear();
    phase = last = offsetA = offsetB = 0.0f;
  }
  Grain GrainFor(float s) const {
    const float a = std::fabs(s), sign = s >= 0.0f ? 1.0f : -1.0f;
    float seconds = 0.029985627f;
    if (a > 2.63155f) {
      seconds = 0.0100279f * a - 0.0002163307f +
                (0.02872614f - 0.008806685f * a) / (1.0f + std::pow(0.34744045f * a, 8.770802f));
    }
    const float f = (std::exp2(s / 12.0f) - 1.0f) * sign / seconds;
    return {std::clamp(0.498f * f / (1.0f + 0.498f * f), 0.0f, 0.5f), seconds * rate, f * sign};
  }
  static float Fraction(float x) { return x - std::trunc(x); }
  static float Window(float h, float w) {
    const float t = std::clamp((1.0f - 2.0f * h) * (1.0f - w) + w, 0.0f, 1.0f);
    const float v = t < w ? t : 1.0f - t;
    if (!(v < w)) return 1.0f;
    const float angle = 6.2831855f * (v / (4.0f * w));
    const float y = angle * (1.2732395f - 0.40528473f * std::fabs(angle));
    return y + 0.225f * (y * std::fabs(y) - y);
  }
  void Run(const Buffer& in, Buffer& out, uint32_t count) override {
    const float delayAim = knobs[kPreDelay].Value() * (rate * 0.001f);
    if (changed) {
      preDelay.Snap(delayAim);
      interval.Snap(knobs[kInterval].Value());
      grain = GrainFor(made = knobs[kInterval].Value());
      width.Snap(grain.width);
      length.Snap(grain.length);
    }
    interval.Aim(knobs[kInterval].Value());
    preDelay.Aim(delayAim);
    const bool between = knobs[kConnected].IsOn() || preDelay.Moves();
    preDelay.Render(preDelays, count);
    interval.Render(semitones, count);
    const Grain from = grain;
    if (semitones[count - 1] != made) grain = GrainFor(made = semitones[count - 1]);
    const float spray = rate * 0.001f * knobs[kSpray].Value();
    for (uint32_t i = 0; i < count; ++i) {
      const auto ramp = [&](float a, float b) {
        return a == b ? b : a + static_cast<float>(i + 1) * ((b - a) / static_cast<float>(blockSize));
      };
      phase = Fraction(phase + ramp(from.speed, grain.speed) / rate);
      width.Aim(ramp(from.width, grain.width));
      length.Aim(ramp(from.length, grain.length));
      const float w = width.Tick(), way = length.Tick();
      const float a = Fraction(phase + 1.0f), b = Fraction(phase + 1.5f);
      const float placeA = std::clamp(1.0f - a, 0.0f, 1.0f), placeB = std::clamp(1.0f - b, 0.0f, 1.0f);
      const uint32_t drawA = XorshiftStep(random), drawB = XorshiftStep(drawA);
      random = drawB;
      const float s = semitones[i], size = std::fabs(s);
      const auto offset = [&](uint32_t draw) {
        return size * 2.3283064e-10f * static_cast<float>(draw) * spray / (size + 0.01f);
      };
      if (s >= 0.0f ? placeA > last : placeA < last) offsetA = offset(drawA);
      if (s >= 0.0f ? last > 0.5f && placeA <= 0.5f : last <= 0.5f && placeA > 0.5f) offsetB = offset(drawB);
      last = placeA;

      before.Push(in[i]);
      const auto whole = static_cast<uint32_t>(preDelays[i]);
      const float part = preDelays[i] - static_cast<float>(whole);
      float delayed = before.Back(whole + 1);
      if (between) delayed = whole == 0 ? before.Linear(1.0f + part) : before.Between(whole + 1, part);
      out[i] = Window(a, w) * line.Linear(placeA * way + 1.0f + offsetA) +
               Window(b, w) * line.Linear(placeB * way + 1.0f + offsetB);
      line.Push(delayed);
    }
  }

  Ring before, line;
  Glide interval{0.5f}, width{0.01f}, length{0.01f};
  Ramp preDelay{0.1f};
  Buffer semitones, preDelays;
  Grain grain;
  float made = 0.0f, phase = 0.0f, last = 0.0f, offsetA = 0.0f, offsetB = 0.0f;
  uint32_t random;
};

}  // namespace Vantora::test::model
