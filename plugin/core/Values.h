#pragma once

#include <array>
#include <atomic>
#include <bit>
#include <cstdint>
#include <memory>
#include <mutex>

#include "basictools/BitCast.h"

namespace Vantora::plugin {

/// Parameters of the effect, by flat index: the size of `host::ParameterTable`.
inline constexpr uint32_t kParameterCount = 228;

/// A position, 0 to 1, for every parameter.
using Positions = std::array<float, kParameterCount>;

/// Values: what every parameter is set to, and the way of a change from the main thread to the audio thread.
///
/// The last value wins: a parameter has one place for its next value and a bit that says that it is new, so
/// that any number of writes while nothing is processed costs nothing and ends in the last one. A whole sound
/// travels as one piece of memory, taken up before one block; single writes made after it follow it, those
/// made before are dropped.
///
/// Threads  `Write` and `WriteSound` on any threads but the audio thread (they exclude each other by a lock),
///          `TakeUp` and `Note` on the audio thread, `Get` anywhere.
class Values {
 public:
  Values() = default;
  ~Values();
  Values(const Values&) = delete;
  Values& operator=(const Values&) = delete;

  /// [any thread] What is set.
  float Get(uint32_t index) const { return shown[index].load(std::memory_order_relaxed); }
  Positions All() const;

  /// [not process] One value for the next block.
  void Write(uint32_t index, float position);
  /// [not process; allocates] A whole sound for one block: everything that `TakeUp` then hands to
  /// `applySound`.
  void WriteSound(const Positions& sound);
  /// [not process, nothing processing] What waits is dropped: whoever starts a stream reads `All` instead.
  void DropWaiting();

  /// [process] The value came from the audio thread itself, or was written by the effect.
  void Note(uint32_t index, float position) { shown[index].store(position, std::memory_order_relaxed); }

  /// [process] Whether there is something to take up. A look before any exchange: nearly always nothing
  /// waits, and writing to shared memory costs more than all the rest.
  bool IsWaiting() const { return isWaiting.load(std::memory_order_relaxed); }

  /// [process] Calls `applySound(const Positions&)` if a sound waits, then `apply(index, position)` for
  /// single values.
  template <typename ApplySound, typename Apply>
  void TakeUp(ApplySound&& applySound, Apply&& apply) {
    if (!IsWaiting()) return;
    isWaiting.exchange(false, std::memory_order_acquire);
    std::array<uint64_t, kWords> bits{};
    for (size_t word = 0; word < kWords; ++word)
      bits[word] = dirty[word].exchange(0, std::memory_order_acquire);
    // After the bits: a value that followed a sound was published behind it, so that the sound is here by
    // now.
    if (Sound* sound = waitingSound.exchange(nullptr, std::memory_order_acquire); sound != nullptr) {
      applySound(sound->positions);
      takenSound = sound->number;
      Retire(sound);
    }
    for (size_t word = 0; word < kWords; ++word) {
      for (uint64_t rest = bits[word]; rest != 0; rest &= rest - 1) {
        const auto index = static_cast<uint32_t>(word * 64 + static_cast<size_t>(std::countr_zero(rest)));
        const uint64_t entry = waiting[index].load(std::memory_order_relaxed);
        if (static_cast<uint32_t>(entry >> 32) < takenSound) continue;  // older than the sound
        const float position = BitCast<float>(static_cast<uint32_t>(entry));
        Note(index, position);
        apply(index, position);
      }
    }
  }

 private:
  static constexpr size_t kWords = (kParameterCount + 63) / 64;
  struct Sound {
    Positions positions;
    uint32_t number;
    Sound* next = nullptr;  // in the list of retired ones
  };
  void Retire(Sound* sound);
  void FreeRetired();

  std::atomic<bool> isWaiting{false};  // first: asked in every block
  std::array<std::atomic<float>, kParameterCount> shown{};
  std::array<std::atomic<uint64_t>, kParameterCount>
      waiting{};  // number of the sound before it, value's bits
  std::array<std::atomic<uint64_t>, kWords> dirty{};
  std::atomic<Sound*> waitingSound{nullptr};
  std::atomic<Sound*> retired{nullptr};  // the audio thread is done with them; freed by the writers
  uint32_t takenSound = 0;               // audio thread's
  std::mutex writers;                    // excludes writers from each other, never the audio thread
  uint32_t soundNumber = 0;              // the writers'
};

}  // namespace Vantora::plugin
