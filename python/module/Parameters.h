#pragma once

#include <pybind11/pybind11.h>

namespace Vantora::python {

/// Adds the parameter table and presets: `parameters()`, `find(name)`, `parse(index, text)`,
/// `parse_value(index, number)`, `text(index, position)`, `value(index, position)`, `parse_preset(json,
/// origin)`, `preset_json(...)`, `find_preset(text, folders)`, `user_preset_folder()` and
/// `list_presets(folder)`.
void AddParameters(pybind11::module_& module);

}  // namespace Vantora::python
