#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "plugin/core/History.h"

namespace Vantora::plugin {

/// State: what a song keeps of one instance. As text it is a preset with more members, so that a person reads
/// it and the `prismel` command plays it:
///
///     {
///       "schema": 1,
///       "name": "Glass Choir",
///       "description": "...",
///       "parameters": {"Prismel_FXType": "comb", "Prismel_CombCutoff": "440 Hz"},
///       "state": 1,
///       "positions": {"Prismel_CombCutoff": 0.6041262, ...},
///       "bypass": false, "modified": false, "variation": 0, "windowScale": 1.0
///     }
///
/// "positions" hold every knob, each as the shortest text that reads back to the same float, and win over
/// "parameters": saved, loaded and saved again the bytes are the same, and a later change of what presets
/// fall back to doesn't touch old songs. Unknown members and knobs of a newer version are passed over; a
/// plain preset is a state, too.
struct State {
  static constexpr int kSchema = 1;

  Sound sound;               ///< all positions, "Bypass" included
  uint32_t variation = 0;    ///< which random sequence
  double windowScale = 1.0;  ///< of the window's drawn size

  std::string ToJson() const;

  /// Reads a text. `warnings` (may be null) takes a sentence for each thing that wasn't understood and passed
  /// over. Throws `host::HostError` for what is no state at all: empty, not JSON, neither positions nor
  /// parameters.
  static State Parse(std::string_view json, std::vector<std::string>* warnings = nullptr);
};

/// The positions of a sound that nobody named a value of, and the sound of a preset laid over them.
Positions PreferredPositions();

}  // namespace Vantora::plugin
