#pragma once

#include <functional>
#include <memory>
#include <set>

#include "runtime/graph/Canvas.h"
#include "runtime/graph/NodeWork.h"
#include "runtime/graph/PictureSize.h"
#include "runtime/text/Typesetter.h"

namespace vuo {

/// Sets text, over a picture where one goes in. The letters are set anew when what decides about
/// them has changed, and the picture is drawn anew when they have, or what they stand on.
class TextNode : public NodeWork {
 public:
  /// `warn` is called on the composition's thread, once with each text.
  TextNode(const Node& node, Canvas& canvas, std::function<void(const std::string&)> warn);
  Value run(const std::vector<Value>& inputs) override;

 private:
  /// What the drawing depends on besides the letters.
  struct Drawing {
    PictureSize::Size size;
    ImageRef below;
    std::int64_t left = 0, bottom = 0;  ///< of the box
    bool operator==(const Drawing& other) const;
  };

  TextSetting settingFrom(const std::vector<Value>& inputs, PictureSize::Size size) const;
  void setLetters(const TextSetting& setting);
  ImageRef draw(const Drawing& drawing);

  Canvas& _canvas;
  const std::function<void(const std::string&)> _warn;
  const PictureSize _size;
  const ShaderProgram _program;
  std::unique_ptr<Typesetter> _typesetter;  ///< made for the first text
  std::set<std::string> _warnings;          ///< that were told

  TextSetting _setting;  ///< of the letters
  Letters _letters;      ///< without their pixels, which are in the texture
  ImageRef _lettersImage;
  Drawing _drawing;  ///< of the picture
  ImageRef _picture;
};

}  // namespace vuo
