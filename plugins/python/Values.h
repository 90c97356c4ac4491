// Values of ports as Python has them, and back.
#pragma once

#include <pybind11/pybind11.h>

#include <memory>
#include <string>

#include "Brannow/ZQVuoPortValue.h"

namespace python {

/// From a bool, an int, a float, a str, a tuple of two numbers (a point) or of four (a color).
std::shared_ptr<const ZQVuoPortValue> valueOf(const pybind11::handle& object);

/// None without a value.
pybind11::object objectOf(const std::shared_ptr<const ZQVuoPortValue>& value);

/// A str, whatever the bytes are.
pybind11::str textOf(const std::string& text);

}  // namespace python
