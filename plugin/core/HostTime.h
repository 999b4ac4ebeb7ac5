#pragma once

#include <optional>

namespace Vantora::plugin {

/// HostTime: what a host says of the song at the first sample of a process call. What it doesn't say stays
/// empty, and what makes no sense (a tempo of 0, NaN) counts as not said: the tempo then stays as it was (120
/// at first), the song position goes on by itself.
struct HostTime {
  std::optional<double> tempo;         ///< quarter notes per minute
  std::optional<bool> isPlaying;       ///< without it: playing
  std::optional<double> songPosition;  ///< quarter notes since the song's start
};

}  // namespace Vantora::plugin
