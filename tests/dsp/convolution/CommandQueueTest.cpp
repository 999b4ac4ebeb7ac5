#include "dsp/convolution/CommandQueue.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "dsp/convolution/ContainerErrors.h"
#include "tests/dsp/convolution/OrderExplorer.h"
#include "tests/support/Eventually.h"

namespace Vantora::dsp {
namespace {

TEST(CommandQueue, HoldsTenCommandsAndDestroysTheEleventh) {
  CommandQueue<64, 10> queue;
  const auto held = std::make_shared<int>(0);
  for (int i = 0; i < 10; ++i) EXPECT_TRUE(queue.Enqueue([held] { ++*held; }, [] {}));
  EXPECT_EQ(held.use_count(), 11);
  EXPECT_FALSE(queue.Enqueue([held] { ++*held; }, [] {}));
  EXPECT_EQ(held.use_count(), 11);
  while (queue.ExecuteOne(false)) {
  }
  EXPECT_EQ(*held, 10);
  EXPECT_EQ(held.use_count(), 1);
  EXPECT_FALSE(queue.ExecuteOne(false));
}

TEST(CommandQueue, KeepsTheOrderAcrossTheWrap) {
  CommandQueue<64, 3> queue;
  std::vector<int> order;
  int next = 0;
  for (int round = 0; round < 20; ++round) {
    while (queue.Enqueue([&order, n = next] { order.push_back(n); }, [] {})) ++next;
    for (int i = 0; i <= round % 3; ++i) EXPECT_TRUE(queue.ExecuteOne(false));
  }
  while (queue.ExecuteOne(false)) {
  }
  ASSERT_EQ(order.size(), static_cast<size_t>(next));
  for (int i = 0; i < next; ++i) EXPECT_EQ(order[static_cast<size_t>(i)], i);
}

TEST(CommandQueue, CancelledCommandRunsOnlyItsCancelAndAMemberCallNothing) {
  struct Target {
    int sum = 0;
    std::string text;
    void Add(int amount, const std::string& word) {
      sum += amount;
      text += word;
    }
  } target;
  CommandQueue<64, 10> queue;
  int worked = 0, cancelled = 0;
  queue.Enqueue([&] { ++worked; }, [&] { ++cancelled; });
  EXPECT_TRUE(queue.ExecuteOne(true));
  EXPECT_EQ(worked, 0);
  EXPECT_EQ(cancelled, 1);
  CommandQueue<328, 10> calls;
  calls.Enqueue(&target, &Target::Add, 2, "a");
  calls.Enqueue(&target, &Target::Add, 3, "b");
  calls.ExecuteOne(true);
  calls.ExecuteOne(false);
  EXPECT_EQ(target.sum, 3);
  EXPECT_EQ(target.text, "b");
}

TEST(CommandQueue, FreesTheSlotBeforeTheCommandRuns) {
  CommandQueue<64, 1> queue;
  bool accepted = false;
  queue.Enqueue([&] { accepted = queue.Enqueue([] {}, [] {}); }, [] {});
  queue.ExecuteOne(false);
  EXPECT_TRUE(accepted);
}

TEST(CommandQueue, DestructorDestroysWhatIsLeftAndRunsNothing) {
  const auto held = std::make_shared<int>(0);
  {
    CommandQueue<64, 4> queue;
    for (int i = 0; i < 3; ++i) queue.Enqueue([held] { ++*held; }, [held] { ++*held; });
    queue.ExecuteOne(false);
    for (int i = 0; i < 2; ++i) queue.Enqueue([held] { ++*held; }, [] {});
  }
  EXPECT_EQ(*held, 1);
  EXPECT_EQ(held.use_count(), 1);
}

TEST(CommandQueueDeathTest, CommandThatThrowsEndsTheProcess) {
  const auto runThrowingCommand = [] {
    CommandQueue<64, 1> queue;
    queue.Enqueue([] { throw 1; }, [] {});
    queue.ExecuteOne(false);
  };
  EXPECT_DEATH(runThrowingCommand(), "");
}

TEST(CommandQueue, TwoThreadsPassAMillionCommandsInOrder) {
  CommandQueue<64, 10> queue;
  constexpr uint64_t kCount = 1'000'000;
  uint64_t expected = 0, wrong = 0;
  std::thread producer([&] {
    test::Waiting wait;
    for (uint64_t i = 0; i < kCount;) {
      if (queue.Enqueue([&, i] { wrong += expected++ != i; }, [] {})) {
        ++i;
        wait.Over();
      } else {
        wait.Look();
      }
    }
  });
  test::Waiting wait;
  while (expected < kCount) {
    if (queue.ExecuteOne(false))
      wait.Over();
    else
      wait.Look();
  }
  producer.join();
  EXPECT_EQ(wrong, 0u);
}

// -----------------------------------------------------------------------------------------------------------
// Every order of the ring's loads and stores.

struct AsWritten {
  static std::memory_order Load(std::memory_order order) { return order; }
  static std::memory_order Store(std::memory_order order) { return order; }
  static std::memory_order Change(std::memory_order order) { return order; }
};
struct NoAcquire : AsWritten {
  static std::memory_order Load(std::memory_order) { return std::memory_order_relaxed; }
};
struct NoRelease : AsWritten {
  static std::memory_order Store(std::memory_order) { return std::memory_order_relaxed; }
};

struct ReleaseForSeqCst : AsWritten {
  static std::memory_order Store(std::memory_order order) {
    return order == std::memory_order_seq_cst ? std::memory_order_release : order;
  }
};

// A captured value that tells the explorer of every access to the memory it lies in.
class Payload {
 public:
  explicit Payload(int number) : value(number) { Touch(); }
  Payload(const Payload& other) : value(other.Read()) { Touch(); }
  Payload(Payload&& other) noexcept : value(other.Read()) { Touch(); }
  ~Payload() {
    tests::OrderExplorer::Active()->Write(this);
    --alive;
  }
  Payload& operator=(const Payload&) = delete;

  int Read() const {
    tests::OrderExplorer::Active()->Read(this);
    return value;
  }

  static inline int alive = 0;

 private:
  void Touch() {
    tests::OrderExplorer::Active()->Write(this);
    ++alive;
  }
  int value;
};

struct Exploration {
  uint64_t executions = 0, races = 0, faults = 0;
};

template <typename Weaken, uint64_t Capacity>
struct Explored {
  template <typename T>
  using Atomic = tests::ExploredAtomic<T, Weaken>;

  static Exploration Run(int enqueues, int executes) {
    tests::OrderExplorer explorer;
    Exploration result;
    result.executions = explorer.Explore([&] {
      std::vector<int> accepted, executed;
      {
        CommandQueue<64, Capacity, Atomic> queue;
        explorer.Race(
            [&] {
              for (int i = 0; i < enqueues; ++i) {
                if (queue.Enqueue([&executed, payload = Payload(i)] { executed.push_back(payload.Read()); },
                                  [] {})) {
                  accepted.push_back(i);
                }
              }
            },
            [&] {
              for (int i = 0; i < executes; ++i) queue.ExecuteOne(false);
            });
        const bool isPrefix = executed.size() <= accepted.size() &&
                              std::equal(executed.begin(), executed.end(), accepted.begin());
        if (!isPrefix || accepted.size() - executed.size() > Capacity) ++result.faults;
      }
      if (Payload::alive != 0) ++result.faults;
    });
    result.races = explorer.RaceCount();
    return result;
  }
};

// ThreadSanitizer doesn't follow a change of stacks, and
// there is nothing for it here: all runs on one thread.
#if !defined(__SANITIZE_THREAD__)
TEST(CommandQueueOrders, NoOrderOfLoadsAndStoresLosesOrTearsACommand) {
  for (const Exploration& explored : {Explored<AsWritten, 1>::Run(3, 3), Explored<AsWritten, 2>::Run(4, 3)}) {
    EXPECT_GT(explored.executions, 500u);
    EXPECT_EQ(explored.races, 0u);
    EXPECT_EQ(explored.faults, 0u);
    RecordProperty("executions", static_cast<int>(explored.executions));
  }
}

TEST(CommandQueueOrders, TheRingItselfWantsNoMoreThanRelease) {
  const Exploration explored = Explored<ReleaseForSeqCst, 2>::Run(4, 3);
  EXPECT_GT(explored.executions, 500u);
  EXPECT_EQ(explored.races + explored.faults, 0u);
}

TEST(CommandQueueOrders, ExplorationNoticesAMissingAcquireOrRelease) {
  EXPECT_GT((Explored<NoAcquire, 1>::Run(3, 3).races), 0u);
  EXPECT_GT((Explored<NoRelease, 1>::Run(3, 3).races), 0u);
}
#endif

}  // namespace
}  // namespace Vantora::dsp
