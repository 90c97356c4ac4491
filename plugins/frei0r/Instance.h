#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Brannow/VuoGLScene.h"
#include "Brannow/ZQBufferPool.h"
#include "plugins/frei0r/HostClock.h"
#include "plugins/frei0r/Plugin.h"

namespace frei0r {

/// One use of the plug-in. The composition is loaded for the first picture, since hosts make
/// instances only to ask for the defaults; and again when it has ended. One thread at a time.
class Instance {
 public:
  Instance(const Plugin& plugin, unsigned int width, unsigned int height);

  void setParameter(std::size_t index, const void* pointer);
  void writeParameter(std::size_t index, void* pointer) const;
  /// The picture of that time, as the host's code at `caller` counts it. Where there is none, the
  /// last one; before the first, a filter's input as it is, and nothing but zeros of a source.
  void update(double time, const void* caller, const std::uint32_t* in, std::uint32_t* out);

 private:
  using Clock = std::chrono::steady_clock;

  bool canRender();
  void load();
  VuoFrame render(double seconds, const std::uint32_t* in);
  void keep(const VuoFrame& frame);
  void showKept(const std::uint32_t* in, std::uint32_t* out) const;
  /// Once for each text, however many frames it holds for.
  void say(const std::string& problem);

  const Plugin& _plugin;
  const std::size_t _width, _height;
  HostClock _clock;
  std::vector<Parameter::Value> _values;
  std::map<std::string, VuoGLScene::Value> _set, _unsent;  // by input
  std::shared_ptr<VuoGLScene> _scene;
  std::optional<Clock::time_point> _lastLoad;
  ZQPixels _input, _picture;
  std::uint64_t _shown = 0;  // the request that the kept picture is from
  std::string _said;
};

}  // namespace frei0r
