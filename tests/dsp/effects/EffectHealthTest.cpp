// What every stage effect owes a host: finite output, no
// cost for silence, no stale state, nothing that blocks.

#include <gtest/gtest.h>

#include <ctime>
#include <functional>
#include <memory>

#include "basictools/FlushDenormals.h"
#include "dsp/effects/BitCrusher.h"
#include "dsp/effects/MultiDist.h"
#include "dsp/effects/MultiModeFilter.h"
#include "dsp/effects/PitchShifter.h"
#include "dsp/effects/Wavefolder.h"
#include "tests/support/ModuleRig.h"
#include "tests/support/RealTimeGuard.h"

namespace Vantora::dsp {
namespace {

using namespace test;

struct Effect {
  const char* name;
  uint32_t inputs;
  uint32_t outputs;
  std::function<std::unique_ptr<UnitModule>()> make;
};

void PrintTo(const Effect& effect, std::ostream* out) { *out << effect.name; }

std::unique_ptr<UnitModule> MakeFilter(uint32_t mode) {
  auto filter = std::make_unique<MultiModeFilter>("");
  filter->SetAllowedModes({mode});
  filter->SetParam(MultiModeFilter::kFreq, 0.5f);
  filter->SetParam(MultiModeFilter::kQ, 0.8f);
  return filter;
}

std::unique_ptr<UnitModule> MakeCrusher() {
  auto crusher = std::make_unique<BitCrusher>("", 1u);
  for (const uint32_t index : {BitCrusher::kWet, BitCrusher::kConfAliasing, BitCrusher::kConfScale}) {
    crusher->SetParam(index, 1.0f);
  }
  crusher->SetParam(BitCrusher::kScale, 0.3f);
  crusher->SetParam(BitCrusher::kMode, 1.0f);
  return crusher;
}

std::unique_ptr<UnitModule> MakeShifter() {
  auto shifter = std::make_unique<PitchShifter>("");
  shifter->SetParamInternal(PitchShifter::kPitchShift, 7.0f);
  shifter->SetParam(PitchShifter::kSpray, 0.2f);
  return shifter;
}

/// Anti-aliased, at twice the rate, compensated: everything that keeps a state.
std::unique_ptr<UnitModule> MakeFolder() {
  auto folder = std::make_unique<Wavefolder>("");
  for (const uint32_t index : {Wavefolder::kType, Wavefolder::kWet, Wavefolder::kUpsmp, Wavefolder::kAntiAl,
                               Wavefolder::kAutoComp}) {
    folder->SetParam(index, 1.0f);
  }
  folder->SetParamInternal(Wavefolder::kDrive, 12.0f);
  return folder;
}

std::unique_ptr<UnitModule> MakeShaper() {
  auto shaper = std::make_unique<MultiDist>("");
  for (const uint32_t index : {MultiDist::kUpsamp, MultiDist::kAntiAl}) shaper->SetParam(index, 1.0f);
  shaper->SetParamInternal(MultiDist::kDistType, 4.0f);
  return shaper;
}

class EveryEffect : public testing::TestWithParam<Effect> {};

INSTANTIATE_TEST_SUITE_P(Effects, EveryEffect,
                         testing::Values(Effect{"FirstOrder", 7, 2, [] { return MakeFilter(8); }},
                                         Effect{"LowPass", 7, 2, [] { return MakeFilter(2); }},
                                         Effect{"BandPass", 7, 2, [] { return MakeFilter(11); }},
                                         Effect{"Bell", 7, 2, [] { return MakeFilter(17); }},
                                         Effect{"Comb", 7, 2, [] { return MakeFilter(18); }},
                                         Effect{"Crusher", 10, 4, MakeCrusher},
                                         Effect{"Folder", 6, 4, MakeFolder},
                                         Effect{"Shaper", 5, 4, MakeShaper},
                                         Effect{"Shifter", 5, 2, MakeShifter}),
                         [](const auto& instance) { return instance.param.name; });

bool AllFinite(const Samples& x) {
  return std::all_of(x.begin(), x.end(), [](float y) { return std::isfinite(y); });
}

TEST_P(EveryEffect, StaysFiniteForAnyInputAndParameter) {
  std::minstd_rand draw(20231);
  std::uniform_real_distribution<float> position(0.0f, 1.0f);
  const auto subject = GetParam().make();
  ModuleRig rig(*subject, GetParam().inputs, GetParam().outputs);
  for (uint32_t round = 0; round < 400; ++round) {
    subject->SetParam(static_cast<uint32_t>(draw() % subject->GetParamCount()), position(draw));
    const auto port = 2 + static_cast<uint32_t>(draw() % (GetParam().inputs - 2));
    if (round % 3 == 0) rig.MakeLive(port, 2.0f * position(draw) - 1.0f);
    if (round % 3 == 1) rig.inputs[port] = nullptr;
    if (round % 40 == 39) subject->ResetState(position(draw) > 0.5f);
    const Samples x = Noise(48 * (1 + draw() % 20) + 4 * (draw() % 12), round + 1,
                            std::exp2(40.0f * position(draw) - 20.0f));
    ASSERT_TRUE(AllFinite(rig.Run(x))) << "round " << round;
    ASSERT_TRUE(AllFinite(rig.Run(x, 1))) << "round " << round;
  }
}

TEST_P(EveryEffect, IsBackAfterOneResetFromWhatIsNoNumber) {
  for (const float poison : {std::nanf(""), INFINITY, -INFINITY, 3e38f}) {
    const auto subject = GetParam().make();
    ModuleRig rig(*subject, GetParam().inputs, GetParam().outputs);
    Samples x = Noise(4800, 1);
    x[100] = poison;
    rig.Run(x);
    subject->ResetState(poison > 0.0f);  // hard or soft
    const Samples y = rig.Run(Noise(48000, 2));
    EXPECT_TRUE(AllFinite(y)) << poison;
    EXPECT_GT(Rms(y), 1e-4) << poison;
  }
}

TEST_P(EveryEffect, ProcessesWithoutAllocationLockOrSystemCall) {
  const auto subject = GetParam().make();
  ModuleRig rig(*subject, GetParam().inputs, GetParam().outputs);
  const Samples x = Noise(48, 3);
  std::copy(x.begin(), x.end(), rig.inputs[0]);
  rig.Process(48);  // touches what a first block touches
  EXPECT_REAL_TIME({
    for (uint32_t i = 0; i < subject->GetParamCount(); ++i) subject->SetParam(i, 0.37f);
    rig.Process(48);
    subject->ResetState(true);
    rig.Process(48);
  });
}

TEST_P(EveryEffect, SilenceAfterSignalCostsNoMoreThanTheSignal) {
  const FlushDenormals guard;  // as in the audio call
  const auto subject = GetParam().make();
  ModuleRig rig(*subject, GetParam().inputs, GetParam().outputs);
  // Ten milliseconds of sound in turns, each as fast as it ever was: that is what the work takes, however
  // often the machine did something else meanwhile. Processor time, which stands still while others have
  // their turn.
  constexpr uint32_t kPiece = 480;
  const Samples noise = Noise(kPiece, 4), nothing(kPiece, 0.0f);
  const auto secondsFor = [&](const Samples& x) {
    const auto now = [] {
      timespec time{};
      clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
      return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
    };
    const double start = now();
    rig.Run(x);
    return now() - start;
  };
  double signal = 1e9, silence = 1e9;
  for (int turn = 0; turn < 8; ++turn) {
    for (int i = 0; i < 25; ++i) signal = std::min(signal, secondsFor(noise));
    // The sound before it fades for as long; what follows is silence through and through.
    for (int i = 0; i < 250; ++i) secondsFor(nothing);
    for (int i = 0; i < 25; ++i) silence = std::min(silence, secondsFor(nothing));
  }
  EXPECT_LT(silence, signal * 2.0);
}

TEST_P(EveryEffect, MissingPortsAndEmptyBlocksAreLeftAlone) {
  const auto make = [] {
    auto effect = GetParam().make();
    const uint32_t inputs = GetParam().inputs;
    const uint32_t stereo = inputs == BitCrusher::kInputCount   ? BitCrusher::kStereo
                            : inputs == Wavefolder::kInputCount ? Wavefolder::kStereo
                                                                : 0u;
    effect->SetParam(stereo, 1.0f);
    return effect;
  };
  const Samples x = Noise(48, 5);
  const auto whole = make();
  const Samples expected = ModuleRig(*whole, GetParam().inputs, GetParam().outputs).Run(x);

  const auto subject = make();
  ModuleRig rig(*subject, GetParam().inputs, GetParam().outputs);
  rig.inputs[1] = nullptr;
  rig.outputs[1] = nullptr;
  const float untouched = rig.outputs[0][0];
  rig.Process(0);
  EXPECT_EQ(rig.outputs[0][0], untouched);
  EXPECT_TRUE(subject->IsChanged());  // an empty block doesn't use up the mark
  std::copy_n(x.begin(), 48, rig.inputs[0]);
  rig.Process(48);
  EXPECT_EQ(Samples(rig.outputs[0], rig.outputs[0] + 48), expected);
  rig.inputs[0] = nullptr;
  rig.Process(48);
  rig.outputs[0] = nullptr;
  rig.Process(48);
}

}  // namespace
}  // namespace Vantora::dsp
