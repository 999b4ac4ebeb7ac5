#pragma once

#include <ucontext.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <utility>
#include <vector>

namespace Vantora::tests {

/// Runs two threads' work again and again, one at a time, until every order of their atomic operations has
/// been tried, and for every load every value that its memory order allows, stale ones included.
///
/// A load may return any store that isn't older than what its thread has seen or what happens before it.
/// Vector clocks follow release and acquire. Plain memory is reported through Read and Write; an access that
/// another thread's access doesn't happen before is a race, whether or not anything went wrong this time. A
/// thread that sleeps while the other one has ended, or sleeps too, is stuck.
///
/// Sequentially consistent operations stand in the one order in which the execution makes them: such a load
/// sees at least the last such store.
class OrderExplorer {
 public:
  using Clock = std::array<uint64_t, 2>;

  /// Repeats `run` (which makes the objects afresh and calls Race) until nothing new is left to try.
  /// Returns the number of executions.
  /// `mostSwitches` bounds how often a thread is interrupted where it could have gone on, for work whose
  /// orders would be too many; most faults need one or two.
  uint64_t Explore(const std::function<void()>& run, uint32_t mostSwitches = ~0u) {
    active = this;
    switchesAllowed = mostSwitches;
    uint64_t executions = 0;
    do {
      position = 0;
      clocks = {};
      plain.clear();
      run();
      ++executions;
    } while (Advance());
    active = nullptr;
    return executions;
  }

  /// Runs both bodies to their ends in the order being tried. They take turns on this thread, each on a stack
  /// of its own: a switch costs next to nothing, however busy the machine.
  void Race(const std::function<void()>& first, const std::function<void()>& second) {
    finished = {false, false};
    sleepsOn = {};
    isStuck = false;
    switches = 0;
    bodies = {&first, &second};
    // What was made before both threads happens before both, what follows comes after both.
    clocks = {Clock{1, 0}, Clock{0, 1}};
    for (int i = 0; i < 2; ++i) {
      stacks[i].resize(1 << 18);
      Capture(contexts[i]);
      contexts[i].uc_stack.ss_sp = stacks[i].data();
      contexts[i].uc_stack.ss_size = stacks[i].size();
      contexts[i].uc_link = nullptr;
      makecontext(&contexts[i], reinterpret_cast<void (*)()>(&OrderExplorer::Enter), 0);
    }
    running = true;
    self = static_cast<int>(Choose(2));
    swapcontext(&home, &contexts[self]);
    running = false;
  }

  uint64_t RaceCount() const { return races; }
  /// Executions that ended with a thread asleep.
  uint64_t StuckCount() const { return stuck; }
  /// Whether this execution did: its threads never came to their ends.
  bool IsStuck() const { return isStuck; }

  static OrderExplorer* Active() { return active; }
  static int Self() { return self; }
  bool IsRunning() const { return running; }

  /// One of `count` ways to go on; remembered, so that the next execution takes another one.
  size_t Choose(size_t count) {
    if (position == choices.size()) choices.push_back({0, count});
    return choices[position++].first;
  }

  /// Before each atomic operation: perhaps the other thread goes first.
  void SchedulingPoint() {
    if (!running || !CanOtherRun() || switches == switchesAllowed) return;
    if (Choose(2) == 0) return;
    ++switches;
    SwitchToOther();
  }

  /// The thread sleeps until the other one wakes it.
  void Sleep(const void* place) {
    sleepsOn[self] = place;
    if (CanOtherRun()) {
      SwitchToOther();
      return;
    }
    ++stuck;
    isStuck = true;
    setcontext(&home);  // what stands on both stacks is given up
  }
  /// Wakes the other thread if it sleeps at `place`.
  void WakeAt(const void* place) {
    if (sleepsOn[1 - self] == place) sleepsOn[1 - self] = nullptr;
  }

  Clock& OwnClock() { return clocks[self]; }
  void Tick() { ++clocks[self][self]; }

  void Read(const void* address) { Access(address, false); }
  void Write(const void* address) { Access(address, true); }

 private:
  struct Cell {
    Clock reads{}, writes{};
  };

  // On its own: getcontext returns twice, and GCC fears for every variable that lives beyond it.
  [[gnu::noinline]] static void Capture(ucontext_t& context) { getcontext(&context); }

  static void Enter() {
    OrderExplorer& explorer = *active;
    const int index = self;
    (*explorer.bodies[index])();
    explorer.finished[index] = true;
    self = 1 - index;
    if (explorer.sleepsOn[self] != nullptr) {
      ++explorer.stuck;
      explorer.isStuck = true;
    }
    setcontext(explorer.finished[self] || explorer.isStuck ? &explorer.home : &explorer.contexts[self]);
  }

  bool CanOtherRun() const { return !finished[1 - self] && sleepsOn[1 - self] == nullptr; }

  void SwitchToOther() {
    const int before = self;
    self = 1 - before;
    swapcontext(&contexts[before], &contexts[self]);
  }

  void Access(const void* address, bool isWrite) {
    if (!running) return;
    Cell& cell = plain[address];
    const int other = 1 - self;
    const uint64_t known = clocks[self][other];
    if (cell.writes[other] > known || (isWrite && cell.reads[other] > known)) ++races;
    (isWrite ? cell.writes : cell.reads)[self] = clocks[self][self];
  }

  bool Advance() {
    while (!choices.empty() && choices.back().first + 1 == choices.back().second) choices.pop_back();
    if (choices.empty()) return false;
    ++choices.back().first;
    return true;
  }

  static inline OrderExplorer* active = nullptr;
  static inline int self = 0;  // whose turn it is

  std::vector<std::pair<size_t, size_t>> choices;  // taken, of how many
  size_t position = 0;
  std::array<const std::function<void()>*, 2> bodies{};
  std::array<ucontext_t, 2> contexts{};
  std::array<std::vector<char>, 2> stacks;
  ucontext_t home{};
  std::array<bool, 2> finished{};
  std::array<const void*, 2> sleepsOn{};
  uint32_t switchesAllowed = ~0u, switches = 0;
  bool isStuck = false;
  uint64_t stuck = 0;
  std::array<Clock, 2> clocks{};
  std::map<const void*, Cell> plain;
  bool running = false;
  uint64_t races = 0;
};

/// An atomic under the explorer. `Weaken` turns a memory order
/// into a weaker one, to prove that the explorer notices.
template <typename T, typename Weaken>
class ExploredAtomic {
 public:
  ExploredAtomic(T value = T{}) : stores{{value, {}, {}, false, false}} {}  // NOLINT: as std::atomic

  T load(std::memory_order order) const {
    auto& explorer = *OrderExplorer::Active();
    order = Weaken::Load(order);
    // A relaxed load needs no switch in front of it: what
    // another order could show it, it may read as a stale store.
    if (order != std::memory_order_relaxed) explorer.SchedulingPoint();
    if (!explorer.IsRunning()) return stores.back().value;
    const int self = OrderExplorer::Self();
    size_t oldest = seen[self];
    for (size_t i = oldest; i < stores.size(); ++i) {
      if (order == std::memory_order_seq_cst && stores[i].isOrdered) oldest = i;
      if (stores[i].made[0] <= explorer.OwnClock()[0] && stores[i].made[1] <= explorer.OwnClock()[1])
        oldest = i;
    }
    const size_t taken = stores.size() - 1 - explorer.Choose(stores.size() - oldest);
    seen[self] = taken;
    const bool acquires = order == std::memory_order_acquire || order == std::memory_order_seq_cst;
    if (acquires) Acquire(stores[taken], order);
    return stores[taken].value;
  }

  void store(T value, std::memory_order order) {
    order = Weaken::Store(order);
    OrderExplorer::Active()->SchedulingPoint();
    Append(value, order, false);
  }

  T exchange(T value, std::memory_order order) {
    return Change([value](T) { return value; }, order);
  }
  T fetch_add(T value, std::memory_order order) {
    return Change([value](T old) { return static_cast<T>(old + value); }, order);
  }
  T fetch_sub(T value, std::memory_order order) {
    return Change([value](T old) { return static_cast<T>(old - value); }, order);
  }
  T fetch_or(T value, std::memory_order order) {
    return Change([value](T old) { return static_cast<T>(old | value); }, order);
  }
  bool compare_exchange_strong(T& expected, T desired, std::memory_order order) {
    OrderExplorer::Active()->SchedulingPoint();
    const T latest = stores.back().value;
    if (latest != expected) {
      expected = latest;
      seen[OrderExplorer::Self()] = stores.size() - 1;
      return false;
    }
    Acquire(stores.back(), Weaken::Change(order));
    Append(desired, Weaken::Change(order), true);
    return true;
  }
  bool compare_exchange_weak(T& expected, T desired, std::memory_order order) {
    return compare_exchange_strong(expected, desired, order);
  }
  bool compare_exchange_weak(T& expected, T desired, std::memory_order order, std::memory_order) {
    return compare_exchange_strong(expected, desired, order);
  }

  /// As the C++ library does it: the sleeper is counted, then the kernel compares once more and has it sleep.
  void wait(T old, std::memory_order order) {
    auto& explorer = *OrderExplorer::Active();
    while (load(order) == old) {
      explorer.SchedulingPoint();
      ++sleepers;
      if (load(std::memory_order_seq_cst) == old) explorer.Sleep(this);
      explorer.SchedulingPoint();
      --sleepers;
    }
  }
  void notify_one() {
    auto& explorer = *OrderExplorer::Active();
    explorer.SchedulingPoint();
    if (sleepers > 0) explorer.WakeAt(this);
  }

 private:
  struct Store {
    T value;
    OrderExplorer::Clock made, published;
    bool releases;
    bool isOrdered;  // sequentially consistent
  };

  static void Acquire(const Store& store, std::memory_order order) {
    if (order == std::memory_order_relaxed || order == std::memory_order_release || !store.releases) return;
    auto& clock = OrderExplorer::Active()->OwnClock();
    for (size_t k = 0; k < 2; ++k) clock[k] = std::max(clock[k], store.published[k]);
  }

  // Reads the latest store, as every read-modify-write does, and follows it.
  template <typename Function>
  T Change(Function function, std::memory_order order) {
    order = Weaken::Change(order);
    OrderExplorer::Active()->SchedulingPoint();
    const T old = stores.back().value;
    Acquire(stores.back(), order);
    Append(function(old), order, true);
    return old;
  }

  void Append(T value, std::memory_order order, bool isChange) {
    auto& explorer = *OrderExplorer::Active();
    if (!explorer.IsRunning()) {
      stores.push_back({value, {}, {}, false, false});
      return;
    }
    const int self = OrderExplorer::Self();
    explorer.Tick();
    OrderExplorer::Clock made{};
    made[self] = explorer.OwnClock()[self];
    const bool releases = order == std::memory_order_release || order == std::memory_order_acq_rel ||
                          order == std::memory_order_seq_cst;
    Store next{value, made, {}, releases, order == std::memory_order_seq_cst};
    if (releases) next.published = explorer.OwnClock();
    if (isChange && stores.back().releases) {  // goes on publishing what it follows
      next.releases = true;
      for (size_t k = 0; k < 2; ++k) {
        next.published[k] = std::max(next.published[k], stores.back().published[k]);
      }
    }
    stores.push_back(next);
    explorer.Tick();  // what follows the store isn't published by it
    seen[self] = stores.size() - 1;
  }

  std::vector<Store> stores;
  int sleepers = 0;
  mutable std::array<size_t, 2> seen{};
};

}  // namespace Vantora::tests
