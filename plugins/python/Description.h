#pragma once

#include <pybind11/pybind11.h>

#include <string>

namespace python {

/// What the composition publishes, as dicts and lists of plain values; `_description.py` gives them
/// their form.
pybind11::dict describe(const std::string& path);

}  // namespace python
