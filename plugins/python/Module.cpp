// The module `brannow._native`. What it offers is for the package's own Python alone, which says
// what everything does; types are in `_native.pyi`.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include "plugins/python/CallOutside.h"
#include "plugins/python/Description.h"
#include "plugins/python/RunningScene.h"

namespace py = pybind11;
using namespace pybind11::literals;

PYBIND11_MODULE(_native, module) {
  py::options options;
  options.disable_function_signatures();
  module.def("describe", &python::describe, "path"_a);
  module.def("end", &python::endBeforeInterpreter);
  module.def("after_fork", &python::noteFork);

  py::class_<python::Image>(module, "Image")
      .def(py::init<const py::buffer&>(), "pixels"_a)
      .def("is_there", [](const python::Image& image) { return bool{image.buffer()}; });
  py::class_<VuoPendingFrame, std::shared_ptr<VuoPendingFrame>>(module, "PendingFrame")
      .def_property_readonly("not_taken", &VuoPendingFrame::notTaken);
  py::class_<python::Frame, std::shared_ptr<python::Frame>>(module, "Frame")
      .def_property_readonly("answer", &python::Frame::answer)
      .def_property_readonly("reason", &python::Frame::reason)
      .def_property_readonly("message", &python::Frame::message)
      .def("pixels", &python::Frame::pixels)
      .def("output", &python::Frame::output, "name"_a);
  py::class_<python::RunningScene>(module, "RunningScene")
      .def(py::init<std::string, bool, const std::optional<double>&>(), "file"_a, "in_process"_a,
           "patience"_a)
      .def("load", &python::RunningScene::load)
      .def("status", &python::RunningScene::status)
      .def("ask", &python::RunningScene::ask, "time"_a, "size"_a, "image"_a, "values"_a)
      .def("take", &python::RunningScene::take, "pending"_a, "timeout"_a)
      .def("await_loss", &python::RunningScene::awaitLoss)
      .def("close", &python::RunningScene::close);
}
