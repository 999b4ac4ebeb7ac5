#include "dsp/convolution/ResourceManager.h"

#include <gtest/gtest.h>

#include <chrono>
#include <limits>
#include <thread>

namespace Vantora::dsp {
namespace {

using Manager = ResourceManager<328, 10>;

// Tells on which thread it was destroyed.
struct Mortal {
  explicit Mortal(std::atomic<std::thread::id>* place) : grave(place) {}
  ~Mortal() { grave->store(std::this_thread::get_id()); }
  std::atomic<std::thread::id>* grave;
};

template <typename Condition>
bool Eventually(const Condition& condition) {
  for (int i = 0; i < 2000 && !condition(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  return condition();
}

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
  const auto start = std::chrono::steady_clock::now();
  SleepMilliseconds(0);
  SleepMilliseconds(std::numeric_limits<int64_t>::min());
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(50));
}

}  // namespace
}  // namespace Vantora::dsp
