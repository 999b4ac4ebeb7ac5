#include "dsp/convolution/ConvolutionEngine.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>

#include <chrono>
#include <fstream>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "tests/dsp/convolution/ConvolutionRig.h"
#include "tests/support/Sanitized.h"

namespace Vantora::dsp {
namespace {

using tests::Noise;
using tests::RandomBlocks;
using tests::RunBlocks;
using tests::Signal;
using tests::Stereo;

// Small enough that a few thousand samples cross every boundary.
const ConvoEngineConfig kSmall{64, {{32, 3, 0}, {128, 4, 0}, {512, 1, 1}}};
const ConvoEngineConfig kDefault{2048, DefaultPartitions()};

std::unique_ptr<ConvolutionEngine> Make(const ConvoEngineConfig& config, const Stereo& impulse,
                                        uint32_t block, std::function<void(uint64_t)> hook = {}) {
  const uint64_t length = std::max(impulse[0].size(), impulse[1].size());
  auto engine = std::make_unique<ConvolutionEngine>(
      impulse[0].data(), impulse[0].size(), impulse[1].data(), impulse[1].size(),
      MakePartitionSchedule(config, length, block), std::move(hook));
  engine->Init(block, 48000.0f);
  return engine;
}

// Waits before each block until the workers have nothing left: as an unloaded machine in real time.
auto Unhurried(ConvolutionEngine& engine, RandomBlocks blocks) {
  return [&engine, blocks]() mutable {
    while (engine.AreWorkersBusy()) std::this_thread::sleep_for(std::chrono::microseconds(20));
    return blocks();
  };
}

void ExpectConvolved(const Stereo& output, const Stereo& input, const Stereo& impulse,
                     const std::string& what) {
  for (size_t c = 0; c < 2 && !output[c].empty(); ++c) {
    const Signal& source = input[c].empty() ? input[0] : input[c];
    EXPECT_LT(tests::ErrorDb(output[c], source, impulse[c]), -120.0) << what << ", channel " << c;
  }
}

TEST(PartitionSchedule, WalksTheEntriesAndRepeatsTheLast) {
  const ConvoEngineConfig config{100, {{16, 2, 0}, {64, 1, 1}, {256, 1, kAudioThread}}};
  struct Case {
    uint64_t length, block, head;
    std::vector<uint64_t> counts;
  };
  const Case cases[] = {
      {100, 1000, 100, {}},        // the minimum alone is enough, whatever the block
      {101, 40, 100, {1}},         // one tap behind the head
      {132, 40, 100, {2}},         // exactly head + size * count: no further partition
      {133, 40, 100, {2, 1}},      //
      {196, 40, 100, {2, 1}},      //
      {197, 50, 100, {2, 1, 1}},   //
      {1000, 51, 102, {2, 1, 4}},  // two blocks exceed the minimum; the last entry repeats
      {120, 60, 120, {}},          // two blocks are enough
  };
  for (const Case& c : cases) {
    const PartitionSchedule schedule = MakePartitionSchedule(config, c.length, c.block);
    EXPECT_EQ(schedule.headLength, c.head) << c.length;
    ASSERT_EQ(schedule.partitions.size(), c.counts.size()) << c.length;
    for (size_t i = 0; i < c.counts.size(); ++i) {
      EXPECT_EQ(schedule.partitions[i].count, c.counts[i]) << c.length;
      EXPECT_EQ(schedule.partitions[i].size, config.partitions[i].size);
      EXPECT_EQ(schedule.partitions[i].threadIndex, config.partitions[i].threadIndex);
    }
  }
  EXPECT_TRUE(MakePartitionSchedule({100, {}}, 1000, 10).partitions.empty());
}

TEST(ConvolutionEngine, IsExactAroundEveryBoundaryOfTheSchedule) {
  const Stereo input{Noise(5000, 1), Noise(5000, 2)};
  for (const size_t length :
       {1u, 63u, 64u, 65u, 159u, 160u, 161u, 671u, 672u, 673u, 1183u, 1184u, 1185u, 3000u}) {
    const Stereo impulse{Noise(length, 3), Noise(length, 4)};
    const auto seed = static_cast<uint32_t>(length);
    const auto offline = Make(kSmall, impulse, 32), live = Make(kSmall, impulse, 32);
    offline->SetUseWorkers(false);
    const Stereo computedHere = RunBlocks(*offline, input, 2, RandomBlocks(32, seed));
    const Stereo withWorkers = RunBlocks(*live, input, 2, Unhurried(*live, RandomBlocks(32, seed)));
    ExpectConvolved(computedHere, input, impulse, std::to_string(length));
    EXPECT_TRUE(live->Overloads().IsAllZero());
    EXPECT_EQ(computedHere, withWorkers) << length << ": the same bits, whoever computes them";
  }
}

TEST(ConvolutionEngine, DefaultScheduleIsExactWithAnyBlocks) {
  struct Case {
    size_t length;
    uint32_t block;
  };
  for (const auto& [length, block] :
       {Case{2047, 48}, Case{2048, 44}, Case{2049, 64}, Case{8192, 1024}, Case{8193, 1}, Case{49152, 441},
        Case{49153, 256}, Case{147457, 512}, Case{20000, 3000}, Case{220000, 128}}) {
    const size_t samples = length + length / 2 + 3000;
    const Stereo input{Noise(samples, 5), Noise(samples, 6)};
    Stereo impulse{Noise(length, 7), Noise(length, 8)};
    for (size_t i = 0; i < length; ++i) {
      impulse[0][i] *= std::exp(-3.0f * static_cast<float>(i) / static_cast<float>(length));
    }
    const auto engine = Make(kDefault, impulse, block);
    engine->SetUseWorkers(false);
    ExpectConvolved(RunBlocks(*engine, input, 2, RandomBlocks(block, 9)), input, impulse,
                    std::to_string(length) + " in blocks up to " + std::to_string(block));
    EXPECT_TRUE(engine->Overloads().IsAllZero());
  }
}

TEST(ConvolutionEngine, HasNoLatency) {
  Signal click(3000);
  click[0] = 1.0f;
  const Stereo impulse{click, click}, input{Noise(4000, 10), Noise(4000, 11)};
  const auto engine = Make(kSmall, impulse, 32);
  engine->SetUseWorkers(false);
  const Stereo output = RunBlocks(*engine, input, 2, RandomBlocks(32, 12));
  for (size_t i = 0; i < 4000; ++i) ASSERT_NEAR(output[0][i], input[0][i], 1e-6f) << i;
}

TEST(ConvolutionEngine, EachOutputUsesItsOwnImpulseWhateverThePorts) {
  const Stereo impulse{Noise(900, 13), Noise(700, 14)};
  const Stereo stereo{Noise(3000, 15), Noise(3000, 16)}, mono{stereo[0], Signal()};
  struct Case {
    const Stereo& input;
    size_t outputs;
  };
  for (const auto& [input, outputs] : {Case{stereo, 2}, Case{mono, 2}, Case{mono, 1}, Case{stereo, 1}}) {
    const auto engine = Make(kSmall, impulse, 32);
    engine->SetUseWorkers(false);
    ExpectConvolved(RunBlocks(*engine, input, outputs, RandomBlocks(32, 17)), input, impulse,
                    std::to_string(outputs) + " outputs");
  }
  // In place: each block's outputs are its inputs.
  const auto engine = Make(kSmall, impulse, 32);
  engine->SetUseWorkers(false);
  Stereo signal = stereo;
  for (size_t done = 0; done + 24 <= 3000; done += 24) {
    std::array<float*, 2> ports{signal[0].data() + done, signal[1].data() + done};
    ProcessContext context = ProcessContext().WithPorts(ports, ports);
    context.sampleCount = 24;
    engine->Process(context);
  }
  ExpectConvolved(signal, stereo, impulse, "in place");
}

TEST(ConvolutionEngine, PortsMayComeAndGoWithinALinesBlock) {
  const Stereo impulse{Noise(900, 13), Noise(900, 14)};
  const Signal source = Noise(4000, 15);
  const Stereo input{source, source};
  const auto whole = Make(kSmall, impulse, 24), parted = Make(kSmall, impulse, 24);
  whole->SetUseWorkers(false);
  parted->SetUseWorkers(false);
  Stereo expected{Signal(4000), Signal(4000)}, got = expected;
  for (uint32_t done = 0, block = 0; done + 24 <= 4000; done += 24, ++block) {
    const auto run = [&](ConvolutionEngine& engine, float* secondInput, Stereo& out) {
      std::array<float*, 2> in{const_cast<float*>(input[0].data()) + done, secondInput};
      std::array<float*, 2> ports{out[0].data() + done, out[1].data() + done};
      ProcessContext context = ProcessContext().WithPorts(in, ports);
      context.sampleCount = 24;
      engine.Process(context);
    };
    run(*whole, const_cast<float*>(input[1].data()) + done, expected);
    run(*parted, block % 3 == 0 ? nullptr : const_cast<float*>(input[1].data()) + done, got);
  }
  EXPECT_EQ(got, expected) << "without a second input the first one feeds both";
}

TEST(ConvolutionEngine, TwoEntriesOfOneSizeAreTwoLines) {
  const ConvoEngineConfig config{64, {{32, 2, 0}, {32, 3, kAudioThread}, {64, 1, 0}, {32, 1, 0}}};
  const Stereo impulse{Noise(1500, 18), Noise(1500, 19)}, input{Noise(4000, 20), Noise(4000, 21)};
  const auto engine = Make(config, impulse, 32);
  EXPECT_EQ(engine->LineCount(), 4u);
  ExpectConvolved(RunBlocks(*engine, input, 2, Unhurried(*engine, RandomBlocks(32, 22))), input, impulse, "");
  EXPECT_TRUE(engine->Overloads().IsAllZero());
}

TEST(ConvolutionEngine, RefusesSizesAndWorkerIdsThatItCannotServe) {
  const Stereo impulse{Noise(500, 23), Noise(500, 24)};
  EXPECT_THROW(Make({64, {{48, 1, 0}}}, impulse, 32), std::runtime_error);
  EXPECT_THROW(Make({64, {{32, 1, 1}}}, impulse, 32), std::runtime_error);
}

TEST(ConvolutionEngine, SizesItsPoolsByTheTimeFromInputToResult) {
  const Stereo impulse{Noise(200000, 25), Noise(200000, 26)};
  for (const uint32_t block : {48u, 1024u}) EXPECT_EQ(Make(kDefault, impulse, block)->RequestCount(), 26u);
}

TEST(ConvolutionEngine, StartHookGoesToEverySecondWorker) {
  const ConvoEngineConfig config{64, {{32, 1, 2}, {64, 1, 1}, {128, 1, 0}, {256, 1, 3}}};
  const Stereo impulse{Noise(900, 27), Noise(900, 28)};
  std::mutex mutex;
  std::vector<uint64_t> started;
  Make(config, impulse, 32, [&](uint64_t index) {
    const std::lock_guard lock(mutex);
    started.push_back(index);
  })->Shutdown();
  std::sort(started.begin(), started.end());
  EXPECT_EQ(started, (std::vector<uint64_t>{0, 2}));
}

// -----------------------------------------------------------------------------------------------------------
// Resets, switches and overload.

TEST(ConvolutionEngine, AfterAResetSoundsLikeANewOneWithWorkersAndWithout) {
  const Stereo impulse{Noise(2500, 29), Noise(2500, 30)}, input{Noise(3000, 31), Noise(3000, 32)};
  const auto reference = Make(kSmall, impulse, 32);
  reference->SetUseWorkers(false);
  const Stereo expected = RunBlocks(*reference, input, 2, RandomBlocks(32, 33));
  for (const bool useWorkers : {true, false}) {
    const auto engine = Make(kSmall, impulse, 32);
    for (uint32_t round = 0; round < 20; ++round) {
      // No pause: the reset comes while results are on their way, and the first block after it as well.
      engine->SetUseWorkers(true);
      RunBlocks(*engine, {Noise(777 + round, 34), Noise(777 + round, 35)}, 2, RandomBlocks(32, round));
      engine->ResetState(true);
      if (round % 4 == 3) engine->ResetState(true);
      engine->SetUseWorkers(useWorkers);
      const Stereo output = useWorkers
                                ? RunBlocks(*engine, input, 2, Unhurried(*engine, RandomBlocks(32, 33)))
                                : RunBlocks(*engine, input, 2, RandomBlocks(32, 33));
      ASSERT_EQ(output, expected) << "round " << round << ", workers " << useWorkers;
      engine->ResetState(true);
    }
  }
}

TEST(ConvolutionEngine, ASecondConfigureForgetsTheSound) {
  const Stereo impulse{Noise(2500, 36), Noise(2500, 37)}, silence{Signal(3000), Signal(3000)};
  const auto engine = Make(kSmall, impulse, 32);
  RunBlocks(*engine, {Noise(1000, 38), Noise(1000, 39)}, 2, RandomBlocks(32, 40));
  engine->Init(16, 48000.0f);
  EXPECT_EQ(RunBlocks(*engine, silence, 2, RandomBlocks(16, 41)), silence);
}

TEST(ConvolutionEngine, LinesOfTheAudioThreadRingOnAcrossAResetAndStayInTime) {
  const ConvoEngineConfig config{64, {{32, 1, kAudioThread}}};
  const Stereo impulse{Noise(600, 42), Noise(600, 43)}, input{Noise(2000, 44), Noise(2000, 45)};
  const auto engine = Make(config, impulse, 32);
  RunBlocks(*engine, {Noise(32 * 10 + 7, 46), Noise(32 * 10 + 7, 47)}, 2, RandomBlocks(32, 48));
  engine->ResetState(true);
  const Stereo output = RunBlocks(*engine, input, 2, RandomBlocks(32, 49));
  // Once the old sound has rung out, what is heard is the convolution of the new.
  const Signal late(output[0].begin() + 700, output[0].end());
  double error = 0.0;
  for (size_t i = 0; i < late.size(); ++i) {
    const double difference =
        static_cast<double>(late[i]) - tests::ConvolvedAt(input[0], impulse[0], i + 700);
    error = std::max(error, std::fabs(difference));
  }
  EXPECT_LT(error, 1e-4);
}

TEST(ConvolutionEngine, TheResetThatFollowsAConfigureLeavesTheLinesAsTheyAre) {
  constexpr size_t kDelay = 200, kCount = 220;  // not a whole partition, and in blocks that lie within it
  Signal impulse(1152);
  impulse[kDelay] = 1.0f;
  ConvolutionEngine engine(impulse.data(), impulse.size(), impulse.data(), impulse.size(),
                           {128, {{256, 4, kAudioThread}}});
  engine.Configure(44, 48000.0f);
  const auto block = [] { return size_t{44}; };
  Signal input(kCount);
  for (size_t i = 0; i < kCount; ++i) input[i] = static_cast<float>(i + 1);
  RunBlocks(engine, {input, {}}, 1, block);
  engine.DoReset(true);
  const Stereo after = RunBlocks(engine, {Signal(880), {}}, 1, block);
  // Until the end of that block's result, which stands where it stood; the time of later ones begins anew.
  for (size_t i = 0; i < 128 + 256 - kDelay; ++i) ASSERT_NEAR(after[0][kDelay + i], input[i], 1e-3f) << i;
}

TEST(ConvolutionEngine, GoesOfflineInMidStreamWithoutLosingASample) {
  const Stereo impulse{Noise(2500, 50), Noise(2500, 51)}, input{Noise(4000, 52), Noise(4000, 53)};
  const auto engine = Make(kSmall, impulse, 32);
  uint32_t block = 0;
  const Stereo output = RunBlocks(*engine, input, 2, [&] {
    const bool useWorkers = block++ % 40 < 20;
    // In real time nothing is late as long as nobody hurries; offline the engine itself sees to it.
    while (useWorkers && engine->AreWorkersBusy()) std::this_thread::sleep_for(std::chrono::microseconds(20));
    engine->SetUseWorkers(useWorkers);
    return size_t{32};
  });
  ExpectConvolved(output, input, impulse, "switched");
  EXPECT_TRUE(engine->Overloads().IsAllZero());
}

TEST(ConvolutionEngine, CountsWhatAStalledWorkerLosesAndRecovers) {
  const Stereo impulse{Noise(300, 54), Noise(300, 55)};
  const Stereo input{Noise(6000, 56), Noise(6000, 57)};
  std::mutex stall;
  std::unique_lock hold(stall);
  const auto engine = Make(kSmall, impulse, 32, [&](uint64_t) { const std::lock_guard wait(stall); });
  const Stereo stalled = RunBlocks(*engine, input, 2, [] { return size_t{32}; });
  EXPECT_GT(engine->Overloads().lostInputs, 5000u);
  // The head goes on as if nothing had happened.
  const Signal headOnly(impulse[0].begin(), impulse[0].begin() + 64);
  EXPECT_LT(tests::ErrorDb(stalled[0], input[0], headOnly), -120.0);
  hold.unlock();
  while (engine->AreWorkersBusy()) std::this_thread::sleep_for(std::chrono::microseconds(20));
  // What was computed while nobody could hear it is thrown away, and counted.
  RunBlocks(*engine, {Signal(2000), Signal(2000)}, 2, Unhurried(*engine, RandomBlocks(32, 58)));
  EXPECT_GE(engine->Overloads().lostResults, 8u);
  EXPECT_EQ(engine->Overloads().lateResults, engine->Overloads().lostResults);
  // The input that was lost and found again is in its place.
  const Stereo output = RunBlocks(*engine, input, 2, Unhurried(*engine, RandomBlocks(32, 59)));
  ExpectConvolved(output, input, impulse, "after the stall");
}

TEST(ConvolutionEngine, AResultThatIsLateInPartIsHeardFromWhereItIs) {
  const ConvoEngineConfig config{64, {{64, 1, 0}}};
  Signal click(128);
  click[64] = 1.0f;
  const Signal input = Noise(64, 60);
  std::mutex stall;
  std::unique_lock hold(stall);
  const auto engine = Make(config, {click, click}, 32, [&](uint64_t) { const std::lock_guard wait(stall); });
  // The block 0..63 is due at 64. It comes in time for 80.
  const auto run = [&](size_t from, size_t count) {
    Signal part(count);
    for (size_t i = from; i < std::min<size_t>(from + count, 64); ++i) part[i - from] = input[i];
    return RunBlocks(*engine, {part, part}, 2, [count] { return count; })[0];
  };
  for (size_t at = 0; at < 64; at += 16) run(at, 16);
  EXPECT_EQ(run(64, 16), Signal(16));
  hold.unlock();
  while (engine->AreWorkersBusy()) std::this_thread::sleep_for(std::chrono::microseconds(20));
  const Signal rest = run(80, 64);
  for (size_t i = 0; i < 48; ++i) EXPECT_NEAR(rest[i], input[16 + i], 1e-5f) << i;
  EXPECT_EQ(engine->Overloads().lateResults, 1u);
  EXPECT_EQ(engine->Overloads().lostResults, 0u);
  EXPECT_EQ(engine->Overloads().lostSamples, 16u);
}

#if !defined(PRISMEL_SANITIZED)
TEST(ConvolutionEngineDeathTest, AThreadThatCannotStartIsASystemErrorAndLeavesNoneBehind) {
  const auto startWithoutMemory = [] {
    // A thread's stack has 8 MB here, whatever the shell's limit makes of it.
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, 8u << 20);
    pthread_setattr_default_np(&attributes);
    const Stereo impulse{Noise(2500, 61), Noise(2500, 62)};
    const PartitionSchedule schedule = MakePartitionSchedule(kSmall, 2500, 32);
    ConvolutionEngine engine(impulse[0].data(), 2500, impulse[1].data(), 2500, schedule);
    std::ifstream statm("/proc/self/statm");
    rlim_t pages = 0;
    statm >> pages;
    // Room for the buffers, but not for the 8 MB stack of a second thread.
    const rlimit limit{pages * 4096 + (12u << 20), pages * 4096 + (12u << 20)};
    setrlimit(RLIMIT_AS, &limit);
    try {
      engine.Init(32, 48000.0f);
    } catch (const std::system_error& error) {
      const bool isNamed = std::string(error.what()).find("thread constructor failed") == 0;
      std::_Exit(isNamed ? 3 : 4);
    }
    std::_Exit(5);
  };
  EXPECT_EXIT(startWithoutMemory(), ::testing::ExitedWithCode(3), "");
}
#endif

}  // namespace
}  // namespace Vantora::dsp
