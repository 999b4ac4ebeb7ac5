#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "plugin/standalone/AudioDriver.h"

namespace Vantora::plugin {

/// MidiMap: which controller moves which knob, learnt by turning it, kept in a file.
///
/// Threads  `Apply` on the audio thread, everything else on the main thread. The audio thread reads the
/// table and
///          hands back at most one caught controller; nobody waits.
class MidiMap {
 public:
  /// Reads `path` if there is one; what isn't understood in it goes to `Problem`. Writes it at every change.
  explicit MidiMap(std::filesystem::path path);

  /// The next controller that moves will move `parameter`.
  void Learn(uint32_t parameter) {
    learning.store(static_cast<int32_t>(parameter), std::memory_order_release);
  }
  void StopLearning() { learning.store(kNone, std::memory_order_release); }
  std::optional<uint32_t> Learning() const;
  /// No controller moves it any more.
  void Forget(uint32_t parameter);
  /// "CC 21", or "CC 21 on channel 3"; empty for none.
  std::string ControllerOf(uint32_t parameter) const;
  /// Takes over what was caught while learning. True when something changed.
  bool Tick();
  /// What couldn't be read or written; one sentence, answered once.
  std::string TakeProblem() { return std::exchange(problem, {}); }

  /// [process] Moves the knobs of `core` in the call of `Process` that follows.
  void Apply(std::span<const ControllerEvent> events, ShellCore& core);

 private:
  static constexpr int32_t kNone = -1;
  static constexpr size_t kControllers = 16 * 128;

  static size_t SlotOf(uint8_t channel, uint8_t controller) { return channel * 128u + controller; }
  void Read();
  void Write();

  std::filesystem::path path;
  std::string problem;
  std::array<std::atomic<int16_t>, kControllers> parameters;  // index, or kNone; relaxed: each stands alone
  std::atomic<int32_t> learning{kNone};                       // parameter that waits for a controller
  std::atomic<int32_t> caught{kNone};                         // parameter * kControllers + slot
};

}  // namespace Vantora::plugin
