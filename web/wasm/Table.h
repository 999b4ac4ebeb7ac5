#pragma once

#include <string>

namespace Vantora::web {

/// Everything about the effect that a page shows, as JSON, out of the host library and the factory bank:
///
///     {"version": "1.0.0",
///      "parameters": [{"index", "id", "name", "title", "symbol", "order", "group", "role", "note", "unit",
/// "min", "max",
///                      "steps", "labels": [...], "preferred", "range", "twin",
///                      "inPresets"}, ... all 228],
///      "chords": [[semitones of each voice], ... by "HarmonizerChord"],
///      "presets": [{"file", "name", "description", "effect", "json"}, ...]}
///
/// "preferred" is a position 0 to 1, "min" and "max" are in the unit, "steps" is 0 for a continuous knob,
/// "twin" the index of the same knob on the other side, or -1.
std::string TableJson();

}  // namespace Vantora::web
