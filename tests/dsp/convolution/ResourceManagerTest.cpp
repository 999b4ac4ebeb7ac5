#include "dsp/convolution/ResourceManager.h"

#include <gtest/gtest.h>

#include <limits>
#include <thread>

#include "tests/support/Eventually.h"
#include "tests/support/RealTimeGuard.h"

namespace Vantora::dsp {
namespace {

using test::Eventually;
using Manager = ResourceManager<328, 10>;

// Tells on which thread it was destroyed.
struct Mortal {
  explicit Mortal(std::atomic<std::thread::id>* place) : grave(place) {}
  ~Mortal() { grave->store(std::this_thread::get_id()); }
  std::atomic<std::thread::id>* grave;
};

TEST(ResourceManager, DestroysAnObjectOnItsOwnThreadOnceNobodyElseHoldsIt) {
  std::atomic<std::thread::id> grave{};
  std::atomic<std::thread::id> managersThread{};
  Manager manager(1);
  manager.Start();
  auto object = std::make_shared<Mortal>(&grave);
  manager.Manage(object);
  manager.Queue().Enqueue([&] { managersThread = std::this_thread::get_id(); }, [] {});
  ASSERT_TRUE(Eventually([&] { return managersThread.load() != std::thread::id(); }));
  EXPECT_EQ(manager.ResourceCount(), 1u);
  EXPECT_EQ(grave.load(), std::thread::id());
  object.reset();
  ASSERT_TRUE(Eventually([&] { return manager.ResourceCount() == 0; }));
  EXPECT_EQ(grave.load(), managersThread.load());
}

TEST(ResourceManager, StopsWithCommandsLeftUnrunAndTheirCapturesDestroyedBeforeTheResources) {
  std::atomic<std::thread::id> grave{};
  bool ran = false;
  {
    Manager manager;
    manager.Start();
    manager.StopAndJoin();
    manager.StopAndJoin();
    auto object = std::make_shared<Mortal>(&grave);
    manager.Manage(object);
    manager.AudioQueue().Enqueue([&ran, object] { ran = true; }, [&ran] { ran = true; });
    manager.Queue().Enqueue([&ran] { ran = true; }, [] {});
    object.reset();
    EXPECT_EQ(grave.load(), std::thread::id());
  }
  EXPECT_FALSE(ran);
  EXPECT_EQ(grave.load(), std::this_thread::get_id());
}

TEST(ResourceManager, CollectKeepsTheOrderOfWhatStays) {
  ResourceList list;
  auto kept = std::make_shared<int>(1);
  list.Add(std::make_unique<Resource<int>>(std::make_shared<int>(0)));
  list.Add(std::make_unique<Resource<int>>(kept));
  list.Add(nullptr);
  list.Add(std::make_unique<Resource<int>>(nullptr));
  list.Collect();
  EXPECT_EQ(list.Count(), 1u);
  EXPECT_EQ(kept.use_count(), 2);
  kept.reset();
  list.Collect();
  EXPECT_EQ(list.Count(), 0u);
}

TEST(ResourceManager, NoPollingTimeMeansNoSleep) {
  // Who sleeps enters the kernel.
  EXPECT_REAL_TIME(SleepMilliseconds(0));
  EXPECT_REAL_TIME(SleepMilliseconds(std::numeric_limits<int64_t>::min()));
  if (!test::RealTimeGuard::WatchesEverything()) GTEST_SKIP() << "a sanitizer or an old kernel has the calls";
  EXPECT_GT(test::Watch([] { SleepMilliseconds(1); }).systemCalls, 0u);
}

}  // namespace
}  // namespace Vantora::dsp
