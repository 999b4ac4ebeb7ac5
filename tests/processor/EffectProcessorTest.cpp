#include "processor/EffectProcessor.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/engine/SmallModules.h"
#include "tests/support/RealTimeGuard.h"

namespace Vantora::test {
namespace {

using namespace Processor;

/// A frame whose wet path is a constant.
class Constant : public EffectProcessor<64, 8, Probe> {
 public:
  Constant() : EffectProcessor("", [] { return Probe("P"); }) {
    SetParamInternal(kOwnBase + kOutputGain, 0.0f);
  }
  void ConfigureProduct(uint32_t, float) override {}
  void ResetProduct(bool hard) override {
    ++productResets;
    hardReset = hard;
  }
  uint32_t ProcessWet(ProcessContext& context, ChannelMode mode) override {
    lastMode = mode;
    ++wetBlocks;
    for (uint32_t c = 0; c < 2; ++c) std::fill_n(context.outputs[c], context.sampleCount, 1.0f);
    return 1;
  }
  bool UpdateProduct(ProcessContext&) override { return true; }
  void OnPanic() override { ++panics; }
  void OnPresetLoading(bool loading) override { loads.push_back(loading); }
  uint32_t GetBypassDelay(float) override { return bypassDelay; }

  int productResets = 0, wetBlocks = 0, panics = 0;
  bool hardReset = false;
  ChannelMode lastMode = kMono;
  std::vector<bool> loads;
  uint32_t bypassDelay = 0;
};

constexpr uint32_t kBypassIndex = 2, kPanicIndex = 3, kLoadingIndex = 4, kGainIndex = 6;

class Frame : public testing::Test {
 protected:
  Frame() : block(2, 2, 48, 0.25f) { effect.Init(48, 48000.0f); }
  void Run(Block& b) { EXPECT_REAL_TIME(effect.Process(b.context)); }
  void Run() { Run(block); }

  Constant effect;
  Block block;
};

TEST_F(Frame, BypassMovesAlongAStraightLineInTenMillisecondsAndThenIsTheInput) {
  Run();
  EXPECT_EQ(block.Out(0)[0], 1.0f) << "0 dB is a gain of exactly 1";
  effect.SetParam(kBypassIndex, 1.0f);
  for (int b = 0; b < 10; ++b) {
    Run();
    for (int i = 0; i < 48; ++i) {
      const float x = static_cast<float>(b * 48 + i + 1) / 480.0f;
      EXPECT_NEAR(block.Out(1)[i], 1.0f - 0.75f * x, 2e-4f);
    }
  }
  Run();
  Run();
  for (int i = 0; i < 48; ++i) EXPECT_EQ(block.Out(0)[i], 0.25f);
  EXPECT_EQ(effect.wetBlocks, 13) << "the wet path runs while bypassed";
  effect.SetParam(kBypassIndex, 0.0f);
  effect.ResetState(false);
  Run();
  EXPECT_EQ(block.Out(0)[0], 1.0f) << "no fade after a reset";
}

TEST_F(Frame, KnowsItsChannels) {
  Block toStereo(1, 2, 48, 0.25f);
  Run(toStereo);
  EXPECT_EQ(effect.lastMode, kMonoToStereo);
  effect.SetParam(kBypassIndex, 1.0f);
  effect.ResetState(false);
  Run(toStereo);
  EXPECT_EQ(toStereo.Out(1)[47], 0.25f) << "the one input feeds both";
  Block mono(2, 1, 48, 0.25f);
  Run(mono);
  EXPECT_EQ(effect.lastMode, kMono);
  Block none(0, 2, 48);
  EXPECT_EQ(effect.Process(none.context), 0u);
  EXPECT_EQ(none.Out(0)[0], -9.0f) << "without an input nothing is written";
}

TEST_F(Frame, OutputGainGlidesAndLeavesTheDrySignalAlone) {
  Run();
  effect.SetParam(kGainIndex, 1.0f);  // 12 dB
  Run();
  EXPECT_GT(block.Out(0)[47], block.Out(0)[0]);
  for (int i = 0; i < 1000; ++i) Run();
  EXPECT_EQ(block.Out(0)[0], std::exp2(12.0f * 0.1660964f)) << "ends exactly on its target";
  effect.SetParam(kBypassIndex, 1.0f);
  effect.ResetState(false);
  Run();
  EXPECT_EQ(block.Out(0)[0], 0.25f);
}

TEST_F(Frame, PanicAndPresetLoadingReset) {
  effect.SetParam(kPanicIndex, 0.49f);
  EXPECT_EQ(effect.productResets, 1);
  effect.SetParam(kPanicIndex, 0.5f);
  effect.SetParam(kPanicIndex, 0.5f);
  EXPECT_EQ(effect.productResets, 3);
  EXPECT_TRUE(effect.hardReset);
  EXPECT_EQ(effect.panics, 2);
  effect.SetParam(kLoadingIndex, 1.0f);
  EXPECT_EQ(effect.presetLoading, 1);
  EXPECT_EQ(effect.productResets, 3);
  effect.SetParam(kLoadingIndex, 0.2f);
  EXPECT_EQ(effect.productResets, 4);
  EXPECT_FALSE(effect.hardReset);
  EXPECT_EQ(effect.presetLoaded, 1);
  EXPECT_EQ(effect.loads, (std::vector<bool>{true, false}));
  Constant fresh;
  fresh.SetParam(kPanicIndex, 1.0f);
  fresh.SetParam(kLoadingIndex, 0.0f);  // both before Init
}

TEST_F(Frame, DryPathCanBeLate) {
  effect.bypassDelay = 5;
  effect.SetParam(kBypassIndex, 1.0f);
  effect.ResetState(false);
  Run();
  EXPECT_EQ(block.Out(0)[4], 0.0f) << "what stood in the line before a reset is not heard";
  EXPECT_EQ(block.Out(0)[5], 0.25f);
}

TEST_F(Frame, TailsOfOneToThreeSamplesAreNeitherScaledNorFaded) {
  Block odd(2, 2, 46, 0.25f);
  effect.SetParam(kGainIndex, 0.0f);
  effect.ResetState(false);
  Run(odd);
  EXPECT_LT(odd.Out(0)[43], 0.3f);
  EXPECT_EQ(odd.Out(0)[44], 1.0f) << "copied, not multiplied";
  Block empty(2, 2, 0);
  Run(empty);
}

}  // namespace
}  // namespace Vantora::test
