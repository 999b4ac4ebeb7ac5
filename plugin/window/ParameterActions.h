#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "plugin/window/Widget.h"

/// What every control of a parameter can do, whatever it looks like. `parameters` are moved together, the
/// first one is shown: left and right of the same knob.
namespace Vantora::plugin {

using ParameterList = std::vector<uint32_t>;

/// The parameter's value for people: as its own text, but ratios in percent.
std::string ValueText(Desk& desk, uint32_t parameter, float normalized);
/// Sets a typed value: numbers without a unit count in the unit that is shown, so "70" is 70 %; "0.7" still
/// is, too. One sentence when it isn't one.
std::string SetTyped(Desk& desk, uint32_t parameter, std::string text);
/// The parameter's name for people.
std::string TitleOf(uint32_t parameter);

/// Adds `steps` hundredths of the travel, or whole steps of a stepped parameter; tenths of that when
/// `isFine`. Part of a gesture that ends by itself.
void Nudge(Desk& desk, const ParameterList& parameters, float steps, bool isFine);
/// Sets a position, with a gesture of its own.
void SetAll(Desk& desk, const ParameterList& parameters, float normalized);
/// To the positions that double click goes to.
void Reset(Desk& desk, const ParameterList& parameters);
/// Lays a text entry over `place`.
void OpenValueEntry(Desk& desk, const ParameterList& parameters, Rect place);
/// Reset, type, copy and what else the shell offers for a parameter.
void OpenParameterMenu(Desk& desk, const ParameterList& parameters, Point at, Rect entryPlace);
/// Arrows, page, home, end, enter, delete and menu. False for other keys.
bool StrikeParameter(Desk& desk, const ParameterList& parameters, const Stroke& stroke, Rect entryPlace);
/// "Pitch of the comb. 20 Hz to 20 kHz.", from the parameter's own note.
std::string ParameterTip(Desk& desk, uint32_t parameter);

}  // namespace Vantora::plugin
