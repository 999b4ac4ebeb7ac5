#pragma once

#include <utility>

#include "basictools/math/VectorExpLog.h"
#include "basictools/math/VectorSine.h"
#include "dsp/effects/CompensationTables.h"
#include "dsp/effects/ShapingCurves.h"
#include "tests/processor/model/Effects.h"

namespace Vantora::test::model {

/// What both distortions share: drive, output gain and level compensation.
struct Distortion : Effect {
  void Configure() override {
    for (Ramp* ramp : {&drive, &outputGain, &wet}) ramp->Setup(blockSize, rate);
    drives.assign(blockSize, 0.0f);
    gains = wets = drives;
  }
  void Clear() override { snaps = true; }
  void Render(float driveDb, float gain, float wetness, uint32_t count) {
    const std::pair<Ramp*, float> aims[] = {{&drive, driveDb}, {&outputGain, gain}, {&wet, wetness}};
    for (const auto& [ramp, aim] : aims) {
      if (changed) ramp->Snap(aim);
      ramp->Aim(aim);
    }
    drive.Render(drives, count);
    outputGain.Render(gains, count);
    wet.Render(wets, count);
  }
  /// The ramp of the compensation: its start and its step.
  std::array<float, 2> Compensate(const dsp::CompensationTable& table, bool on, uint32_t count) {
    const float gain = on ? Gain(dsp::LookUpCompensation(table, drives[count - 1])) : 1.0f;
    const float from = !on || snaps || changed ? gain : last;
    snaps = false;
    last = gain;
    return {from, (gain - from) / static_cast<float>(count)};
  }
  static float DriveGain(float dB) { return ExpFloat4(MakeFloat4(dB * 0.115129255f))[0]; }

  Ramp drive{0.01f}, outputGain{0.01f}, wet{0.01f};
  Buffer drives, gains, wets;
  float last = 1.0f;
  bool snaps = true;
};

struct Folder : Distortion {
  enum { kType, kWet, kDrive, kGain, kAutoComp = 8, kStagingIn = 10, kStagingOut };
  Folder() {
    knobs = {Plain(),
             With(Plain(), 1.0f),
             Line(-14.0f, 36.0f),
             With(Line(-24.0f, 24.0f), 0.0f),
             Plain(),
             Steps(2),
             Steps(2),
             Steps(2),
             With(Steps(2), 1.0f),
             Steps(2),
             With(Line(-24.0f, 24.0f), 0.0f),
             With(Line(-24.0f, 24.0f), 0.0f)};
  }
  void Run(const Buffer& in, Buffer& out, uint32_t count) override {
    Render(knobs[kDrive].Value() + knobs[kStagingIn].Value(),
           Gain(knobs[kGain].Value() + knobs[kStagingOut].Value()), knobs[kWet].Value(), count);
    const bool triangle = knobs[kType].Value() >= 0.5f;
    const auto ramp = Compensate(triangle ? dsp::kTriangleFoldCompensation : dsp::kSineFoldCompensation,
                                 knobs[kAutoComp].IsOn(), count);
    for (uint32_t i = 0; i < count; ++i) {
      const float g = DriveGain(drives[i]), r = PowFloat4(MakeFloat4(g), 0.25f)[0];
      const float x = in[i] * g * r;
      float y = 0.0f;
      if (triangle) {
        const float u = std::floor(0.5f * x + 0.5f);
        y = std::fmod(u, 2.0f) != 0.0f ? 2.0f * u - x : x - 2.0f * u;
      } else {
        const float angle = x * 1.5707964f;
        y = std::fabs(x) <= 4096.0f ? SineFloat4(MakeFloat4(angle))[0] : std::sin(angle);
      }
      const float compensation = ramp[0] + ramp[1] * static_cast<float>(i + 1);
      out[i] = in[i] - in[i] * wets[i] + wets[i] * gains[i] * (1.0f / r) * compensation * y;
    }
  }
};

struct Shaper : Distortion {
  enum { kType = 1, kDrive, kGain, kAutoComp, kStagingIn = 6, kStagingOut };
  Shaper() {
    knobs = {Steps(2),
             Steps(3),
             Line(-14.0f, 36.0f),
             With(Line(-24.0f, 24.0f), 0.0f),
             With(Steps(2), 1.0f),
             Steps(2),
             With(Line(-24.0f, 24.0f), 0.0f),
             With(Line(-24.0f, 24.0f), 0.0f),
             Steps(2),
             Steps(2)};
  }
  void Clear() override {
    Distortion::Clear();
    outputGain.Snap(OutputGain());
  }
  float OutputGain() { return Gain(knobs[kGain].Value() + knobs[kStagingOut].Value()); }
  void Run(const Buffer& in, Buffer& out, uint32_t count) override {
    Render(knobs[kDrive].Value() + knobs[kStagingIn].Value(), OutputGain(), 1.0f, count);
    constexpr std::array<uint32_t, 3> kAlgorithms = {3, 4, 14};
    const uint32_t algorithm = kAlgorithms[static_cast<uint32_t>(knobs[kType].Value())];
    const auto ramp = Compensate(dsp::kShaperCompensation[algorithm], knobs[kAutoComp].IsOn(), count);
    dsp::VisitShapingCurve(algorithm, [&](auto curve) {
      for (uint32_t i = 0; i < count; ++i) {
        const Float4 y = decltype(curve)::template Curve<Float4>(MakeFloat4(in[i] * DriveGain(drives[i])));
        out[i] = y[0] * (ramp[0] + ramp[1] * static_cast<float>(i + 1)) * gains[i];
      }
    });
  }
};

}  // namespace Vantora::test::model
