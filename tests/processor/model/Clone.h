#pragma once

#include <array>
#include <cstdint>
#include <utility>

#include "dsp/effects/BitCrusher.h"
#include "dsp/effects/MultiDist.h"
#include "dsp/effects/MultiModeFilter.h"
#include "dsp/effects/PitchShifter.h"
#include "dsp/effects/Wavefolder.h"
#include "dsp/stage/FxVariantRows.h"
#include "engine/PassThrough.h"
#include "tests/processor/model/Parts.h"

namespace Vantora::test::model {

/// The switch between alternatives, with its bypass and its fades.
struct Switch {
  enum { kType, kBypass, kCopy, kCrossfade, kFade };
  uint32_t Asked() { return static_cast<uint32_t>(knobs[kType].Value()); }
  void Configure(uint32_t blockSize, float rate) {
    bypassFade.Setup(1, rate);
    typeFade.Setup(1, rate);
    fades.assign(WholeQuadsAbove(blockSize), 0.0f);
    typeFades = fades;
  }
  void Reset() {
    bypassFade.SetValue(knobs[kCrossfade].IsOn() && knobs[kBypass].Value() < 0.5f ? 1.0f : 0.0f);
    typeFade.SetValue(1.0f);
    selected = Asked();
  }
  void Follow() {
    if (!knobs[kFade].IsOn()) selected = Asked();
  }
  template <typename ResetOne>
  void Update(bool changed, ResetOne&& reset) {
    const bool fading = knobs[kFade].IsOn();
    if (knobs[kFade].dirty && !fading) {
      typeFade.SetValue(1.0f);
      selected = Asked();
    }
    if (knobs[kType].dirty || (knobs[kBypass].dirty && knobs[kBypass].Value() < 0.5f)) {
      const bool differs = selected != Asked();
      if (knobs[kType].dirty && differs) {
        if (!fading) selected = Asked();
        typeFade.target = fading ? 0.0f : 1.0f;
      }
      if (!changed || differs) reset(Asked());
    }
    if (knobs[kCrossfade].IsOn() && knobs[kBypass].dirty) {
      bypassFade.target = knobs[kBypass].IsOn() ? 0.0f : 1.0f;
    } else if (knobs[kCrossfade].dirty && !knobs[kCrossfade].IsOn()) {
      bypassFade.SetValue(0.0f);
    }
  }
  template <typename RunOne>
  void Run(const Buffer& in, Buffer& out, uint32_t count, RunOne&& run) {
    const bool moves = bypassFade.Moves();
    const bool bypassed = knobs[kBypass].IsOn() || moves;
    if (!bypassed || (knobs[kCrossfade].IsOn() && moves)) RunSelected(out, count, run);
    if (!bypassed) return;
    if (moves) bypassFade.Render(fades, count);
    const float rest = bypassFade.current;
    if (!moves && rest == 1.0f) return;
    if (!moves && rest == 0.0f) {
      for (uint32_t i = 0; i < count; ++i) out[i] = knobs[kCopy].IsOn() ? in[i] : 0.0f;
      return;
    }
    for (uint32_t i = 0; i < WholeQuads(count); ++i) {
      const float f = moves ? fades[i] : rest;
      out[i] = knobs[kCopy].IsOn() ? std::fma(in[i], 1.0f - f, out[i] * f) : out[i] * f;
    }
  }
  template <typename RunOne>
  void RunSelected(Buffer& out, uint32_t count, RunOne&& run) {
    Follow();
    run(selected);
    if (knobs[kFade].IsOn() && typeFade.Moves()) {
      typeFade.Render(typeFades, count);
      for (uint32_t i = 0; i < WholeQuads(count); ++i) out[i] *= typeFades[i];
    }
    if (!typeFade.Moves() && selected != Asked()) {
      selected = Asked();
      typeFade.target = 1.0f;
    }
  }

  Knobs knobs;
  Slew bypassFade{0.05f}, typeFade{0.025f};
  Buffer fades, typeFades;
  uint32_t selected = 0;
};

inline Knobs SwitchKnobs(uint32_t alternatives) {
  return {Steps(alternatives), Steps(2), Steps(2), Steps(2), Steps(2)};
}

/// What a switch chooses from, mono.
struct Alternative {
  virtual ~Alternative() = default;
  virtual void Init(uint32_t blockSize, float rate) = 0;
  virtual void Reset(bool hard) = 0;
  virtual void Process(Buffer& in, Buffer& out, uint32_t count) = 0;
};

/// A module of the product by itself: nothing is connected but its first input and output, and it leaves its
/// block to no bank of lanes.
template <typename Effect>
struct Alone : Alternative {
  template <typename... Args>
  explicit Alone(Args... args) : module("", args...) {}
  void Init(uint32_t blockSize, float rate) override { module.Init(blockSize, rate); }
  void Reset(bool hard) override { module.ResetState(hard); }
  void Process(Buffer& in, Buffer& out, uint32_t count) override {
    std::array<float*, Effect::kInputCount> inputs{in.data()};
    std::array<float*, Effect::kOutputCount> outputs{out.data()};
    dsp::ProcessContext context = dsp::ProcessContext().WithPorts(inputs, outputs);
    context.sampleCount = count;
    module.Process(context);
  }
  void Put(uint32_t index, float value) { module.SetParamInternal(index, value); }
  /// What the knob's range leaves of `value`.
  void PutWithin(uint32_t index, float value) {
    const dsp::ParamRecord& record = module.Param(index);
    Put(index, std::clamp(value, record.GetMinimum(), record.GetMaximum()));
  }
  Effect module;
};

struct Disto : Alternative {
  enum { kType, kDrive };
  Disto() {
    using namespace dsp::PrismelDistoVariantKnobs;
    choice.knobs = SwitchKnobs(2);
    knobs = {Steps(4), Line(-14.0f, 36.0f)};
    folder.module.ApplyFits(kFolderFits);
    shaper.module.SetAllowedAlgorithms({std::begin(kShaperCurves), std::end(kShaperCurves)});
    shaper.module.ApplyFits(kShaperFits);
  }
  Alternative& At(uint32_t which) { return which == 0 ? static_cast<Alternative&>(folder) : shaper; }
  void ForwardDrive() {
    folder.module.SetParam(dsp::Wavefolder::kDrive, knobs[kDrive].Position());
    shaper.module.SetParam(dsp::MultiDist::kDrive, knobs[kDrive].Position());
  }
  void Init(uint32_t blockSize, float rate) override {
    folder.Init(blockSize, rate);
    shaper.Init(blockSize, rate);
    choice.Configure(blockSize, rate);
    choice.Reset();
    Reset(true);
  }
  void Reset(bool hard) override {
    choice.Follow();
    At(choice.selected).Reset(hard);
    choice.Reset();
    changed = true;
    if (hard) SetDirty(knobs, true);
    if (hard) SetDirty(choice.knobs, true);
  }
  void Process(Buffer& in, Buffer& out, uint32_t count) override {
    if (knobs[kType].dirty) {
      const float type = knobs[kType].Value();
      choice.knobs[Switch::kType].Put(type == 3.0f ? 0.0f : 1.0f);
      if (type != 3.0f) shaper.Put(dsp::MultiDist::kDistType, type);
    }
    choice.Update(changed, [&](uint32_t which) { At(which).Reset(false); });
    choice.Run(in, out, count, [&](uint32_t which) { At(which).Process(in, out, count); });
    changed = false;
    SetDirty(knobs, false);
    SetDirty(choice.knobs, false);
  }

  Knobs knobs;
  Alone<dsp::Wavefolder> folder;
  Alone<dsp::MultiDist> shaper;
  Switch choice;
  bool changed = true;
};

/// One voice's stage effect on one side.
struct Clone {
  explicit Clone(uint32_t seed) : crusher(seed), shifter(seed ^ 0x9E3779B9u, 1u) {
    using namespace dsp::FxVariantKnobs;
    choice.knobs = SwitchKnobs(6);
    bandPass.module.SetAllowedModes({kBandPassMode});
    bandPass.module.ApplyFits(kBandPassFits);
    comb.module.SetAllowedModes({kCombMode});
    comb.module.ApplyFits(kCombFits);
    crusher.module.ApplyFits(kCrusherFits);
    shifter.module.ApplyFits(kHarmonizerFits);
  }
  Alternative& At(uint32_t type) {
    const std::array<Alternative*, 6> effects = {&copy, &bandPass, &comb, &crusher, &disto, &shifter};
    return *effects[type];
  }
  /// By the number within a bank.
  void Turn(uint32_t index, float position) {
    const std::array<std::pair<uint32_t, dsp::UnitModule*>, 7> modules = {{{66, &shifter.module},
                                                                           {49, &disto.shaper.module},
                                                                           {37, &disto.folder.module},
                                                                           {21, &crusher.module},
                                                                           {11, &comb.module},
                                                                           {1, &bandPass.module},
                                                                           {0, &copy.module}}};
    if (index >= 71) return choice.knobs[index - 71].Turn(position);
    if (index == 64 || index == 65) {
      disto.knobs[index - 64].Turn(position);
      if (index == 65) disto.ForwardDrive();
      return;
    }
    if (index >= 59 && index < 64) return disto.choice.knobs[index - 59].Turn(position);
    for (const auto& [first, module] : modules) {
      if (index < first) continue;
      module->SetParam(index - first, position);
      return;
    }
  }
  void Init(uint32_t blockSize, float rate) {
    for (uint32_t type = 0; type < 6; ++type) At(type).Init(blockSize, rate);
    choice.Configure(blockSize, rate);
    choice.Reset();
    changed = true;
    SetDirty(choice.knobs, true);
  }
  void Reset(bool hard) {
    choice.Follow();
    At(choice.selected).Reset(hard);
    choice.Reset();
    changed = true;
    if (hard) SetDirty(choice.knobs, true);
  }
  void Process(Buffer& in, Buffer& out, uint32_t count) {
    choice.Update(changed, [&](uint32_t type) { At(type).Reset(false); });
    choice.Run(in, out, count, [&](uint32_t type) { At(type).Process(in, out, count); });
    changed = false;
    SetDirty(choice.knobs, false);
  }

  Alone<dsp::PassThrough> copy;
  Alone<dsp::MultiModeFilter> bandPass{1u}, comb{1u};
  Alone<dsp::BitCrusher> crusher;
  Disto disto;
  Alone<dsp::PitchShifter> shifter;
  Switch choice;
  bool changed = true;
};

}  // namespace Vantora::test::model
