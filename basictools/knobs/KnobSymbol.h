#pragma once

#include <string>

#include "basictools/knobs/KnobRow.h"

namespace Vantora::Knobs {

/// What programs call a knob within its module: the row's symbol, or its name in snake case ("HPFCutoff" is
/// "hpf_cutoff", "GUI Visible" is "gui_visible"). A valid C identifier. Any thread; allocates.
std::string SymbolOf(const Row& row);

}  // namespace Vantora::Knobs
