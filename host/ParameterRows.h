#pragma once

#include <vector>

#include "host/Parameter.h"

namespace Vantora::host {

/// The 228 parameters in the order of their indices, from one row for each knob of each module. Built anew at
/// every call; `ParameterTable` keeps one.
std::vector<Parameter> MakeParameters();

}  // namespace Vantora::host
