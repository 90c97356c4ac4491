// What rendering and filtering have in common: one composition in one scene, driven the way a
// host's display loop does.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Brannow/Brannow.h"
#include "host/Failure.h"
#include "host/FrameSink.h"
#include "host/HostSession.h"

struct SceneOptions {
  std::string file;
  /// A file, a pattern, or "-" for video on standard output; none: the composition's name.
  std::optional<std::string> output;
  std::optional<std::string> size;  ///< "WxH"
  VideoFormat format = VideoFormat::Y4m;
  std::vector<std::string> assignments;  ///< "NAME=VALUE"
  std::vector<std::string> images;       ///< "NAME=FILE.png"
  std::vector<std::string> printed;      ///< outputs whose values are shown after each frame
  double fps = 30;
  bool inProcess = false;
  std::string cacheFolder;
};

/// The composition of the file. Throws Failure when it can't be read.
std::shared_ptr<ZQVuoComposition> readComposition(const std::string& file);

/// All operations throw Failure.
class SceneDriver {
 public:
  SceneDriver(const SceneOptions& options, std::shared_ptr<ZQVuoComposition> composition,
              HostSession& session, LogCapture& log);
  /// Unloads the scene, which a report that is under way could otherwise keep alive.
  ~SceneDriver();
  SceneDriver(const SceneDriver&) = delete;
  SceneDriver& operator=(const SceneDriver&) = delete;

  VuoGLScene& scene() { return *_scene; }

  /// Compiles the composition, says so, starts it at `size` and sets the inputs that were named on
  /// the command line.
  void load(ZQSize size);
  /// Serves the main queue until the display would show the next frame. False when the user asked
  /// the program to stop.
  bool waitForNextTick();
  /// Writes the picture of frame `index` of `count`, 0 where nobody knows, and the printed outputs.
  void write(const ZQBuffer& picture, int index, int count);
  /// The rate that a video says it has.
  void setFps(double fps) { _fps = fps; }
  /// Ends the command, with all that the framework has to say about it.
  [[noreturn]] void fail(std::string message);

 private:
  void parseInputs();
  std::string namedInput(const std::string& text, const char* option, std::string& name) const;
  void compile();
  void tell(const std::string& line, int index, int count);
  void printOutputs();

  const SceneOptions& _options;
  std::shared_ptr<ZQVuoComposition> _composition;
  HostSession& _session;
  LogCapture& _log;
  std::vector<std::pair<std::string, VuoGLScene::Value>> _values;
  std::vector<std::pair<std::string, ZQBufferRef>> _images;
  std::shared_ptr<VuoGLScene> _scene;
  std::chrono::steady_clock::time_point _nextTick;
  double _fps;
  std::unique_ptr<FrameSink> _sink;  // made with the first picture
  std::ostream& _say;                // standard output, unless a video goes there
};

/// Sets a session up, runs `work` and puts the session away. The result is the exit status: 0, 1
/// after a message, or 128 plus the signal that ended the work.
int withSession(const std::string& cacheFolder,
                const std::function<void(HostSession&, LogCapture&)>& work);
