#pragma once

#include <pybind11/pybind11.h>

namespace Vantora::python {

/// Adds `plate_knobs()`, `check_plate_knob(name, text)`, `PlateStream` and `noise(...)`.
void AddPlateAndNoise(pybind11::module_& module);

}  // namespace Vantora::python
