// Random lives of the engine and the reverb: always the same ones, or others for PRISMEL_STRESS_SECONDS. The
// nightly run under ThreadSanitizer takes minutes.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <thread>

#include "dsp/convolution/ConvolutionEngine.h"
#include "dsp/convolution/ConvolutionReverb.h"
#include "tests/dsp/convolution/ConvolutionRig.h"

namespace Vantora::dsp {
namespace {

using tests::Noise;
using tests::RandomBlocks;
using tests::RunBlocks;
using tests::Signal;
using tests::Stereo;
using Clock = std::chrono::steady_clock;

/// How long lives go on, and which. Without a time it is a number of steps, which is the same on every
/// machine.
class Course {
 public:
  explicit Course(uint32_t steps) : left(steps) {
    if (seconds == nullptr) return;
    const std::chrono::duration<double> duration(std::atof(seconds));
    end = Clock::now() + std::chrono::duration_cast<Clock::duration>(duration);
    seed = static_cast<uint32_t>(end.time_since_epoch().count());
  }
  bool GoesOn() { return seconds != nullptr ? Clock::now() < end : left > 0 && left-- > 0; }
  uint32_t Seed() const { return seed; }

 private:
  const char* const seconds = std::getenv("PRISMEL_STRESS_SECONDS");
  Clock::time_point end{};
  uint32_t left, seed = 1;
};

bool AllFinite(const Stereo& signal) {
  for (const Signal& channel : signal) {
    for (const float sample : channel) {
      if (!std::isfinite(sample)) return false;
    }
  }
  return true;
}

TEST(ConvolutionStress, EngineSurvivesResetsConfigurationsAndSwitchesAtAnyMomentAndIsRightAfterwards) {
  const ConvoEngineConfig configs[] = {{64, {{32, 3, 0}, {128, 4, 0}, {512, 1, 1}}},
                                       {128, {{32, 1, 1}, {64, 2, 0}, {256, 1, 2}}},
                                       {64, {{64, 2, kAudioThread}, {64, 2, 0}, {256, 1, 0}}}};
  const Stereo impulse{Noise(5000, 1), Noise(4000, 2)}, input{Noise(3000, 3), Noise(3000, 4)};
  Course course(150);
  SCOPED_TRACE("seed " + std::to_string(course.Seed()));
  std::mt19937 random(course.Seed());
  uint64_t checks = 0, lives = 0;
  for (; course.GoesOn(); ++lives) {
    const ConvoEngineConfig& config = configs[random() % std::size(configs)];
    const PartitionSchedule schedule = MakePartitionSchedule(config, 5000, 32);
    ConvolutionEngine engine(impulse[0].data(), 5000, impulse[1].data(), 4000, schedule);
    engine.Init(32, 48000.0f);
    for (uint32_t action = 0, count = random() % 30; action < count; ++action) {
      switch (random() % 6) {
        case 0:
          engine.ResetState(true);
          break;
        case 1:
          if (random() % 4 == 0) engine.Init(1 + random() % 32, 48000.0f);
          break;
        case 2:
          engine.SetUseWorkers(random() % 3 != 0);
          break;
        case 3: {
          // A quiet start: the same bits whether workers compute or not, whatever happened before.
          engine.Init(32, 48000.0f);
          engine.SetUseWorkers(random() % 2 == 0);
          const uint64_t lateBefore = engine.Overloads().lateResults;
          const Stereo output =
              RunBlocks(engine, input, 2, [&, blocks = RandomBlocks(32, random())]() mutable {
                while (engine.AreWorkersBusy()) std::this_thread::sleep_for(std::chrono::microseconds(20));
                return blocks();
              });
          ASSERT_EQ(engine.Overloads().lateResults, lateBefore);
          ASSERT_LT(tests::ErrorDb(output[0], input[0], impulse[0], 40), -110.0);
          ASSERT_LT(tests::ErrorDb(output[1], input[1], impulse[1], 40), -110.0);
          ++checks;
          break;
        }
        default:
          ASSERT_TRUE(AllFinite(RunBlocks(engine, {Noise(random() % 4000, 5), Noise(4000, 6)},
                                          1 + random() % 2, RandomBlocks(1 + random() % 32, random()))));
      }
    }
  }
  RecordProperty("lives", static_cast<int>(lives));
  EXPECT_GT(checks, 0u);
}

TEST(ConvolutionStress, ReverbSurvivesImpulsesKnobsResetsAndConfigurationsAtOnce) {
  Course course(6000);  // actions
  SCOPED_TRACE("seed " + std::to_string(course.Seed()));
  std::mt19937 random(course.Seed());
  while (course.GoesOn()) {
    ConvolutionReverb reverb("Stress");
    reverb.SetPartitions({64, {{32, 3, 0}, {128, 4, 0}, {512, 1, 1}}});
    reverb.SetLoader([](const std::string& path, Impulse& impulse, std::string& problem) {
      const auto length = static_cast<size_t>(std::atoi(path.c_str()));
      problem = "refused";
      if (length % 5 == 0) return false;
      impulse.left = Noise(length, 7);
      if (length % 2 == 0) impulse.right = Noise(length, 8);
      impulse.fileRate = length % 3 == 0 ? 44100.0f : 48000.0f;
      return true;
    });
    reverb.SetParam(ConvolutionReverb::kWet, 0.5f);
    reverb.SetParam(ConvolutionReverb::kEngineCrossfadeDuration, 0.01f);
    reverb.Init(64, 48000.0f);

    std::atomic<bool> isDone{false};
    std::thread control([&, seedOfControl = random()] {
      std::mt19937 own(seedOfControl);
      while (!isDone) {
        reverb.SetImpulseFile(std::to_string(1 + own() % 6000));
        if (own() % 8 == 0) reverb.ImpulseProblem();
        reverb.Overloads().IsAllZero();
        reverb.WetLatency();
        std::this_thread::sleep_for(std::chrono::microseconds(own() % 3000));
      }
    });
    bool isFinite = true;
    for (int action = 0; action < 200 && course.GoesOn(); ++action) {
      switch (random() % 12) {
        case 0:
          reverb.ResetState(random() % 2 == 0);
          break;
        case 1:
          reverb.Init(4 + random() % 61, random() % 2 == 0 ? 96000.0f : 48000.0f);
          break;
        case 2:
          reverb.SetParam(static_cast<uint32_t>(random() % ConvolutionReverb::kParamCount),
                          static_cast<float>(random() % 101) * 0.01f);
          break;
        default:
          isFinite = isFinite && AllFinite(RunBlocks(reverb, {Noise(1000, 9), Noise(1000, 10)}, 2,
                                                     RandomBlocks(4, random()), random() % 4 == 0));
      }
    }
    if (random() % 2 == 0) reverb.Shutdown();
    isDone = true;
    control.join();
    EXPECT_TRUE(isFinite);
  }
}

}  // namespace
}  // namespace Vantora::dsp
