#include "host/HostedProcessor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>

#include "host/HostError.h"
#include "tests/host/FakeLibrary.h"

namespace Vantora::host {
namespace {

class HostedProcessorTest : public testing::Test {
 protected:
  /// One block of silence.
  void Run(HostedProcessor& processor, uint32_t count) {
    std::array<float, 256> in{}, out{};
    const float* inputs[] = {in.data(), in.data()};
    float* outputs[] = {out.data(), out.data()};
    processor.Process(inputs, 2, outputs, 2, count);
  }
  FakeLibrary fake;
};

TEST_F(HostedProcessorTest, LivesInTheOrderOfTheInterface) {
  {
    HostedProcessor processor(fake.library);
    EXPECT_FALSE(processor.IsInitialised());
    processor.Init(44100.0f);
    processor.Terminate();
    EXPECT_FALSE(processor.IsInitialised());
    processor.Init(96000.0f);
    EXPECT_EQ(processor.BlockSize(), 96u);
  }
  EXPECT_THAT(fake.record->life, testing::ElementsAre("create", "attach", "init 44100", "terminate",
                                                      "init 96000", "terminate", "delete"));
}

TEST_F(HostedProcessorTest, RefusesRatesThatAreNone) {
  HostedProcessor processor(fake.library);
  for (const float rate :
       {0.0f, -1.0f, std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
    EXPECT_THROW(processor.Init(rate), HostError) << rate;
  }
  const ProcessorLibrary refusing(FakePath("fake_init_fails"));
  HostedProcessor refused(refusing);
  EXPECT_THROW(refused.Init(48000.0f), HostError);
  EXPECT_FALSE(refused.IsInitialised());
}

TEST_F(HostedProcessorTest, KeepsMessagesUnlessTheShellListensItself) {
  struct Ear final : Processor::LogSink {
    void OnMessage(const char* text, uint32_t severity) override { heard = text + std::to_string(severity); }
    std::string heard;
  } ear;
  const HostedProcessor listened(fake.library, &ear);
  EXPECT_EQ(ear.heard, "hello from the fake2");
  EXPECT_TRUE(listened.Messages().empty());
  const HostedProcessor plain(fake.library);
  EXPECT_THAT(plain.Messages(), testing::ElementsAre("hello from the fake"));
}

TEST_F(HostedProcessorTest, FeedsTempoAndAdvancesTheSongOnlyWhilePlaying) {
  HostedProcessor processor(fake.library);
  processor.Init(48000.0f);
  Transport& transport = processor.GetTransport();
  transport.tempo = 90.0;
  Run(processor, 48);
  transport.isPlaying = false;
  Run(processor, 48);
  transport.isPlaying = transport.isOffline = true;
  transport.tempo = 180.0;
  Run(processor, 24);
  Run(processor, 48);

  const auto& blocks = fake.record->blocks;
  ASSERT_EQ(blocks.size(), 4u);
  const double perSample = 90.0 / 60.0 / 48000.0;
  EXPECT_EQ(blocks[0].songPosition, 0.0f);
  EXPECT_EQ(blocks[0].tempo, 90.0f);
  EXPECT_TRUE(blocks[0].isPlaying);
  EXPECT_EQ(blocks[0].modeWord, 0u);
  EXPECT_FLOAT_EQ(blocks[1].songPosition, static_cast<float>(48 * perSample));
  EXPECT_FALSE(blocks[1].isPlaying);
  EXPECT_EQ(blocks[2].songPosition, blocks[1].songPosition);
  EXPECT_EQ(blocks[2].modeWord, 1u);
  EXPECT_EQ(blocks[2].sampleCount, 24u);
  EXPECT_FLOAT_EQ(blocks[3].songPosition, static_cast<float>((48 + 2 * 24) * perSample));
}

TEST_F(HostedProcessorTest, ATempoThatIsNoneLeavesTheLastOne) {
  HostedProcessor processor(fake.library);
  processor.Init(48000.0f);
  Transport& transport = processor.GetTransport();
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  for (const double tempo : {0.0, kNan, 90.0, 0.0, -3.0, kNan, std::numeric_limits<double>::infinity()}) {
    transport.tempo = tempo;
    Run(processor, 48);
  }
  const auto& blocks = fake.record->blocks;
  EXPECT_EQ(blocks[0].tempo, 120.0f);
  EXPECT_EQ(blocks[1].tempo, 120.0f);
  for (size_t block = 2; block < 7; ++block) EXPECT_EQ(blocks[block].tempo, 90.0f) << block;
  EXPECT_FLOAT_EQ(blocks[6].songPosition, static_cast<float>((2 * 120.0 + 4 * 90.0) * 48 / 60.0 / 48000.0));
}

TEST_F(HostedProcessorTest, ASecondInitKeepsWhatRecreateForgets) {
  HostedProcessor processor(fake.library);
  EXPECT_EQ(processor.BlockSizeAt(96000.0f), 96u);
  processor.Init(48000.0f);
  processor.Set(kFakeGain, 0.25f);
  processor.GetTransport().isOffline = true;
  const float number = *processor.Get(kFakeNumber);
  processor.Init(48000.0f);
  EXPECT_EQ(processor.Get(kFakeGain), 0.25f);
  EXPECT_EQ(processor.Get(kFakeNumber), number);

  processor.Recreate();
  EXPECT_FALSE(processor.IsInitialised());
  EXPECT_EQ(processor.Get(kFakeGain), 1.0f);
  EXPECT_NE(processor.Get(kFakeNumber), number);
  EXPECT_FALSE(processor.GetTransport().isOffline);
  EXPECT_EQ(processor.Messages().size(), 1u);
  processor.Init(48000.0f);
  Run(processor, 48);
}

TEST_F(HostedProcessorTest, TellsAbsentValuesFromPresentOnes) {
  HostedProcessor processor(fake.library);
  EXPECT_EQ(processor.Get(kFakeGain), 1.0f);
  EXPECT_EQ(processor.Get(kFakeCommand), std::nullopt);
  EXPECT_EQ(processor.Get(10000), std::nullopt);
  EXPECT_FALSE(processor.Set(10000, 0.5f));
  EXPECT_EQ(processor.ParameterName(7), "Fake_7");
  EXPECT_EQ(processor.ParameterName(10000), "");
  EXPECT_EQ(processor.FindParameter("InputPower"), kFakeInputPower);
  EXPECT_EQ(processor.FindParameter("Input"), std::nullopt);
}

TEST_F(HostedProcessorTest, HandsEventsOverOnce) {
  HostedProcessor processor(fake.library);
  processor.Init(48000.0f);
  processor.PushMidi({0x90, 60, 100});
  Run(processor, 48);
  ASSERT_EQ(processor.OutputEvents().size(), 1u);
  EXPECT_EQ(processor.OutputEvents()[0].bytes[1], 60);
  Run(processor, 48);
  EXPECT_TRUE(processor.OutputEvents().empty());
}

}  // namespace
}  // namespace Vantora::host
