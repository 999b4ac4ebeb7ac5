#include <gtest/gtest.h>

#include <sstream>

#include "host/BlockCollector.h"
#include "host/Preset.h"
#include "host/files/AutomationFile.h"
#include "tests/host/FakeLibrary.h"
#include "tests/support/RealTimeGuard.h"

namespace Vantora::host {
namespace {

TEST(HostRealTime, ALiveStreamNeitherAllocatesNorWaitsWhateverComesThroughTheQueue) {
  if (!test::RealTimeGuard::WatchesEverything()) GTEST_SKIP() << "a sanitizer's own memory faults in";
  FakeLibrary fake;
  HostedProcessor processor(fake.library);
  processor.Init(48000.0f);
  fake.record->keepsBlocks = false;  // the fake's notes allocate
  LiveCollector collector(processor);
  std::istringstream moves("0,Wet,0\n0.05,Wet,1,ramp\n0.02,FXType,comb\n");
  AutomationPlayer player(ReadAutomation(moves, "moves"), TempoMap(), 48000.0);
  collector.SetListener(&player);

  std::vector<float> left(4096, 0.5f), right(4096, 0.25f);
  float* channels[] = {left.data(), right.data()};
  collector.Process(channels, channels, 4096);  // warm
  for (size_t i = 0; i < BlockCollector::kQueueCapacity - 2; ++i) {
    ASSERT_TRUE(collector.Queue(5, 0.5f, 50000 - i));  // worst order: each goes to the heap's front
  }
  ASSERT_TRUE(collector.QueueTogether(Preset().Writes(), 9000));
  for (const size_t piece : {0, 1, 47, 48, 49, 512, 4096, 4096, 4096}) {
    EXPECT_REAL_TIME(collector.Process(channels, channels, piece));
  }
  EXPECT_REAL_TIME(collector.Queue(5, 0.1f));
}

}  // namespace
}  // namespace Vantora::host
