#pragma once

#include <array>
#include <utility>

#include "tests/processor/model/Distortions.h"
#include "tests/processor/model/Effects.h"

namespace Vantora::test::model {

/// The switch between alternatives, with its bypass and its fades.
struct Switch {
  enum { kType, kBypass, kCopy, kCrossfade, kFade };
  uint32_t Asked() { return static_cast<uint32_t>(knobs[kType].Value()); }
  void Configure(uint32_t blockSize, float rate) {
    bypassFade.Setup(1, rate);
    typeFade.Setup(1, rate);
    fades.assign(blockSize, 0.0f);
  }
  void Reset() {
    bypassFade.Snap(knobs[kCrossfade].IsOn() && knobs[kBypass].Value() < 0.5f ? 1.0f : 0.0f);
    typeFade.Snap(1.0f);
    selected = Asked();
  }
  void Follow() {
    if (!knobs[kFade].IsOn()) selected = Asked();
  }
  template <typename ResetOne>
  void Update(bool changed, ResetOne&& reset) {
    const bool fading = knobs[kFade].IsOn();
    if (knobs[kFade].dirty && !fading) {
      typeFade.Snap(1.0f);
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
      bypassFade.Snap(0.0f);
    }
  }
  template <typename RunOne>
  void Run(const Buffer& in, Buffer& out, uint32_t count, RunOne&& run) {
    const bool moves = bypassFade.Moves();
    const bool bypassed = knobs[kBypass].IsOn() || moves;
    if (!bypassed || (knobs[kCrossfade].IsOn() && moves)) RunSelected(out, count, run);
    if (!bypassed) return;
    bypassFade.Render(fades, count);
    for (uint32_t i = 0; i < count; ++i) {
      const float f = fades[i];
      const bool silent = !moves && f == 0.0f, whole = !moves && f == 1.0f;
      if (whole) continue;
      if (knobs[kCopy].IsOn()) {
        out[i] = silent ? in[i] : std::fma(in[i], 1.0f - f, out[i] * f);
      } else {
        out[i] = silent ? 0.0f : out[i] * f;
      }
    }
  }
  template <typename RunOne>
  void RunSelected(Buffer& out, uint32_t count, RunOne&& run) {
    Follow();
    run(selected);
    if (knobs[kFade].IsOn() && typeFade.Moves()) {
      typeFade.Render(fades, count);
      for (uint32_t i = 0; i < count; ++i) out[i] *= fades[i];
    }
    if (!typeFade.Moves() && selected != Asked()) {
      selected = Asked();
      typeFade.target = 1.0f;
    }
  }

  Knobs knobs;
  Slew bypassFade{0.05f}, typeFade{0.025f};
  Buffer fades;
  uint32_t selected = 0;
};

inline Knobs SwitchKnobs(uint32_t alternatives) {
  return {Steps(alternatives), Steps(2), Steps(2), Steps(2), Steps(2)};
}

struct Disto : Effect {
  enum { kType, kDrive };
  Disto() {
    choice.knobs = SwitchKnobs(2);
    knobs = {Steps(4), Line(-14.0f, 36.0f)};
  }
  Effect& At(uint32_t which) { return which == 0 ? static_cast<Effect&>(folder) : shaper; }
  void ForwardDrive() {
    folder.knobs[Folder::kDrive].Turn(knobs[kDrive].Position());
    shaper.knobs[Shaper::kDrive].Turn(knobs[kDrive].Position());
  }
  void Configure() override {
    folder.Init(blockSize, rate);
    shaper.Init(blockSize, rate);
    choice.Configure(blockSize, rate);
    choice.Reset();
  }
  void Reset(bool hard) override {
    choice.Follow();
    At(choice.selected).Reset(hard);
    choice.Reset();
    changed = true;
    if (hard) SetDirty(knobs, true);
    if (hard) SetDirty(choice.knobs, true);
  }
  void Run(const Buffer& in, Buffer& out, uint32_t count) override {
    if (knobs[kType].dirty) {
      const float type = knobs[kType].Value();
      choice.knobs[Switch::kType].Put(type == 3.0f ? 0.0f : 1.0f);
      if (type != 3.0f) shaper.knobs[Shaper::kType].Put(type);
    }
    choice.Update(changed, [&](uint32_t which) { At(which).Reset(false); });
    choice.Run(in, out, count, [&](uint32_t which) { At(which).Process(in, out, count); });
    SetDirty(choice.knobs, false);
  }

  Folder folder;
  Shaper shaper;
  Switch choice;
};

/// One voice's stage effect on one side.
struct Clone {
  explicit Clone(uint32_t seed) : crusher(seed), shifter(seed ^ 0x9E3779B9u) {
    choice.knobs = SwitchKnobs(6);
  }
  Effect& At(uint32_t type) {
    const std::array<Effect*, 6> effects = {&copy, &bandPass, &comb, &crusher, &disto, &shifter};
    return *effects[type];
  }
  /// By the number within a bank.
  void Turn(uint32_t index, float position) {
    const std::array<std::pair<uint32_t, Knobs*>, 9> lists = {{{0, &copy.knobs},
                                                               {1, &bandPass.knobs},
                                                               {11, &comb.knobs},
                                                               {21, &crusher.knobs},
                                                               {37, &disto.folder.knobs},
                                                               {49, &disto.shaper.knobs},
                                                               {59, &disto.choice.knobs},
                                                               {64, &disto.knobs},
                                                               {66, &shifter.knobs}}};
    Knobs* list = &choice.knobs;
    uint32_t base = 71;
    for (const auto& [first, knobs] : lists) {
      if (index < first || index >= 71) continue;
      list = knobs;
      base = first;
    }
    (*list)[index - base].Turn(position);
    if (list == &disto.knobs && index - base == Disto::kDrive) disto.ForwardDrive();
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
  void Process(const Buffer& in, Buffer& out, uint32_t count) {
    choice.Update(changed, [&](uint32_t type) { At(type).Reset(false); });
    choice.Run(in, out, count, [&](uint32_t type) { At(type).Process(in, out, count); });
    changed = false;
    SetDirty(choice.knobs, false);
  }

  Copy copy;
  Filter bandPass{false}, comb{true};
  Crusher crusher;
  Disto disto;
  Shifter shifter;
  Switch choice;
  bool changed = true;
};

}  // namespace Vantora::test::model
