#pragma once

#include "platform/runtime/graph/NodeWork.h"

namespace vuo {

/// A picture from a PNG file. Having no inputs it runs once, so the file is read once.
class ImageFileNode : public NodeWork {
 public:
  ImageFileNode(std::string path, Canvas& canvas) : _path(std::move(path)), _canvas(canvas) {}
  Value run(const std::vector<Value>& inputs) override;

 private:
  const std::string _path;
  Canvas& _canvas;
};

}  // namespace vuo
