// Every order of the loads and stores of what threads share without locks, within bounds that are told; and
// the same with one memory order weakened or one step left out, which must be caught. The ring of commands
// has its own exploration in tests/dsp/convolution/CommandQueueTest.cpp.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <map>
#include <memory>

#include "dsp/convolution/FDLRequest.h"
#include "dsp/convolution/WorkerThread.h"
#include "host/BoundedQueue.h"
#include "host/LatestValues.h"
#include "tests/dsp/convolution/OrderExplorer.h"
#include "tests/support/Sanitized.h"

// ThreadSanitizer and AddressSanitizer don't follow a change of stacks; all runs on one thread here anyway.
#if !defined(PRISMEL_SANITIZED)

namespace Vantora {
namespace {

using tests::OrderExplorer;

struct AsWritten {
  static std::memory_order Load(std::memory_order order) { return order; }
  static std::memory_order Store(std::memory_order order) { return order; }
  static std::memory_order Change(std::memory_order order) { return order; }
};
struct RelaxedLoads : AsWritten {
  static std::memory_order Load(std::memory_order) { return std::memory_order_relaxed; }
};
struct RelaxedStores : AsWritten {
  static std::memory_order Store(std::memory_order) { return std::memory_order_relaxed; }
};
struct RelaxedChanges : AsWritten {
  static std::memory_order Change(std::memory_order) { return std::memory_order_relaxed; }
};
struct ReleaseForSeqCst : AsWritten {
  static std::memory_order Load(std::memory_order order) {
    return order == std::memory_order_seq_cst ? std::memory_order_acquire : order;
  }
  static std::memory_order Store(std::memory_order order) {
    return order == std::memory_order_seq_cst ? std::memory_order_release : order;
  }
  static std::memory_order Change(std::memory_order order) {
    return order == std::memory_order_seq_cst ? std::memory_order_acq_rel : order;
  }
};

template <typename Weaken>
struct Under {
  template <typename T>
  using Atomic = tests::ExploredAtomic<T, Weaken>;
};

struct Outcome {
  uint64_t executions = 0, races = 0, stuck = 0, faults = 0;
  bool IsClean() const { return races + stuck + faults == 0; }
};

void Tell(const char* what, const Outcome& outcome) {
  std::printf("%s: %llu executions, %llu races, %llu stuck, %llu faults\n", what,
              static_cast<unsigned long long>(outcome.executions),
              static_cast<unsigned long long>(outcome.races), static_cast<unsigned long long>(outcome.stuck),
              static_cast<unsigned long long>(outcome.faults));
}

Outcome Finish(OrderExplorer& explorer, Outcome outcome) {
  outcome.races = explorer.RaceCount();
  outcome.stuck = explorer.StuckCount();
  return outcome;
}

/// Plain memory that the explorer watches.
struct Plain {
  int value = 0;
  void Write(int next) {
    OrderExplorer::Active()->Write(this);
    value = next;
  }
  int Read() const {
    OrderExplorer::Active()->Read(this);
    return value;
  }
};

// ---- The host's queue: any writers, one reader -----------------------------------------------------------

struct Letter {
  int number = 0;
  Letter() = default;
  explicit Letter(int n) : number(n) {}
  Letter(const Letter& other) : number(other.number) {}
  Letter& operator=(const Letter& other) {
    OrderExplorer::Active()->Read(&other);
    OrderExplorer::Active()->Write(this);
    number = other.number;
    return *this;
  }
};

template <typename Weaken>
Outcome WriterAndReader(int pushes, int pops) {
  OrderExplorer explorer;
  Outcome outcome;
  outcome.executions = explorer.Explore([&] {
    host::BoundedQueue<Letter, Under<Weaken>::template Atomic> queue(2);
    int accepted = 0, expected = 1, wrong = 0;
    const auto pop = [&] {
      Letter letter;
      if (queue.Pop(letter)) wrong += letter.number != expected++;
    };
    explorer.Race(
        [&] {
          for (int i = 0; i < pushes; ++i) accepted += queue.Push(Letter(accepted + 1)) ? 1 : 0;
        },
        [&] {
          for (int i = 0; i < pops; ++i) pop();
        });
    for (int i = 0; i < 3; ++i) pop();
    if (wrong != 0 || expected != accepted + 1) ++outcome.faults;
  });
  return Finish(explorer, outcome);
}

template <typename Weaken>
Outcome TwoWriters() {
  OrderExplorer explorer;
  Outcome outcome;
  outcome.executions = explorer.Explore([&] {
    host::BoundedQueue<Letter, Under<Weaken>::template Atomic> queue(2);
    int accepted = 0;
    const auto write = [&](int first) {
      return [&, first] {
        for (int i = 0; i < 2; ++i) accepted += queue.Push(Letter(first + i)) ? 1 : 0;
      };
    };
    explorer.Race(write(10), write(20));
    std::map<int, int> last;  // of each writer
    int got = 0;
    for (Letter letter; queue.Pop(letter); ++got) {
      int& before = last[letter.number / 10];
      if (letter.number <= before) ++outcome.faults;  // twice, or out of order
      before = letter.number;
    }
    if (got != accepted || accepted != 2) ++outcome.faults;
  });
  return Finish(explorer, outcome);
}

TEST(LockFree, TheHostsQueueKeepsEveryLetterInOrder) {
  const Outcome one = WriterAndReader<AsWritten>(3, 3), two = TwoWriters<AsWritten>();
  Tell("queue, writer and reader", one);
  Tell("queue, two writers", two);
  EXPECT_TRUE(one.IsClean());
  EXPECT_TRUE(two.IsClean());
  EXPECT_GT(one.executions, 100u);
  EXPECT_GT(two.executions, 100u);
  EXPECT_GT(WriterAndReader<RelaxedLoads>(3, 3).races, 0u);
  EXPECT_GT(WriterAndReader<RelaxedStores>(3, 3).races, 0u);
}

// ---- The latest values of other threads' hands -----------------------------------------------------------

template <typename Weaken>
Outcome LatestValue() {
  OrderExplorer explorer;
  Outcome outcome;
  outcome.executions = explorer.Explore([&] {
    host::LatestValuesOf<Under<Weaken>::template Atomic> values(2);
    std::array<float, 2> have{};
    const auto take = [&] { values.Take([&](uint32_t index, float value) { have[index] = value; }); };
    explorer.Race(
        [&] {
          values.Write(0, 0.25f);
          values.Write(1, 0.5f);
          values.Write(0, 0.75f);
        },
        [&] {
          take();
          take();
        });
    take();
    if (have[0] != 0.75f || have[1] != 0.5f) ++outcome.faults;  // the last write of each has arrived
  });
  return Finish(explorer, outcome);
}

TEST(LockFree, TheLastWriteOfEachParameterArrives) {
  const Outcome outcome = LatestValue<AsWritten>();
  Tell("latest values", outcome);
  EXPECT_TRUE(outcome.IsClean());
  EXPECT_GT(outcome.executions, 50u);
  EXPECT_GT(LatestValue<RelaxedChanges>().faults, 0u) << "the bit must publish the value";
}

// ---- A worker: wake-up, cancelling, stop -----------------------------------------------------------------

template <typename Weaken>
class ExploredWorker : public dsp::WorkerThread<ExploredWorker<Weaken>, Under<Weaken>::template Atomic> {
 public:
  struct ThreadScope {};
  void Work() { this->RunUntilStopped(); }
  using dsp::WorkerThread<ExploredWorker<Weaken>, Under<Weaken>::template Atomic>::HasToPassOn;
  /// As FDLThread::CancelJobs.
  void Cancel() {
    this->cancelCounter.fetch_add(1, std::memory_order_acq_rel);
    const auto lower = [this] {
      int32_t count = this->cancelCounter.load(std::memory_order_relaxed);
      while (count > 0 &&
             !this->cancelCounter.compare_exchange_weak(count, count - 1, std::memory_order_acq_rel)) {
      }
    };
    this->queue.Enqueue(lower, lower);
    this->Wake();
  }
};

/// Of a thread that could have gone on, in one execution. All orders would be too many; PRISMEL_LONG_TESTS
/// tries those of one more.
uint32_t Interruptions() { return std::getenv("PRISMEL_LONG_TESTS") != nullptr ? 3 : 2; }

enum class Waking { kAtOnce, kSoon, kNever };

template <typename Weaken>
Outcome WakeUp(Waking waking, uint32_t mostSwitches) {
  OrderExplorer explorer;
  Outcome outcome;
  outcome.executions = explorer.Explore(
      [&] {
        ExploredWorker<Weaken> worker;
        Plain input, result;
        explorer.Race(
            [&] {
              input.Write(7);
              worker.Queue().Enqueue([&] { result.Write(input.Read() + 1); }, [] {});
              // A worker that is said to look by itself must do so: only what `NotYet` tells is woken.
              if (waking == Waking::kAtOnce) worker.Wake();
              if (waking == Waking::kSoon && worker.WakeSoon() == ExploredWorker<Weaken>::Reached::NotYet) {
                worker.Wake();
              }
              worker.Queue().Enqueue([&] { result.Write(result.Read() + 1); }, [] {});
              if (waking != Waking::kNever) worker.RequestStop();
            },
            [&] { worker.Work(); });
        if (!explorer.IsStuck() && result.value != 9) ++outcome.faults;
      },
      mostSwitches);
  return Finish(explorer, outcome);
}

/// The engine's order: work for two workers, the second of which is to be woken by the first. Nobody stops
/// the first one, so that it always ends asleep.
template <typename Weaken>
Outcome PassingOn(uint32_t mostSwitches) {
  OrderExplorer explorer;
  Outcome outcome;
  outcome.executions = explorer.Explore(
      [&] {
        ExploredWorker<Weaken> first, second;
        bool hasRun = false;
        explorer.Race(
            [&] {
              first.Queue().Enqueue([&] { hasRun = true; }, [] {});
              second.WakeThrough(first);
              if (first.WakeSoon() == ExploredWorker<Weaken>::Reached::NotYet) first.Wake();
            },
            [&] { first.Work(); });
        if (!hasRun || first.HasToPassOn()) ++outcome.faults;
      },
      mostSwitches);
  outcome.races = explorer.RaceCount();
  return outcome;
}

template <typename Weaken>
Outcome Cancelling(uint32_t mostSwitches) {
  OrderExplorer explorer;
  Outcome outcome;
  outcome.executions = explorer.Explore(
      [&] {
        ExploredWorker<Weaken> worker;
        bool ranOnTime = false, isCancelled = false, ranLate = false, isWanted = false;
        explorer.Race(
            [&] {
              worker.Cancel();
              worker.Queue().Enqueue([&] { ranOnTime = true; }, [&] { isCancelled = true; });
              worker.Cancel();  // cancels what stands before it, whether the first has ended or not ...
              worker.Queue().Enqueue([&] { ranLate = true; }, [&] { isWanted = true; });  // ... and not this
              worker.RequestStop();
            },
            [&] { worker.Work(); });
        // The command between may have run before the second cancel came, or beside it, when its result is
        // stale; but never both or neither. What stands behind it runs.
        if (explorer.IsStuck()) return;
        if (ranOnTime == isCancelled || ranLate == isWanted || !ranLate) ++outcome.faults;
        if (worker.CancelCounter().load(std::memory_order_relaxed) != 0) ++outcome.faults;
      },
      mostSwitches);
  return Finish(explorer, outcome);
}

TEST(LockFree, AWorkerNeverSleepsOnWork) {
  const Outcome atOnce = WakeUp<AsWritten>(Waking::kAtOnce, Interruptions());
  const Outcome soon = WakeUp<AsWritten>(Waking::kSoon, Interruptions());
  Tell("wake-up", atOnce);
  Tell("wake-up, left to the worker's own look", soon);
  EXPECT_TRUE(atOnce.IsClean());
  EXPECT_TRUE(soon.IsClean());
  EXPECT_GT(atOnce.executions, 500u);
  EXPECT_GT(soon.executions, 500u);
  EXPECT_GT(WakeUp<AsWritten>(Waking::kNever, 1).stuck, 0u);
  for (const Waking waking : {Waking::kAtOnce, Waking::kSoon}) {
    EXPECT_GT(WakeUp<ReleaseForSeqCst>(waking, 2).stuck, 0u)
        << "without one order of count and sleep each can miss the other";
    EXPECT_GT(WakeUp<RelaxedStores>(waking, 2).races, 0u);
  }
}

TEST(LockFree, AWorkerThatIsReachedWakesTheNextOne) {
  const Outcome outcome = PassingOn<AsWritten>(Interruptions());
  Tell("wake-up, passed on", outcome);
  EXPECT_EQ(outcome.faults, 0u);
  EXPECT_EQ(outcome.races, 0u);
  EXPECT_GT(outcome.executions, 50u);
  EXPECT_GT(PassingOn<ReleaseForSeqCst>(2).faults, 0u);
}

TEST(LockFree, CancellingTakesEveryCommandOnceAndEnds) {
  const Outcome outcome = Cancelling<AsWritten>(Interruptions());
  Tell("cancelling", outcome);
  EXPECT_TRUE(outcome.IsClean());
  EXPECT_GT(outcome.executions, 1000u);
}

// ---- A request on its way: who owns its samples ----------------------------------------------------------

template <typename Weaken>
Outcome Request() {
  using State = dsp::OwnerState<Under<Weaken>::template Atomic>;
  OrderExplorer explorer;
  Outcome outcome;
  outcome.executions = explorer.Explore([&] {
    State state;
    Plain samples;
    dsp::CommandQueue<64, 2, Under<Weaken>::template Atomic> queue;
    int taken = 0;
    explorer.Race(
        [&] {  // the audio thread over two blocks
          for (int block = 1; block <= 2; ++block) {
            if (state.Get() == State::Ready) {
              if (samples.Read() != 10 * taken + 11) ++outcome.faults;
              ++taken;
              state.Set(State::Idle);
            }
            if (state.Get() != State::Idle) continue;
            samples.Write(10 * taken + 10);
            state.Set(State::Full);
            state.Set(State::Computing);
            queue.Enqueue(
                [&] {
                  samples.Write(samples.Read() + 1);
                  state.Set(State::Ready);
                },
                [] {});
          }
          if (state.Get() == State::Ready) samples.Read();
        },
        [&] {
          for (int i = 0; i < 2; ++i) queue.ExecuteOne(false);
        });
  });
  return Finish(explorer, outcome);
}

TEST(LockFree, ARequestsSamplesHaveOneOwnerAtATime) {
  const Outcome outcome = Request<AsWritten>();
  Tell("request", outcome);
  EXPECT_TRUE(outcome.IsClean());
  EXPECT_GT(outcome.executions, 100u);
  EXPECT_GT(Request<RelaxedChanges>().races, 0u);
  EXPECT_GT(Request<RelaxedLoads>().races, 0u);
}

}  // namespace
}  // namespace Vantora

#endif
