#include "engine/ModuleVariant.h"

#include <gtest/gtest.h>

#include "engine/IOSubset.h"
#include "tests/engine/SmallModules.h"
#include "tests/support/RealTimeGuard.h"

namespace Vantora::test {
namespace {

/// Two alternatives: one at level 1, one at level 0.5, each with one control port behind the pair.
class Choice : public engine::ModuleVariant<2, 2, Probe, Probe> {
 public:
  Choice()
      : ModuleVariant(
            "", [] { return Probe("One", 1.0f); }, [] { return Probe("Half", 0.5f); }) {}
};
static_assert(Choice::kInputCount == 4 && Choice::kParamCount == 9);

constexpr uint32_t kType = 4, kBypass = 5, kCopy = 6, kCrossfade = 7, kFade = 8;

class ModuleVariant : public testing::Test {
 protected:
  ModuleVariant() : block(4, 2, 48, 0.25f) {
    choice.Init(48, 48000.0f);
    Run();
  }
  void Run() { EXPECT_REAL_TIME(choice.Process(block.context)); }
  /// First and last sample of output 0 of the next block.
  std::pair<float, float> Next() {
    Run();
    return {block.Out(0)[0], block.Out(0)[47]};
  }

  Choice choice;
  Block block;
};

TEST_F(ModuleVariant, SwitchesAtOnceWithoutFadesAndTheNewOneStartsClean) {
  EXPECT_EQ(Next(), std::pair(1.0f, 1.0f));
  choice.SetParam(kType, 1.0f);
  choice.SetParam(kType, 0.0f);
  choice.SetParam(kType, 1.0f);  // the last value of a block counts
  const int resets = choice.Child<1>().resets;
  EXPECT_EQ(Next(), std::pair(0.5f, 0.5f));
  EXPECT_EQ(choice.Child<1>().resets, resets + 1);
  EXPECT_TRUE(choice.Child<1>().sawChanged);
  EXPECT_EQ(choice.Child<0>().blocks, 2) << "the other one costs nothing";
}

TEST_F(ModuleVariant, FadesOutSwitchesAtSilenceAndFadesIn) {
  choice.SetParam(kFade, 1.0f);
  choice.SetParam(kType, 1.0f);
  float previous = 1.0f;
  int blocks = 0;
  while (choice.Selected() == 0 && blocks < 100) {
    const auto [first, last] = Next();
    EXPECT_LT(first, previous + 1e-6f);
    previous = last;
    ++blocks;
  }
  EXPECT_NEAR(blocks, 25, 1) << "25 ms of 1 ms blocks";
  EXPECT_NEAR(previous, 0.0f, 1e-6f);
  for (int i = 0; i < 27; ++i) Run();
  EXPECT_EQ(Next(), std::pair(0.5f, 0.5f));
}

TEST_F(ModuleVariant, TurningFadesOffInTheMiddleTakesTheRequestOverAtOnce) {
  choice.SetParam(kFade, 1.0f);
  choice.SetParam(kType, 1.0f);
  Run();
  choice.SetParam(kFade, 0.0f);
  EXPECT_EQ(Next(), std::pair(0.5f, 0.5f));
}

TEST_F(ModuleVariant, BypassIsSilenceAtOnceOrTheInputAndDoesntRunTheModule) {
  choice.SetParam(kBypass, 1.0f);
  const int blocks = choice.Child<0>().blocks;
  EXPECT_EQ(Next(), std::pair(0.0f, 0.0f));
  choice.SetParam(kCopy, 1.0f);
  EXPECT_EQ(Next(), std::pair(0.25f, 0.25f));
  EXPECT_EQ(choice.Child<0>().blocks, blocks);
  const int resets = choice.Child<0>().resets;
  choice.SetParam(kBypass, 0.0f);
  EXPECT_EQ(Next(), std::pair(1.0f, 1.0f));
  EXPECT_EQ(choice.Child<0>().resets, resets + 1) << "waking up starts clean";
}

TEST_F(ModuleVariant, CrossfadedBypassRunsTheModuleForFiftyMillisecondsAndNotLonger) {
  choice.SetParam(kCrossfade, 1.0f);
  choice.ResetState(false);
  Run();
  choice.SetParam(kBypass, 1.0f);
  choice.SetParam(kCopy, 1.0f);
  const int before = choice.Child<0>().blocks;
  const auto [first, last] = Next();
  EXPECT_NEAR(first, 1.0f - 0.75f / 2400.0f, 1e-4f);
  EXPECT_LT(last, first);
  for (int i = 0; i < 60; ++i) Run();
  EXPECT_NEAR(choice.Child<0>().blocks - before, 50, 1);
  EXPECT_EQ(Next(), std::pair(0.25f, 0.25f));
}

TEST_F(ModuleVariant, GivesEachAlternativeItsSliceOfControlPorts) {
  block.In(2)[-1] = dsp::kLiveMark;
  block.In(2)[0] = 0.1f;
  block.In(3)[-1] = dsp::kLiveMark;
  block.In(3)[0] = 0.2f;
  Run();
  EXPECT_EQ(choice.Child<0>().control, 0.1f);
  choice.SetParam(kType, 1.0f);
  Run();
  EXPECT_EQ(choice.Child<1>().control, 0.2f);
  EXPECT_EQ(choice.Child<1>().inputCount, 3u);
  Block missing(3, 2, 48);
  EXPECT_EQ(choice.DoProcess(missing.context), 0u);
}

TEST_F(ModuleVariant, AResetReachesTheSelectedAlternativeOnly) {
  const int other = choice.Child<1>().resets;
  const int selected = choice.Child<0>().resets;
  choice.ResetState(true);
  EXPECT_EQ(choice.Child<0>().resets, selected + 1);
  EXPECT_EQ(choice.Child<1>().resets, other);
}

TEST(IOSubset, ShowsTheInnerModuleItsOwnCountsWithNullOnWhatIsHidden) {
  engine::IOSubset<Probe, 2, 1> narrow("N");
  narrow.Init(48, 48000.0f);
  Block block(2, 1, 8);
  EXPECT_EQ(narrow.Process(block.context), 1u);
  EXPECT_EQ(narrow.inputCount, 3u);
  EXPECT_EQ(narrow.outputCount, 2u);
  EXPECT_EQ(block.Out(0)[0], 1.0f);
  Block wide(3, 1, 8);
  EXPECT_EQ(narrow.Process(wide.context), 0u) << "the exposed counts are the limit";
}

}  // namespace
}  // namespace Vantora::test
