#include "plugins/python/PixelArray.h"

#include <memory>
#include <utility>
#include <vector>

#include "Brannow/Engine.h"
#include "plugins/python/CallOutside.h"

namespace py = pybind11;

namespace python {
namespace {

using Pixels = std::unique_ptr<ZQPixels>;

/// Of what a loop over frames lets go of, no more is ever waiting.
constexpr std::size_t kMostIdle = 2;

/// With the interpreter's lock.
std::vector<Pixels>& idle() {
  static auto& list = *new std::vector<Pixels>;
  return list;
}

Pixels popIdle() {
  if (idle().empty()) return std::make_unique<ZQPixels>();
  Pixels pixels = std::move(idle().back());
  idle().pop_back();
  return pixels;
}

void takeBack(PyObject* capsule) {
  Pixels pixels(static_cast<ZQPixels*>(PyCapsule_GetPointer(capsule, nullptr)));
  if (idle().size() < kMostIdle) idle().push_back(std::move(pixels));
}

}  // namespace

py::object arrayOf(const ZQBufferRef& buffer) {
  if (!buffer) return py::none();
  Pixels pixels = popIdle();
  {
    const CallOutside outside;
    buffer->pool()->readPixels(*buffer, *pixels);
  }
  if (pixels->rgba.empty()) return py::none();
  PyObject* capsule = PyCapsule_New(pixels.get(), nullptr, takeBack);
  if (!capsule) throw py::error_already_set();
  const auto owner = py::reinterpret_steal<py::object>(capsule);
  const ZQPixels& owned = *pixels.release();
  return py::array_t<std::uint8_t>({owned.height, owned.width, std::size_t{4}}, owned.rgba.data(),
                                   owner);
}

}  // namespace python
