#include "plugins/python/Values.h"

namespace py = pybind11;

namespace python {
namespace {

double numberAt(const py::tuple& parts, std::size_t index) {
  return parts[index].cast<double>();
}

std::shared_ptr<const ZQVuoPortValue> value(auto contents) {
  return std::make_shared<const ZQVuoPortValue>(std::move(contents));
}

struct ToObject {
  py::object operator()(double number) const { return py::float_(number); }
  py::object operator()(std::int64_t number) const { return py::int_(number); }
  py::object operator()(bool truth) const { return py::bool_(truth); }
  py::object operator()(const ZQVuoColor& color) const {
    return py::make_tuple(color.red, color.green, color.blue, color.alpha);
  }
  py::object operator()(const ZQVuoPoint& point) const { return py::make_tuple(point.x, point.y); }
  py::object operator()(const std::string& text) const { return textOf(text); }
};

}  // namespace

std::shared_ptr<const ZQVuoPortValue> valueOf(const py::handle& object) {
  if (py::isinstance<py::bool_>(object)) return value(object.cast<bool>());
  if (py::isinstance<py::int_>(object)) return value(object.cast<std::int64_t>());
  if (py::isinstance<py::float_>(object)) return value(object.cast<double>());
  if (py::isinstance<py::str>(object)) return value(object.cast<std::string>());
  const auto parts = py::cast<py::tuple>(object);
  if (parts.size() == 2) return value(ZQVuoPoint{numberAt(parts, 0), numberAt(parts, 1)});
  if (parts.size() != 4) throw py::type_error("a point has two numbers, a color four");
  return value(
      ZQVuoColor{numberAt(parts, 0), numberAt(parts, 1), numberAt(parts, 2), numberAt(parts, 3)});
}

py::object objectOf(const std::shared_ptr<const ZQVuoPortValue>& value) {
  return value ? std::visit(ToObject{}, value->contents()) : py::none();
}

py::str textOf(const std::string& text) {
  PyObject* decoded =
      PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "replace");
  if (!decoded) throw py::error_already_set();
  return py::reinterpret_steal<py::str>(decoded);
}

}  // namespace python
