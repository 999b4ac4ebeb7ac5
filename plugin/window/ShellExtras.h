#pragma once

#include <cstdint>
#include <string>

namespace Vantora::plugin {

/// ShellExtras: what only a shell without a host of its own offers, and the window shows when there is one.
/// [main thread]
class ShellExtras {
 public:
  // ---- MIDI controllers

  /// The next controller that moves will move this knob.
  virtual void Learn(uint32_t parameter) = 0;
  virtual void Forget(uint32_t parameter) = 0;
  /// Whether this knob waits for a controller.
  virtual bool IsLearning(uint32_t parameter) const = 0;
  /// "CC 21"; empty for a knob that none moves.
  virtual std::string ControllerOf(uint32_t parameter) const = 0;

  // ---- What is heard

  /// "JACK, 48 kHz", "no sound card".
  virtual std::string DriverText() const = 0;
  /// Name of the file that plays; empty while it is the input.
  virtual std::string FileName() const = 0;
  /// Plays a sound file in a loop in place of the input. One sentence when it can't, empty for success.
  virtual std::string OpenFile(const std::string& path) = 0;
  virtual void UseInput() = 0;
  virtual bool IsPlaying() const = 0;
  virtual void SetPlaying(bool plays) = 0;
  /// Grows whenever something of this changed.
  virtual uint64_t ExtrasRevision() const = 0;

 protected:
  ~ShellExtras() = default;
};

}  // namespace Vantora::plugin
