#include "host/Automation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "host/HostError.h"
#include "host/ParameterTable.h"
#include "host/files/AutomationFile.h"
#include "host/files/TempoMapFile.h"
#include "tests/host/FakeLibrary.h"

namespace Vantora::host {
namespace {

using testing::HasSubstr;

constexpr uint32_t kBlock = 48;  // of the fake at 48 kHz: 1 ms
const uint32_t kWet = 155, kFxType = 169;

Automation Read(const std::string& text, TimeUnit unit = TimeUnit::kSeconds, bool ramps = false) {
  std::istringstream stream(text);
  return ReadAutomation(stream, "moves.csv", unit, ramps);
}

class AutomationTest : public testing::Test {
 protected:
  AutomationTest() : processor(fake.library) { processor.Init(48000.0f); }

  /// Runs `blocks` blocks and returns the writes as (block, index, value).
  using Write = std::tuple<uint64_t, uint32_t, float>;
  std::vector<Write> Run(const Automation& automation, const TempoMap& tempo, int blocks,
                         uint64_t start = 0) {
    *fake.record = {};
    AutomationPlayer player(automation, tempo, 48000.0, start);
    FileCollector collector(processor);
    collector.SetListener(&player);
    collector.Feed(nullptr, static_cast<size_t>(blocks) * kBlock, [](const float* const*, uint32_t) {});
    std::vector<Write> writes;
    for (const auto& write : fake.record->writes) writes.emplace_back(write.block, write.index, write.value);
    return writes;
  }

  FakeLibrary fake;
  HostedProcessor processor;
};

TEST_F(AutomationTest, StepsComeAtTheBlockThatHoldsTheirTime) {
  // 3 ms lies on a border and belongs to block 3, 2.999 ms to block 2; the order of rows is free.
  const auto automation =
      Read("seconds,parameter,value\n0.003,FXType,comb\n0.002999,Wet,0.25\n\n0,\"Wet\",70%\n");
  EXPECT_THAT(Run(automation, TempoMap(), 5),
              testing::ElementsAre(Write(0, kWet, 0.7f), Write(2, kWet, 0.25f), Write(3, kFxType, 0.4f)));
}

TEST_F(AutomationTest, FramesAndBeatsGiveTheSameMovesAsSeconds) {
  const TempoMap tempo(6000.0 / 10.0);  // 600 beats a minute: 100 ms a beat
  const auto expected = Run(Read("0.004,Wet,0.25\n0.1,Wet,1\n"), tempo, 120);
  EXPECT_EQ(Run(Read("frames,parameter,value\n192,Wet,0.25\n4800,Wet,1\n"), tempo, 120), expected);
  EXPECT_EQ(Run(Read("0.04,Wet,0.25\n1,Wet,1\n", TimeUnit::kBeats), tempo, 120), expected);
}

TEST_F(AutomationTest, RampsRunStraightFromPointToPointAndEnumerationsJump) {
  const auto automation =
      Read("0.002,Wet,0\n0.002,FXType,off\n0.006,Wet,1\n0.006,FXType,harmonizer\n", TimeUnit::kSeconds, true);
  EXPECT_THAT(Run(automation, TempoMap(), 10),
              testing::ElementsAre(Write(2, kWet, 0.0f), Write(2, kFxType, 0.0f), Write(3, kWet, 0.25f),
                                   Write(4, kWet, 0.5f), Write(5, kWet, 0.75f), Write(6, kWet, 1.0f),
                                   Write(6, kFxType, 1.0f)));
  // A row's own word wins over the default.
  EXPECT_THAT(Run(Read("0,Wet,0\n0.002,Wet,1,ramp\n0.004,Wet,0,step\n"), TempoMap(), 6),
              testing::ElementsAre(Write(0, kWet, 0.0f), Write(1, kWet, 0.5f), Write(2, kWet, 1.0f),
                                   Write(4, kWet, 0.0f)));
}

TEST_F(AutomationTest, MovesBuiltInCodeAreTheSameAsTheFiles) {
  const Automation built(TimeUnit::kSeconds, {{kWet, {{0.004, 1.0f, true}, {0.0, 0.0f, false}}},
                                              {kFxType, {{0.0, 0.0f, false}, {0.004, 1.0f, true}}}});
  const auto file = Read("0,Wet,0\n0,FXType,off\n0.004,Wet,1,ramp\n0.004,FXType,harmonizer,ramp\n");
  EXPECT_EQ(Run(built, TempoMap(), 6), Run(file, TempoMap(), 6));

  const auto refused = [](std::vector<Automation::Track> tracks) {
    EXPECT_THROW(Automation(TimeUnit::kSeconds, std::move(tracks)), HostError);
  };
  const uint32_t loading = ParameterTable::Get().At("PresetLoading").Index();
  refused({{100000, {}}});
  refused({{loading, {}}});
  refused({{kWet, {}}, {kFxType, {}}, {kWet, {}}});
  refused({{kWet, {{-1.0, 0.5f, false}}}});
  refused({{kWet, {{std::nan(""), 0.5f, false}}}});
  refused({{kWet, {{0.0, 1.5f, false}}}});
}

TEST_F(AutomationTest, AStreamThatStartsLaterCatchesUp) {
  const auto automation = Read("0,Wet,0\n0.004,Wet,1,ramp\n0.001,FXType,comb\n");
  EXPECT_THAT(Run(automation, TempoMap(), 4, 2 * kBlock),
              testing::ElementsAre(Write(0, kWet, 0.5f), Write(0, kFxType, 0.4f), Write(1, kWet, 0.75f),
                                   Write(2, kWet, 1.0f)));
}

TEST_F(AutomationTest, TheTempoMapIsFedExactly) {
  std::istringstream text("0,120\n0.002,60\n");
  Run(Automation(), ReadTempoMap(text, "map"), 4);
  const auto& blocks = fake.record->blocks;
  EXPECT_EQ(blocks[1].tempo, 120.0f);
  EXPECT_EQ(blocks[2].tempo, 60.0f);
  EXPECT_FLOAT_EQ(blocks[2].songPosition, 0.004f);
  EXPECT_FLOAT_EQ(blocks[3].songPosition, 0.005f);
}

TEST_F(AutomationTest, SaysWhichLineIsWrong) {
  const auto refusal = [](const std::string& text) {
    try {
      Read(text);
    } catch (const HostError& error) {
      return std::string(error.what());
    }
    return std::string("accepted");
  };
  EXPECT_EQ(refusal("# moves\n0,Wet,0\n1,Wet,2\n"),
            "moves.csv, line 3: Prismel_Wet takes 0 to 1; \"2\" is outside.");
  EXPECT_THAT(refusal("0,Wett,0\n"),
              HasSubstr("line 1: There is no parameter \"Wett\"; did you mean Prismel_Wet?"));
  EXPECT_THAT(refusal("time,parameter,value\nlater,Wet,0\n"),
              HasSubstr("line 2: the time \"later\" is not a number"));
  EXPECT_THAT(refusal("-1,Wet,0\n"), HasSubstr("negative"));
  EXPECT_THAT(refusal("0,Wet\n"), HasSubstr("a row has"));
  EXPECT_THAT(refusal("0,Wet,0,bend\n"), HasSubstr("neither"));
  EXPECT_THAT(refusal("0,PresetLoading,1\n"), HasSubstr("can't be automated"));
  EXPECT_EQ(refusal("0,Panic,1\n"), "accepted");
  EXPECT_THAT(refusal("0," + std::string(100000, 'W') + ",1\n"), HasSubstr("far too long"));
  EXPECT_THAT(refusal("0,\"Wet,0\n"), HasSubstr("quote"));
  EXPECT_THAT(refusal("minutes,parameter,value\n"), HasSubstr("seconds, frames or beats"));
  for (const char* text : {"", "\n# nothing yet\n", "seconds,parameter,value\n"}) {
    EXPECT_THAT(refusal(text), HasSubstr("\"moves.csv\" has no rows"));
  }
}

}  // namespace
}  // namespace Vantora::host
