#include "plugins/python/Description.h"

#include <pybind11/stl.h>

#include "Brannow/ZQVuoComposition.h"
#include "plugins/python/CallOutside.h"
#include "plugins/python/Values.h"

namespace py = pybind11;
using namespace pybind11::literals;

namespace python {
namespace {

py::object nameOf(const char* name) {
  return name ? py::object(py::str(name)) : py::none();
}

py::object role(const ZQVuoComposition& composition, const ZQVuoComposition::Port& port) {
  if (port == composition.runnerWidthPort()) return py::str("width");
  if (port == composition.runnerHeightPort()) return py::str("height");
  if (port == composition.runnerTimePort()) return py::str("time");
  if (port == composition.runnerImageInputPort()) return py::str("image");
  if (port == composition.runnerImageOutputPort()) return py::str("picture");
  if (port == composition.runnerTxtSrcFileInputPort()) return py::str("text file");
  return py::none();
}

py::list ports(const ZQVuoComposition& composition, const ZQVuoComposition::PortList& list) {
  py::list described;
  for (const auto& port : list)
    described.append(py::dict("name"_a = textOf(port->portName()),
                              "type"_a = nameOf(ZQVuoPortTypeDescription(port->portType())),
                              "default"_a = objectOf(port->defaultVal()), "min"_a = port->minVal(),
                              "max"_a = port->maxVal(), "step"_a = port->stepVal(),
                              "has_control"_a = port->wantsUI(),
                              "role"_a = role(composition, port)));
  return described;
}

py::list problems(const ZQVuoComposition& composition) {
  py::list described;
  for (const auto& problem : composition.problems())
    described.append(py::dict("kind"_a = nameOf(ZQVuoProblemKindDescription(problem.kind)),
                              "line"_a = problem.line, "text"_a = textOf(problem.text)));
  return described;
}

}  // namespace

py::dict describe(const std::string& path) {
  const auto composition = [&] {
    const CallOutside outside;
    return ZQVuoComposition::initWithPath(path);
  }();
  if (!composition) throw std::bad_alloc();
  return py::dict(
      "is_filter"_a = composition->conformsToVuoProtocol(ZQVuoProtocol_ImageFilter),
      "is_generator"_a = composition->conformsToVuoProtocol(ZQVuoProtocol_ImageGenerator),
      "inputs"_a = ports(*composition, composition->publishedInputPorts()),
      "outputs"_a = ports(*composition, composition->publishedOutputPorts()),
      "problems"_a = problems(*composition));
}

}  // namespace python
