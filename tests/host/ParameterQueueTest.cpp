#include "host/ParameterQueue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "host/HostError.h"
#include "tests/support/Eventually.h"

namespace Vantora::host {
namespace {

using Pair = std::pair<uint32_t, float>;

std::vector<Pair> Take(ParameterQueue& queue, uint64_t begin, uint64_t end) {
  std::vector<Pair> taken;
  queue.TakeDue(begin, end, [&](uint32_t index, float value) { taken.emplace_back(index, value); });
  return taken;
}

TEST(ParameterQueue, IsFullOnlyWhenItSaysSo) {
  ParameterQueue queue(4);
  for (uint32_t i = 0; i < 4; ++i) ASSERT_TRUE(queue.Push({i, 0.5f, 1000}));
  EXPECT_FALSE(queue.Push({9, 0.5f, 0}));
  EXPECT_FALSE(queue.PushTogether({{9, 0.5f, 0}}));
  EXPECT_TRUE(Take(queue, 0, 48).empty());
  EXPECT_FALSE(queue.Push({9, 0.5f, 0})) << "writes that wait for their time count too";
  EXPECT_EQ(Take(queue, 960, 1008).size(), 4u);
  for (uint32_t i = 0; i < 4; ++i) EXPECT_TRUE(queue.Push({i, 0.5f, 0}));
  EXPECT_THROW(ParameterQueue(0), HostError);
  EXPECT_THROW(ParameterQueue(70000), HostError);
}

TEST(ParameterQueue, EqualTimesKeepTheOrderOfArrivalAndGroupsStayTogether) {
  ParameterQueue queue(16);
  queue.Push({1, 0.1f, 30});
  queue.PushTogether({{2, 0.2f, 500}, {3, 0.3f, 0}}, 30);
  queue.Push({1, 0.4f, 30});
  queue.Push({5, 0.5f, 3});  // past: counts from the block's beginning
  queue.Push({6, 0.6f, 10});
  EXPECT_THAT(Take(queue, 20, 40), testing::ElementsAre(Pair(5, 0.5f), Pair(6, 0.6f), Pair(1, 0.1f),
                                                        Pair(2, 0.2f), Pair(3, 0.3f), Pair(1, 0.4f)));
}

TEST(ParameterQueue, LosesAndRepeatsNothingBetweenThreads) {
  constexpr uint32_t kWriters = 3, kWrites = 20000;
  ParameterQueue queue(64);
  std::atomic<uint32_t> running{kWriters};
  std::vector<std::thread> writers;
  for (uint32_t w = 0; w < kWriters; ++w) {
    writers.emplace_back([&, w] {
      test::Waiting wait;
      for (uint32_t i = 0; i < kWrites; ++i, wait.Over()) {
        const auto value = static_cast<float>(i);
        while (!(i % 16 == 0 ? queue.PushTogether({{w, value, 0}, {w + 100, value, 0}})
                             : queue.Push({w, value, 0}))) {
          wait.Look();
        }
      }
      --running;
    });
  }
  std::vector<uint32_t> next(kWriters, 0);
  uint32_t pairs = 0, pendingPair = ~0u;
  for (bool last = false; !last;) {
    last = running == 0;  // then one more round takes what is left
    queue.TakeDue(0, 48, [&](uint32_t index, float value) {
      if (index >= 100) {
        EXPECT_EQ(index - 100, pendingPair) << "a group was torn apart";
        ++pairs;
        return;
      }
      EXPECT_EQ(value, static_cast<float>(next[index]++));
      pendingPair = index;
    });
  }
  for (auto& writer : writers) writer.join();
  queue.TakeDue(0, 48, [&](uint32_t index, float) { (index >= 100 ? pairs : next[index]) += 1; });
  for (uint32_t w = 0; w < kWriters; ++w) EXPECT_EQ(next[w], kWrites);
  EXPECT_EQ(pairs, kWriters * kWrites / 16);
}

TEST(ParameterQueue, FreesGroupsThatNobodyTook) {
  ParameterQueue queue(8);
  queue.PushTogether({{1, 0.5f, 0}}, 1 << 20);
  queue.PushTogether({{2, 0.5f, 0}});
  Take(queue, 0, 48);  // the first waits on, the second is spent; the leak checker looks at the end
}

}  // namespace
}  // namespace Vantora::host
