#pragma once

#include <cstdint>

namespace Vantora::plugin {

/// HostLink: what a shell core tells its host, whatever the format. An adapter (or the standalone) implements
/// it.
///
/// Threads  [main thread], inside the call of the window or of the host that caused it. An adapter that
///          mustn't call its host from inside a host's call puts it aside for the next process call or timer.
class HostLink {
 public:
  /// A hand took or let go of a knob of the window.
  virtual void OnGestureBegin(uint32_t index) = 0;
  /// The window moved a knob to this position, 0 to 1.
  virtual void OnValue(uint32_t index, float normalized) = 0;
  virtual void OnGestureEnd(uint32_t index) = 0;
  /// Any number of values changed together and not by the host's automation: a preset, a song, A/B, undo.
  virtual void OnSoundChanged() = 0;
  /// Something changed that only the state holds (preset's name, window's size): the song wants saving.
  virtual void OnStateDirty() = 0;
  /// What was set is heard when the host activates anew: who can, asks for it.
  virtual void OnRestartWanted() {}

 protected:
  ~HostLink() = default;
};

}  // namespace Vantora::plugin
