#include "host/BlockCollector.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "host/HostError.h"
#include "tests/host/FakeLibrary.h"
#include "tests/support/Signals.h"

namespace Vantora::host {
namespace {

constexpr uint32_t kBlock = 48;  // of the fake at 48 kHz

using Signal = std::vector<std::vector<float>>;  // a vector for each channel

Signal Noise(size_t channels, size_t length) {
  Signal signal;
  for (uint32_t c = 0; c < channels; ++c) signal.push_back(test::Noise(length, c));
  return signal;
}

std::vector<float*> Pointers(Signal& signal, size_t offset) {
  std::vector<float*> pointers;
  for (auto& channel : signal) pointers.push_back(channel.data() + offset);
  return pointers;
}

/// Piece lengths from 0 to three blocks, the same for the same seed.
std::vector<size_t> RandomPieces(size_t length, uint32_t seed) {
  std::mt19937 generator(seed);
  std::vector<size_t> pieces;
  for (size_t left = length; left > 0; left -= pieces.back()) {
    pieces.push_back(std::min<size_t>(left, generator() % (3 * kBlock)));
  }
  return pieces;
}

class BlockCollectorTest : public testing::Test {
 protected:
  BlockCollectorTest() : processor(fake.library) {
    processor.Init(48000.0f);
    processor.Set(kFakeGain, 0.5f);
    processor.Set(kFakeBlockMark, 0.001f);  // makes every block's border heard
    fake.record->writes.clear();
  }

  Signal RunLive(Signal input, size_t outputs, const std::vector<size_t>& pieces) {
    LiveCollector collector(processor, static_cast<uint32_t>(input.size()), static_cast<uint32_t>(outputs));
    Signal output(outputs, std::vector<float>(input[0].size(), 99.0f));
    size_t at = 0;
    for (const size_t piece : pieces) {
      collector.Process(Pointers(input, at).data(), Pointers(output, at).data(), piece);
      at += piece;
    }
    return output;
  }

  Signal RunFile(Signal input, size_t outputs, const std::vector<size_t>& pieces) {
    FileCollector collector(processor, static_cast<uint32_t>(input.size()), static_cast<uint32_t>(outputs));
    Signal output(outputs);
    const auto sink = [&](const float* const* channels, uint32_t count) {
      for (size_t c = 0; c < outputs; ++c)
        output[c].insert(output[c].end(), channels[c], channels[c] + count);
    };
    size_t at = 0;
    for (const size_t piece : pieces) {
      collector.Feed(Pointers(input, at).data(), piece, sink);
      at += piece;
    }
    collector.Finish(sink);
    return output;
  }

  FakeLibrary fake;
  HostedProcessor processor;
};

TEST_F(BlockCollectorTest, SoundsTheSameHoweverTheStreamIsCut) {
  const size_t length = 20 * kBlock + 17;
  const Signal input = Noise(2, length);
  const Signal live = RunLive(input, 2, {length}), file = RunFile(input, 2, {length});
  for (uint32_t seed = 1; seed <= 20; ++seed) {
    EXPECT_EQ(RunLive(input, 2, RandomPieces(length, seed)), live) << "seed " << seed;
    EXPECT_EQ(RunFile(input, 2, RandomPieces(length, seed)), file) << "seed " << seed;
  }
  EXPECT_EQ(RunLive(input, 2, std::vector<size_t>(length, 1)), live);
  for (const auto& block : fake.record->blocks) ASSERT_EQ(block.sampleCount, kBlock);
}

TEST_F(BlockCollectorTest, FilesKeepTheirLengthAndTheirPlace) {
  for (const size_t length :
       {size_t{0}, size_t{1}, size_t{kBlock - 1}, size_t{kBlock}, size_t{5 * kBlock + 3}}) {
    const Signal input = Noise(2, length);
    const Signal output = RunFile(input, 2, {length});
    ASSERT_EQ(output[0].size(), length);
    for (size_t i = 0; i < length; ++i) {
      ASSERT_EQ(output[1][i], input[1][i] * 0.5f + static_cast<float>(i % kBlock) * 0.001f);
    }
  }
}

TEST_F(BlockCollectorTest, LiveDelayIsTheReportedOneAndTheOutputIsTheFilesOutputThatMuchLater) {
  const size_t length = 6 * kBlock + 5;
  const Signal input = Noise(2, length);
  const Signal live = RunLive(input, 2, RandomPieces(length, 3)), file = RunFile(input, 2, {length});
  const uint32_t latency = LiveCollector(processor).Latency();
  EXPECT_EQ(latency, kBlock);
  EXPECT_NE(latency, processor.ReportedLatency());  // the interface's figure is a constant
  for (size_t i = 0; i < length; ++i) ASSERT_EQ(live[0][i], i < latency ? 0.0f : file[0][i - latency]) << i;
}

TEST_F(BlockCollectorTest, OneBufferMayBeInputAndOutput) {
  const size_t length = 4 * kBlock + 5;
  const Signal noise = Noise(2, length);
  const Signal expected = RunLive(noise, 2, {length});
  for (const size_t piece : {length, size_t{1}, size_t{7}, size_t{16}, size_t{19}}) {
    Signal both = noise;
    LiveCollector collector(processor);
    for (size_t at = 0; at < length; at += piece) {
      // The right input is the left output's buffer and the other way round: the worst a host can do.
      float* inputs[] = {both[0].data() + at, both[1].data() + at};
      float* outputs[] = {both[1].data() + at, both[0].data() + at};
      collector.Process(inputs, outputs, std::min(piece, length - at));
    }
    EXPECT_EQ(both[1], expected[0]) << piece;
    EXPECT_EQ(both[0], expected[1]) << piece;
  }
}

TEST_F(BlockCollectorTest, RunsMonoAndStereoInEveryCombination) {
  const size_t length = 3 * kBlock;
  for (const size_t inputs : {1, 2}) {
    for (const size_t outputs : {1, 2}) {
      const Signal input = Noise(inputs, length);
      const Signal output = RunFile(input, outputs, {length});
      EXPECT_EQ(fake.record->blocks.back().inputCount, inputs);
      EXPECT_EQ(fake.record->blocks.back().outputCount, outputs);
      EXPECT_EQ(output.back()[kBlock], input[std::min(inputs, outputs) - 1][kBlock] * 0.5f);
    }
  }
  EXPECT_THROW(LiveCollector(processor, 0, 2), HostError);
  EXPECT_THROW(FileCollector(processor, 2, 3), HostError);
  processor.Terminate();
  EXPECT_THROW(LiveCollector(processor, 2, 2), HostError);
}

TEST_F(BlockCollectorTest, ReplacesAndCountsSamplesThatAreNotFinite) {
  Signal input = Noise(2, 2 * kBlock);
  input[0][3] = std::numeric_limits<float>::quiet_NaN();
  input[1][4] = std::numeric_limits<float>::infinity();
  input[1][kBlock] = -std::numeric_limits<float>::infinity();
  const size_t length = input[0].size();
  FileCollector collector(processor);
  Signal output(1);
  collector.Feed(Pointers(input, 0).data(), length, [&](const float* const* channels, uint32_t count) {
    output[0].insert(output[0].end(), channels[1], channels[1] + count);
  });
  EXPECT_EQ(collector.NonFiniteCount(), 3u);
  EXPECT_EQ(output[0][4], 4 * 0.001f);
  EXPECT_EQ(output[0][5], input[1][5] * 0.5f + 5 * 0.001f);  // neighbours untouched
}

TEST_F(BlockCollectorTest, ALiveStreamsBadSamplesAreFoundWhereverAPieceIsCut) {
  const Signal clean = Noise(2, 2 * kBlock);
  for (size_t place = 0; place < kBlock; ++place) {
    Signal bad = clean, mended = clean;
    bad[0][place] = std::numeric_limits<float>::quiet_NaN();
    mended[0][place] = 0.0f;
    bad[1][kBlock - 1 - place] = -3e6f;
    mended[1][kBlock - 1 - place] = -BlockBuffer::kLoudest;
    for (const size_t piece : {size_t{kBlock}, size_t{5}, size_t{21}}) {
      LiveCollector collector(processor);
      Signal output(2, std::vector<float>(2 * kBlock));
      for (size_t at = 0; at < 2 * kBlock; at += piece) {
        collector.Process(Pointers(bad, at).data(), Pointers(output, at).data(),
                          std::min(piece, 2 * kBlock - at));
      }
      ASSERT_EQ(collector.NonFiniteCount(), 2u) << place << ' ' << piece;
      ASSERT_EQ(output, RunLive(mended, 2, {2 * kBlock})) << place << ' ' << piece;
    }
  }
}

TEST_F(BlockCollectorTest, HoldsAndCountsHugeSamples) {
  Signal input(2, std::vector<float>(kBlock, 0.0f));
  input[0][0] = 1e6f;
  input[0][1] = 1.1e6f;
  input[0][2] = -std::numeric_limits<float>::max();
  FileCollector collector(processor);
  std::vector<float> output;
  collector.Feed(Pointers(input, 0).data(), kBlock, [&](const float* const* channels, uint32_t count) {
    output.assign(channels[0], channels[0] + count);
  });
  EXPECT_EQ(collector.NonFiniteCount(), 2u);
  EXPECT_EQ(output[0], 0.5e6f);
  EXPECT_EQ(output[1], 0.5e6f + 0.001f);
  EXPECT_EQ(output[2], -0.5e6f + 2 * 0.001f);
}

TEST_F(BlockCollectorTest, TellsNobodyWhetherTheRenderIsOffline) {
  processor.GetTransport().isOffline = true;
  LiveCollector live(processor);
  EXPECT_TRUE(processor.GetTransport().isOffline);
  processor.GetTransport().isOffline = false;
  FileCollector file(processor);
  EXPECT_FALSE(processor.GetTransport().isOffline);
}

TEST_F(BlockCollectorTest, OfAHandsManyValuesTheLastOneCounts) {
  LiveCollector collector(processor);
  float* nowhere[] = {nullptr, nullptr};
  for (int i = 0; i <= 100000; ++i) {
    ASSERT_TRUE(collector.SetLatest(20, static_cast<float>(i) / 100000.0f));
    ASSERT_TRUE(collector.SetLatest(200, static_cast<float>(i % 7)));
  }
  EXPECT_FALSE(collector.SetLatest(kFakeParameterCount, 0.5f));
  EXPECT_TRUE(collector.Queue(20, 0.75f, 1)) << "the queue has room";
  collector.Process(nullptr, nowhere, 3 * kBlock);
  std::vector<std::pair<uint32_t, float>> writes;
  for (const auto& write : fake.record->writes) writes.emplace_back(write.index, write.value);
  using Pair = std::pair<uint32_t, float>;
  EXPECT_THAT(writes, testing::ElementsAre(Pair(20, 1.0f), Pair(200, 100000 % 7), Pair(20, 0.75f)));
}

TEST_F(BlockCollectorTest, ResetWritesWhatWaitsAndBeginsAnew) {
  LiveCollector collector(processor);
  std::vector<float> loud(kBlock + 7, 1.0f), out(2 * kBlock, 9.0f);
  const float* inputs[] = {loud.data(), loud.data()};
  float* outputs[] = {out.data(), nullptr};
  collector.Process(inputs, outputs, loud.size());
  collector.Queue(20, 0.5f, 1000 * kBlock);
  collector.QueueTogether({{21, 0.25f, 0}}, 2000 * kBlock);
  collector.SetLatest(22, 0.125f);
  collector.Reset();
  EXPECT_EQ(processor.Get(20), 0.5f);
  EXPECT_EQ(processor.Get(21), 0.25f);
  EXPECT_EQ(processor.Get(22), 0.125f);
  EXPECT_EQ(collector.NextSample(), 0u);
  collector.Process(nullptr, outputs, 2 * kBlock);
  EXPECT_EQ(out[0], 0.0f);
  EXPECT_EQ(out[kBlock], 0.0f);
}

TEST_F(BlockCollectorTest, SilenceAndMissingChannelsAreFedAsZeros) {
  LiveCollector live(processor);
  Signal output(1, std::vector<float>(2 * kBlock));
  const std::vector<float> left(2 * kBlock, 1.0f);
  const float* inputs[] = {nullptr, left.data()};
  float* outputs[] = {output[0].data(), nullptr};
  live.Process(inputs, outputs, 2 * kBlock);
  EXPECT_EQ(output[0][kBlock], 0.0f);

  size_t produced = 0;
  FileCollector file(processor);
  file.Feed(nullptr, kBlock + 1, [&](const float* const* channels, uint32_t count) {
    produced += count;
    EXPECT_EQ(channels[0][0], 0.0f);
  });
  EXPECT_EQ(produced, kBlock);
}

TEST_F(BlockCollectorTest, WritesComeBeforeTheBlockThatHoldsTheirSample) {
  FileCollector collector(processor);
  ASSERT_TRUE(collector.Queue(20, 0.1f, 2 * kBlock));      // first sample of block 2
  ASSERT_TRUE(collector.Queue(21, 0.2f, 2 * kBlock - 1));  // last sample of block 1
  ASSERT_TRUE(collector.Queue(22, 0.3f));                  // now
  ASSERT_TRUE(collector.QueueTogether({{30, 0.4f, 0}, {31, 0.5f, 0}}, kBlock + 1));
  const size_t before = fake.record->blocks.size();
  const auto sink = [](const float* const*, uint32_t) {};
  collector.Feed(nullptr, 4 * kBlock, sink);
  ASSERT_TRUE(collector.Queue(23, 0.6f, 5));  // long past
  collector.Feed(nullptr, kBlock, sink);

  std::vector<std::pair<uint32_t, uint64_t>> order;
  for (const auto& write : fake.record->writes) order.emplace_back(write.index, write.block - before);
  using Pair = std::pair<uint32_t, uint64_t>;
  EXPECT_THAT(order, testing::ElementsAre(Pair(22, 0), Pair(30, 1), Pair(31, 1), Pair(21, 1), Pair(20, 2),
                                          Pair(23, 4)));
}

TEST_F(BlockCollectorTest, TheListenerComesFirstAndKnowsThePosition) {
  struct Listener final : BlockListener {
    void BeforeBlock(HostedProcessor& processor, uint64_t position, uint32_t count) override {
      positions.push_back(position);
      EXPECT_EQ(count, kBlock);
      processor.Set(40, 0.25f);
    }
    std::vector<uint64_t> positions;
  } listener;
  LiveCollector collector(processor);
  collector.SetListener(&listener);
  collector.Queue(40, 0.75f);
  float* nowhere[] = {nullptr, nullptr};
  collector.Process(nullptr, nowhere, 2 * kBlock);
  EXPECT_THAT(listener.positions, testing::ElementsAre(0u, kBlock));
  EXPECT_EQ(fake.record->writes[0].value, 0.25f);
  EXPECT_EQ(fake.record->writes[1].value, 0.75f);
  EXPECT_EQ(collector.Position(), 2 * kBlock);
}

TEST_F(BlockCollectorTest, TheHostsTransportIsCarriedToTheBlocksBeginning) {
  LiveCollector collector(processor);
  float* nowhere[] = {nullptr, nullptr};
  const double perSample = 100.0 / 60.0 / 48000.0;
  const size_t first = fake.record->blocks.size();
  size_t at = 0;
  for (const size_t piece : RandomPieces(20 * kBlock, 5)) {
    EXPECT_EQ(collector.NextSample(), at);
    collector.SetTransport(100.0, true, 8.0 + static_cast<double>(at) * perSample);
    collector.Process(nullptr, nowhere, piece);
    at += piece;
  }
  for (size_t block = 0; block < 20; ++block) {
    const auto& seen = fake.record->blocks[first + block];
    EXPECT_NEAR(seen.songPosition, 8.0 + static_cast<double>(block * kBlock) * perSample, 1e-6) << block;
  }
  collector.Process(nullptr, nowhere, 10);
  collector.SetTransport(100.0, false, 3.0);  // stopped: there is nothing to carry back
  collector.Process(nullptr, nowhere, kBlock);
  EXPECT_EQ(fake.record->blocks.back().songPosition, 3.0f);
  EXPECT_FALSE(fake.record->blocks.back().isPlaying);
}

TEST_F(BlockCollectorTest, MetersFollowTheProcessorInDecibels) {
  LiveCollector collector(processor);
  EXPECT_EQ(collector.Levels().InputDb(), -80.0f);
  std::vector<float> loud(kBlock, 1.0f), out(kBlock);
  const float* inputs[] = {loud.data(), loud.data()};
  float* outputs[] = {out.data(), nullptr};
  collector.Process(inputs, outputs, kBlock);
  EXPECT_FLOAT_EQ(collector.Levels().InputDb(), 6.0f);
  EXPECT_EQ(collector.Levels().OutputDb(), -80.0f);  // the fake has no such meter
}

TEST_F(BlockCollectorTest, FlushForgetsTheSamplesUnderWay) {
  LiveCollector collector(processor);
  std::vector<float> loud(kBlock + 7, 1.0f), out(2 * kBlock, 9.0f);
  const float* inputs[] = {loud.data(), loud.data()};
  float* outputs[] = {out.data(), nullptr};
  collector.Process(inputs, outputs, loud.size());
  collector.Flush();
  collector.Process(nullptr, outputs, 2 * kBlock);
  EXPECT_EQ(out[0], 0.0f);
  EXPECT_EQ(out[kBlock], 0.0f);
}

}  // namespace
}  // namespace Vantora::host
