#pragma once

#include <atomic>
#include <concepts>
#include <cstdint>
#include <memory>
#include <tuple>
#include <utility>

#include "dsp/convolution/StackFunction.h"

namespace Vantora::dsp {

namespace CommandQueueHelper {

/// Keeps a parameter out of template deduction, so that the member function's signature alone fixes its type.
template <typename T>
struct identity {
  using type = T;
};

/// A member function to be called later, with its arguments held by value.
template <typename Object, typename... Parameters>
struct MemberCall {
  Object* object;
  void (Object::*function)(Parameters...);
  std::tuple<std::decay_t<Parameters>...> arguments;

  void operator()(bool cancelled) {
    if (cancelled) return;
    std::apply([this](auto&... held) { (object->*function)(held...); }, arguments);
  }
};

/// Two callables of which one runs: `cancel` when the command is cancelled, `work` otherwise.
template <typename Work, typename Cancel>
struct WorkOrCancel {
  [[no_unique_address]] Work work;
  [[no_unique_address]] Cancel cancel;

  void operator()(bool cancelled) {
    if (cancelled) {
      cancel();
    } else {
      work();
    }
  }
};

}  // namespace CommandQueueHelper

/// CommandQueue: calls on their way from exactly one thread, the producer, to exactly one other, the
/// consumer, through a ring that never waits and never allocates.
///
/// `Size` is what a command may capture, in bytes, its table pointer of 8 included; a
/// command that doesn't fit is an error of the build. `Capacity` commands fit: one
/// slot more exists, which stays free, so that equal indexes mean an empty ring.
/// Commands must be copyable. One that throws on the consumer's side ends the process.
///
/// The producer owns `writeIndex`, the consumer owns `readIndex`; each only looks at the other's. A release
/// store would do for the ring itself (CommandQueueOrders.TheRingItselfWantsNoMoreThanRelease tries every
/// order): it hands one slot from one thread to the other. The stores are seq_cst, so that all threads see
/// the moves of all rings in one order: whoever finds a later command gone from one queue finds an earlier
/// one gone from another. That costs a fence a command, not a block. `Atomic` is a seam for that test.
template <size_t Size, uint64_t Capacity, template <typename> class Atomic = std::atomic>
class CommandQueue {
 public:
  using Command = stlutils::stack_function<Size, void, bool>;

  CommandQueue() : slots(std::make_unique<Command[]>(kSlotCount)) {}
  /// Destroys what is left, in ring order, and runs nothing of it.
  ~CommandQueue() { Discard(); }
  CommandQueue(const CommandQueue&) = delete;
  CommandQueue& operator=(const CommandQueue&) = delete;

  /// [producer] Stores a command that runs `work`, or `cancel` when it is cancelled; both take no argument.
  /// False when the ring is full: the command and what it captured are destroyed.
  template <typename Work, typename Cancel>
  requires std::invocable<Work&> && std::invocable<Cancel&>
  bool Enqueue(Work work, Cancel cancel) noexcept {
    return Push(CommandQueueHelper::WorkOrCancel<Work, Cancel>{std::move(work), std::move(cancel)});
  }

  /// [producer] Stores a call of `function` on `object`, which does nothing when it is cancelled. The
  /// arguments are held by value. False when the ring is full.
  template <typename Object, typename... Parameters>
  bool Enqueue(Object* object, void (Object::*function)(Parameters...),
               typename CommandQueueHelper::identity<Parameters>::type... arguments) noexcept {
    return Push(
        CommandQueueHelper::MemberCall<Object, Parameters...>{object, function, {std::move(arguments)...}});
  }

  /// [consumer] Takes the oldest command and runs it. False when there was none.
  /// Its slot is free again before it runs, so a long command doesn't hold up the producer.
  bool ExecuteOne(bool cancelled) noexcept {
    const uint64_t slot = readIndex.load(std::memory_order_relaxed);  // ours
    if (slot == writeIndex.load(std::memory_order_acquire)) return false;
    Command command;
    slots[slot].CopyInto(command);
    slots[slot].Reset();
    readIndex.store(Next(slot), std::memory_order_seq_cst);  // hands the emptied slot back
    if (!command.IsEmpty()) command(cancelled);
    return true;
  }

  /// [consumer] Destroys all commands without running them.
  void Discard() noexcept {
    uint64_t slot = readIndex.load(std::memory_order_relaxed);
    while (slot != writeIndex.load(std::memory_order_acquire)) {
      slots[slot].Reset();
      slot = Next(slot);
      readIndex.store(slot, std::memory_order_seq_cst);
    }
  }

 private:
  static constexpr uint64_t kSlotCount = Capacity + 1;
  static constexpr size_t kCacheLine = 64;

  static constexpr uint64_t Next(uint64_t index) { return index + 1 == kSlotCount ? 0 : index + 1; }

  template <typename F>
  bool Push(F&& callable) noexcept {
    Command command(std::forward<F>(callable));
    const uint64_t slot = writeIndex.load(std::memory_order_relaxed);  // ours
    const uint64_t next = Next(slot);
    // Acquire: the consumer's Reset of this slot comes before we fill it again.
    if (next == readIndex.load(std::memory_order_acquire)) return false;
    command.MoveInto(slots[slot]);
    writeIndex.store(next, std::memory_order_seq_cst);  // publishes the slot
    return true;
  }

  alignas(kCacheLine) Atomic<uint64_t> writeIndex{0};
  alignas(kCacheLine) Atomic<uint64_t> readIndex{0};
  alignas(kCacheLine) std::unique_ptr<Command[]> slots;
};

}  // namespace Vantora::dsp
