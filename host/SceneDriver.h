// What rendering and filtering have in common: one composition in one scene that is asked for one
// picture after the other.
#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Brannow/Brannow.h"
#include "host/Failure.h"
#include "host/FrameRate.h"
#include "host/FrameSink.h"
#include "host/HostSession.h"
#include "host/Progress.h"

struct SceneOptions {
  std::string file;
  /// A file, a pattern, or "-" for video on standard output; none: the composition's name.
  std::optional<std::string> output;
  std::optional<std::string> size;  ///< "WxH"
  VideoFormat format = VideoFormat::Y4m;
  std::optional<std::string> preset;     ///< a file
  std::vector<std::string> assignments;  ///< "NAME=VALUE"
  std::vector<std::string> images;       ///< "NAME=FILE.png"
  std::vector<std::string> printed;      ///< outputs whose values are shown after each frame
  FrameRate rate;
  double start = 0;               ///< the time of the first frame, in seconds
  std::optional<double> timeout;  ///< the longest that one frame is waited for, in seconds
  bool inProcess = false;
  std::string cacheFolder;
};

/// The composition of the file, after telling what of it could not be read. Throws Failure when
/// nothing could.
std::shared_ptr<ZQVuoComposition> readComposition(const std::string& file);

/// Why a composition that lacks a command's ports is refused: all errors of the file where it has
/// any, since then it may publish nothing, otherwise the file and `lack`.
Failure refusal(const std::string& file, const std::string& lack);

/// All operations throw Failure.
class SceneDriver {
 public:
  SceneDriver(const SceneOptions& options, std::shared_ptr<ZQVuoComposition> composition,
              HostSession& session);
  /// Unloads the scene.
  ~SceneDriver();
  SceneDriver(const SceneDriver&) = delete;
  SceneDriver& operator=(const SceneDriver&) = delete;

  /// The rate of the frames, where it is not the one of the options.
  void setRate(FrameRate rate) { _rate = rate; }
  /// The time of frame `index`, from 1.
  double timeOf(int index) const { return _options.start + _rate.timeOf(index); }

  /// Compiles the composition where that is needed, says so, and starts it.
  void load();

  /// What a frame is to be of; none when there are no more frames.
  using Requests = std::function<std::optional<VuoFrameRequest>(int index)>;
  /// Draws and writes a frame for each request, in order, until there are no more or the user asks
  /// the program to stop. The first one also carries the inputs that were named on the command
  /// line. While `isReady` says that a request is at hand, it is asked for ahead of the one before,
  /// so that the composition draws while a picture is being written. `count` is 0 where nobody
  /// knows.
  void run(const Requests& requests, const std::function<bool()>& isReady, int count);

 private:
  using Clock = std::chrono::steady_clock;
  struct Asked {
    int index;
    std::shared_ptr<VuoPendingFrame> frame;
  };

  void readInputs();
  void parseInputs();
  ZQBufferRef pictureIn(const std::string& file, const std::string& words) const;
  std::string namedInput(const std::string& text, const char* option, std::string& name) const;
  void tellHowLoaded(const std::string& file, Clock::time_point start);
  bool ask(const Requests& requests);
  std::optional<VuoFrame> collect(const Asked& asked, int count);
  VuoFrame waitFor(const Asked& asked, int count);
  void write(const VuoFrame& frame, int index, int count);
  void say(const std::string& line);
  std::string printedOutput(const std::string& name, const VuoFrame& frame) const;

  const SceneOptions& _options;
  std::shared_ptr<ZQVuoComposition> _composition;
  HostSession& _session;
  FrameRate _rate;
  std::map<std::string, VuoGLScene::Value> _values;
  std::map<std::string, ZQBufferRef> _images;
  std::shared_ptr<VuoGLScene> _scene;
  std::deque<Asked> _asked;
  int _lastIndex = 0;
  bool _moreRequests = true;
  ZQPixels _pixels;  // of the frame that is written
  std::unique_ptr<FrameSink> _sink;
  Progress _progress;
};

/// Sets a session up, runs `work` and puts the session away. The result is the exit status: 0, 1
/// after a message, or 128 plus the signal that ended the work.
int withSession(const std::string& cacheFolder, const std::function<void(HostSession&)>& work);
