#pragma once

#include "runtime/graph/NodeWork.h"

namespace vuo {

/// A picture from a PNG file. Having no inputs it runs once, so the file is read once.
class ImageFileNode : public NodeWork {
 public:
  /// `name` is that of a file in `folder` or below.
  ImageFileNode(std::string folder, std::string name, Canvas& canvas)
      : _folder(std::move(folder)), _name(std::move(name)), _canvas(canvas) {}
  Value run(const std::vector<Value>& inputs) override;

 private:
  const std::string _folder, _name;
  Canvas& _canvas;
};

}  // namespace vuo
