#pragma once

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include "offline/ModuleKnobs.h"

namespace Vantora::python {

/// The rows of a module's knobs: (name, unit, note, labels, minimum, maximum, start) each.
inline pybind11::list DescribeKnobs(const offline::ModuleKnobs& knobs) {
  pybind11::list rows;
  for (size_t i = 0; i < knobs.Size(); ++i) {
    rows.append(pybind11::make_tuple(knobs.Name(i), knobs.Note(i).unit, knobs.Note(i).use,
                                     knobs.Note(i).labels, knobs.Minimum(i), knobs.Maximum(i),
                                     knobs.Start(i)));
  }
  return rows;
}

}  // namespace Vantora::python
