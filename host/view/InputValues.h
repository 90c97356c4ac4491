// What the user has given the published inputs.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Brannow/VuoGLScene.h"
#include "host/Preset.h"
#include "host/view/FileWatch.h"

/// Kept by the ports' names, so that a composition that is started again gets them again.
class InputValues {
 public:
  using Value = std::shared_ptr<const ZQVuoPortValue>;

  /// The value that was set, else the default, else what a port of the type begins with.
  ZQVuoPortValue current(const ZQVuoCompositionPort& port) const;
  bool isDefault(const ZQVuoCompositionPort& port) const;
  /// The picture's file; empty without one.
  std::string imageFile(const ZQVuoCompositionPort& port) const;

  void set(const ZQVuoCompositionPort& port, ZQVuoPortValue value);
  /// `file` was watched since before the image was read from it.
  void setImage(const ZQVuoCompositionPort& port, std::string file, FileWatch watch,
                ZQBufferRef image);
  /// The names of the ports whose pictures' files have changed since the last call. Asks the file
  /// system as often as `FileWatch` does.
  std::vector<std::string> popChangedImages(FileWatch::Clock::time_point now);
  void forget(const ZQVuoCompositionPort& port);
  void clear();
  /// What differs from the defaults. Pictures by their whole paths.
  Preset preset() const;
  /// Everything, for a scene that has just started.
  VuoFrameRequest request() const;

 private:
  struct Image {
    std::string file;
    FileWatch watch;
    ZQBufferRef buffer;
  };
  std::map<std::string, ZQVuoPortValue> _values;
  std::map<std::string, Image> _images;
};
