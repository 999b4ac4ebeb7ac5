#include "engine/Module.h"

#include <gtest/gtest.h>

#include "engine/ModuleCloner.h"
#include "engine/ModuleContainer.h"
#include "engine/PassThrough.h"
#include "tests/engine/SmallModules.h"
#include "tests/support/RealTimeGuard.h"

namespace Vantora::test {
namespace {

using dsp::BlockConfig;
using dsp::NameBuilder;
using dsp::ParamRecord;
using dsp::ProcessContext;

TEST(UnitModule, ASkippedBlockKeepsFlagsAndChangedMark) {
  Probe probe("P");
  probe.Init(48, 48000.0f);
  Block tooMany(4, 2, 8);
  EXPECT_EQ(probe.Process(tooMany.context), 0u);
  EXPECT_EQ(probe.updates, 1) << "parameters are read before the ports are counted";
  EXPECT_EQ(probe.blocks, 0);
  Block fits(2, 2, 8);
  probe.runs = false;
  EXPECT_EQ(probe.Process(fits.context), 0u);
  probe.runs = true;
  EXPECT_EQ(probe.Process(fits.context), 1u);
  EXPECT_TRUE(probe.sawDirtyA && probe.sawChanged);
  EXPECT_EQ(probe.Process(fits.context), 1u);
  EXPECT_FALSE(probe.sawDirtyA || probe.sawChanged);
}

TEST(UnitModule, AnEqualValueRaisesNoFlagAndOnlyTheLastOfABlockCounts) {
  Probe probe("P");
  probe.Init(48, 48000.0f);
  Block block(2, 2, 8);
  probe.Process(block.context);
  probe.SetParam(0, 0.0f);
  probe.Process(block.context);
  EXPECT_FALSE(probe.sawDirtyA);
  probe.SetParam(0, 0.25f);
  probe.SetParam(0, 0.0f);
  probe.Process(block.context);
  EXPECT_TRUE(probe.sawDirtyA) << "with the flag up nothing is compared";
  EXPECT_EQ(probe.GetParam(0), 0.0f);
  probe.ResetState(false);
  probe.Process(block.context);
  EXPECT_FALSE(probe.sawDirtyA);
  probe.ResetState(true);
  probe.Process(block.context);
  EXPECT_TRUE(probe.sawDirtyA);
}

TEST(UnitModule, FitsAKnobToItsParent) {
  Probe probe("P");
  probe.SetParam(0, 0.5f);
  probe.ReDeclareParam(0, MappingTools::Reverse, false, 1.0f, 3.0f);
  EXPECT_EQ(probe.Param(0).GetName(), "A");
  EXPECT_EQ(probe.Param(0).GetValue(), 1.0f);
  EXPECT_EQ(probe.GetParam(0), 0.0f);
  probe.SetParamInternal(0, 3.0f);
  EXPECT_EQ(probe.GetParam(0), 0.0f) << "through the inverse curve";
}

TEST(PassThrough, CopiesPortZeroOnly) {
  dsp::PassThrough wire("");
  wire.Init(48, 48000.0f);
  Block block(2, 2, 6, 0.5f);
  EXPECT_REAL_TIME(wire.Process(block.context));
  EXPECT_EQ(block.Out(0)[5], 0.5f);
  EXPECT_EQ(block.Out(1)[0], -9.0f);
  EXPECT_EQ(NameOf(wire, 0), "BypassUselessParam");
}

TEST(NameBuilder, CutsWhereTheBufferEndsAndSaysSo) {
  char text[8];
  NameBuilder builder(text, sizeof(text));
  builder.AppendPrefix("");
  builder.AppendPrefix("LFO");
  builder.Append("Rate");
  EXPECT_STREQ(text, "LFO_Rat");
  EXPECT_EQ(builder.length, 7u);
  EXPECT_EQ(builder.needed, 8u);
}

/// Two probes of two parameters each and an own list of three; the first own one drives A of both.
class Pair : public dsp::ModuleContainer<Probe, Probe> {
 public:
  explicit Pair(std::string text)
      : ModuleContainer(
            std::move(text), 2, 2, Records(), [] { return Probe("First"); }, [] { return Probe(""); }) {
    Forward(0, {0, 2});
  }
  static std::vector<ParamRecord> Records() {
    std::vector<ParamRecord> records;
    records.emplace_back("Drive", MappingTools::Linear, false, -10.0f, 10.0f);
    records.emplace_back("Own1");
    records.emplace_back("Own2");
    return records;
  }
  void Configure(uint32_t maxBlockSize, float) override { ownBlock = maxBlockSize; }
  void DoReset(bool) override { ++ownResets; }
  bool UpdateParams(ProcessContext&) override { return true; }
  uint32_t DoProcess(ProcessContext& context) override { return Child<0>().Process(context); }
  BlockConfig AdjustConfig(uint32_t maxBlockSize, float sampleRate) override {
    return {2 * maxBlockSize, 2.0f * sampleRate};
  }
  bool OwnDirty(uint32_t position) const { return IsOwnDirty(position); }

  uint32_t ownBlock = 0;
  int ownResets = 0;
};
static_assert(Pair::kOwnBase == 4 && Pair::kChildBases[1] == 2);

TEST(ModuleContainer, RoutesEveryIndexToItsOwner) {
  Pair pair("Pair");
  for (uint32_t i = 0; i < 7; ++i) EXPECT_TRUE(pair.SetParam(i, 0.1f * static_cast<float>(i + 1)));
  // Own parameter 0 came last and drove A of both children.
  EXPECT_EQ(pair.Child<0>().GetParam(0), 0.1f * 5.0f);
  EXPECT_EQ(pair.Child<0>().GetParam(1), 0.1f * 2.0f);
  EXPECT_EQ(pair.Child<1>().GetParam(0), 0.1f * 5.0f);
  EXPECT_EQ(pair.Child<1>().GetParam(1), 0.1f * 4.0f);
  EXPECT_EQ(pair.GetParam(6), 0.1f * 7.0f);
  EXPECT_TRUE(pair.SetParam(7, 0.5f)) << "beyond everything: ignored";
  EXPECT_EQ(NameOf(pair, 0), "Pair_First_A");
  EXPECT_EQ(NameOf(pair, 3), "Pair_B");
  EXPECT_EQ(NameOf(pair, 4), "Pair_Drive");
  EXPECT_EQ(NameOf(pair, 7), "");
  EXPECT_EQ(NameOf(*std::make_unique<Pair>(""), 5), "Own1");
}

TEST(ModuleContainer, ForwardsPositionsAlsoOfInternalAndOfEqualWrites) {
  Pair pair("");
  pair.SetParamInternal(4, 5.0f);  // -10..10
  EXPECT_EQ(pair.Child<0>().GetParam(0), 0.75f);
  pair.Child<0>().SetParam(0, 0.0f);
  pair.SetParam(4, 0.75f);
  EXPECT_EQ(pair.Child<0>().GetParam(0), 0.75f);
  EXPECT_REAL_TIME(pair.SetParam(4, 0.5f));
}

TEST(ModuleContainer, ConfiguresChildrenForTheAdjustedPairAndKeepsTheirFlagsTheirs) {
  Pair pair("");
  pair.Init(48, 48000.0f);
  EXPECT_EQ(pair.Child<0>().configuredBlock, 96u);
  EXPECT_EQ(pair.Child<1>().configuredRate, 96000.0f);
  EXPECT_EQ(pair.ownBlock, 48u);
  EXPECT_TRUE(pair.OwnDirty(2));
  pair.SetDirty(false);
  EXPECT_FALSE(pair.OwnDirty(2));
  Block block(2, 2, 8);
  pair.Process(block.context);
  EXPECT_TRUE(pair.Child<0>().sawDirtyA) << "a child's flags outlive the container's";
  pair.ResetState(false);
  EXPECT_EQ(pair.Child<1>().resets, 2);
  EXPECT_EQ(pair.ownResets, 2);
  EXPECT_FALSE(pair.OwnDirty(0));
  pair.Shutdown();
  EXPECT_EQ(pair.Child<1>().shutdowns, 1);
}

TEST(ModuleContainer, IsOneContiguousObject) {
  Pair pair("");
  const auto* begin = reinterpret_cast<const char*>(&pair);
  const auto* second = reinterpret_cast<const char*>(&pair.Child<1>());
  EXPECT_TRUE(second > reinterpret_cast<const char*>(&pair.Child<0>()) && second < begin + sizeof(Pair));
}

using Bank = engine::ModuleCloner<Probe, 3, engine::ClonerMode{0}, 0>;

Bank MakeBank() {
  return Bank("Bank", {1, 2}, [](uint32_t i) { return Probe("FX", static_cast<float>(i)); });
}

TEST(ModuleCloner, GivesEveryCloneTheValueAndLetsTheParentOverrideOne) {
  Bank bank = MakeBank();
  EXPECT_TRUE(bank.SetParam(1, 0.5f));
  bank.Clone(2).SetParamInternal(1, 0.9f);
  EXPECT_EQ(bank.Clone(0).GetParam(1), 0.5f);
  EXPECT_EQ(bank.Clone(2).GetParam(1), 0.9f);
  EXPECT_EQ(bank.GetParam(1), 0.5f) << "the mirror never shows an override";
  EXPECT_FALSE(bank.SetParam(2, 0.5f));
  EXPECT_FALSE(bank.SetParamInternal(2, 0.5f));
  EXPECT_TRUE(bank.SetParamInternal(0, 0.25f));
  EXPECT_EQ(bank.Clone(1).GetParam(0), 0.25f);
  EXPECT_EQ(NameOf(bank, 1), "Bank_FX_B");
}

TEST(ModuleCloner, RunsEachCloneOnItsSliceAndReportsASkippedOne) {
  Bank bank = MakeBank();
  bank.Init(48, 48000.0f);
  Block wrong(8, 6, 8);
  EXPECT_EQ(bank.DoProcess(wrong.context), 0u);
  EXPECT_EQ(bank.Clone(0).updates, 0);
  Block block(9, 6, 8);
  EXPECT_REAL_TIME(EXPECT_EQ(bank.Process(block.context), 1u));
  for (uint32_t i = 0; i < 3; ++i) EXPECT_EQ(block.Out(2 * i + 1)[7], static_cast<float>(i));
  bank.Clone(1).runs = false;
  EXPECT_EQ(bank.Process(block.context), 0u);
  EXPECT_EQ(bank.Clone(2).blocks, 2) << "a skipped clone doesn't stop the others";
}

}  // namespace
}  // namespace Vantora::test
