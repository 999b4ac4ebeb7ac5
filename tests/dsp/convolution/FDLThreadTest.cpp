#include "dsp/convolution/FDLThread.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <array>
#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

#include "tests/support/Eventually.h"

namespace Vantora::dsp {
namespace {

using test::Eventually;

TEST(FDLThread, CancellingAnEmptyRingTwiceEndsByItself) {
  FDLThread worker;
  worker.Start("ConvoEngine");
  for (int i = 0; i < 200; ++i) {
    worker.CancelJobs();
    worker.CancelJobs();
    ASSERT_TRUE(Eventually([&] { return worker.CancelCounter() == 0; }));
  }
}

TEST(FDLThread, AMarkerThatFoundNoRoomDoesNotLeaveTheWorkerCancelling) {
  FDLThread worker;
  std::mutex stall;
  std::unique_lock hold(stall);
  std::atomic<int> worked{0}, cancelled{0};
  worker.Start("ConvoEngine");
  std::atomic<bool> isStalled{false};
  worker.Queue().Enqueue(
      [&] {
        isStalled = true;
        const std::lock_guard wait(stall);
      },
      [] {});
  worker.Wake();
  ASSERT_TRUE(Eventually([&] { return isStalled.load(); }));
  const auto enqueue = [&] { return worker.Queue().Enqueue([&] { ++worked; }, [&] { ++cancelled; }); };
  while (enqueue()) {
  }
  worker.CancelJobs();
  worker.CancelJobs();
  EXPECT_EQ(worker.CancelCounter(), 2);
  hold.unlock();
  ASSERT_TRUE(Eventually([&] { return worker.CancelCounter() == 0; }));
  EXPECT_EQ(worked, 0);
  EXPECT_EQ(cancelled, 10);
  ASSERT_TRUE(enqueue());
  worker.Wake();
  EXPECT_TRUE(Eventually([&] { return worked == 1; }));
}

TEST(FDLThread, NoWakeUpIsLost) {
  FDLThread worker;
  worker.Start("ConvoEngine");
  std::atomic<int> worked{0};
  for (int i = 1; i <= 3'000; ++i) {
    worker.Queue().Enqueue([&] { worked.store(i); }, [] {});
    worker.Wake();
    // Only this wake-up can have the command run.
    ASSERT_TRUE(Eventually([&] { return worked.load() == i; })) << i;
  }
}

TEST(FDLThread, OneWakeUpReachesEveryThreadThatHasWork) {
  std::array<FDLThread, 3> threads;
  std::array<std::atomic<int>, 3> worked{};
  for (FDLThread& thread : threads) thread.Start("ConvoEngine");
  for (int i = 1; i <= 2'000; ++i) {
    // Chains of two and three, so that a relay which has not been passed on yet meets another.
    const size_t middle = i % 3 == 0 ? 2 : 1;
    const auto give = [&](size_t t) {
      threads[t].Queue().Enqueue([&worked, t, i] { worked[t] = i; }, [] {});
    };
    for (const size_t t : {size_t{0}, size_t{1}, size_t{2}}) {
      if (t <= middle) give(t);
    }
    if (middle == 2) threads[2].WakeThrough(threads[1]);
    threads[1].WakeThrough(threads[0]);
    // Where a thread is still awake from before, or naps, it passes on without being woken.
    if (i % 2 == 0 || threads[0].WakeSoon() == FDLThread::Reached::NotYet) threads[0].Wake();
    for (size_t t = 0; t <= middle; ++t) ASSERT_TRUE(Eventually([&] { return worked[t] == i; })) << i;
  }
}

TEST(FDLThread, FindsItsWorkByItselfOnceItKnowsThePace) {
  using Clock = std::chrono::steady_clock;
  // A quarter of a period is what work may be off its pace: more than a busy machine lets a thread wait for
  // its turn.
  constexpr std::chrono::milliseconds kPeriod(100);
  FDLThread worker;
  worker.SetPace(kPeriod);
  worker.Start("ConvoEngine");
  std::atomic<int> worked{0};
  int enqueued = 0, foundByItself = 0;
  Clock::time_point due = Clock::now();
  const auto enqueue = [&] {
    worker.Queue().Enqueue([&] { ++worked; }, [] {});
    ++enqueued;
    return worker.WakeSoon();
  };
  // A machine that stands still spoils the pace; it is learnt again.
  for (int tries = 0; foundByItself < 3 && tries < 2000; ++tries) {
    std::this_thread::sleep_until(due);
    due = std::max(due + kPeriod, Clock::now() + kPeriod / 2);
    const FDLThread::Reached reached = enqueue();
    if (reached == FDLThread::Reached::NotYet) worker.Wake();
    if (reached == FDLThread::Reached::AtTheEndOfItsNap) {
      ++foundByItself;
      EXPECT_GE(enqueued, 10) << "not before eight periods were kept";
    }
    ASSERT_TRUE(Eventually([&] { return worked == enqueued; }));
  }
  EXPECT_EQ(foundByItself, 3);
  // Work that can't wait for the end of the nap need not.
  while (enqueue() != FDLThread::Reached::NotYet) {
    worker.Wake();
    ASSERT_TRUE(Eventually([&] { return worked == enqueued; }));
  }
  worker.Wake();
  EXPECT_TRUE(Eventually([&] { return worked == enqueued; }));
}

TEST(FDLThread, BearsItsNameAndStopsWithWorkLeft) {
  FDLThread worker;
  std::array<char, 16> name{};
  std::atomic<bool> isNamed{false};
  worker.Start("ConvoEngine");
  worker.Queue().Enqueue(
      [&] {
        pthread_getname_np(pthread_self(), name.data(), name.size());
        isNamed = true;
      },
      [] {});
  worker.Wake();
  ASSERT_TRUE(Eventually([&] { return isNamed.load(); }));
  EXPECT_STREQ(name.data(), "ConvoEngine");
  std::atomic<int> ran{0};
  for (int i = 0; i < 9; ++i) worker.Queue().Enqueue([&] { ++ran; }, [&] { ++ran; });
  worker.BeginStop();
  worker.FinishStop();
  EXPECT_FALSE(worker.IsRunning());
  EXPECT_EQ(worker.CancelCounter(), 0);
  worker.Start("ConvoEngine");
  EXPECT_TRUE(worker.IsRunning());
}

}  // namespace
}  // namespace Vantora::dsp
