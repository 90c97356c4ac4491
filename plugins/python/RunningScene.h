// A scene as `_scene.py` uses it.
#pragma once

#include <pybind11/pybind11.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "Brannow/VuoGLScene.h"

namespace python {

/// A picture on the GPU that is set as an input.
class Image {
 public:
  /// `pixels`: C-contiguous, of height by width by 4 bytes. Read where they lie.
  explicit Image(const pybind11::buffer& pixels);
  ~Image();
  Image(const Image&) = delete;
  Image& operator=(const Image&) = delete;
  const ZQBufferRef& buffer() const { return _buffer; }

 private:
  ZQBufferRef _buffer;
};

/// An answer to a request.
class Frame {
 public:
  explicit Frame(VuoFrame frame) : _frame(std::move(frame)) {}
  ~Frame();
  Frame(const Frame&) = delete;
  Frame& operator=(const Frame&) = delete;
  const char* answer() const;
  const char* reason() const;
  pybind11::str message() const;
  /// The picture as an array; None where there is none.
  pybind11::object pixels() const;
  /// The value of an output as it was with the picture, an array where it is an image; None
  /// without.
  pybind11::object output(const std::string& name) const;

 private:
  VuoFrame _frame;
};

class Changes;

/// Every operation is called with the interpreter's lock and gives it up while it waits. Waits end
/// when a signal's handler raises.
class RunningScene {
 public:
  RunningScene(std::string file, bool inProcess, const std::optional<double>& patience);
  ~RunningScene();
  RunningScene(const RunningScene&) = delete;
  RunningScene& operator=(const RunningScene&) = delete;

  /// Waits until the composition has come up. None, or why it has not: ("compile", the compiler's
  /// text) or ("start", the reason).
  pybind11::object load();
  /// (state, message)
  pybind11::tuple status() const;
  using Size = std::pair<double, double>;
  std::shared_ptr<VuoPendingFrame> ask(double time, const Size& size, const Image* image,
                                       const pybind11::dict& values);
  std::shared_ptr<Frame> take(const std::shared_ptr<VuoPendingFrame>& pending,
                              const std::optional<double>& timeout);
  /// After an answer that the composition has ended: until `status` tells it.
  void awaitLoss();
  void close();

 private:
  template <class Condition>
  void waitWhile(Condition condition);

  const std::string _file;
  const std::shared_ptr<Changes> _changes;
  std::shared_ptr<VuoGLScene> _scene;
};

}  // namespace python
