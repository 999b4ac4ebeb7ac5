#pragma once

#include <pybind11/pybind11.h>

#include "host/HostError.h"

namespace Vantora::python {

/// Has this module's functions raise `prismel.PrismelError` where the library throws `HostError`. Both
/// modules of the package raise the same class, so it is defined in Python.
inline void TranslateErrors() {
  pybind11::register_local_exception_translator([](std::exception_ptr problem) {
    try {
      if (problem) std::rethrow_exception(problem);
    } catch (const host::HostError& error) {
      const pybind11::object kind = pybind11::module_::import("prismel.errors").attr("PrismelError");
      PyErr_SetString(kind.ptr(), error.what());
    }
  });
}

}  // namespace Vantora::python
