// The desktop host: one window, one composition.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "host/HostSession.h"
#include "host/view/FileChooser.h"
#include "host/view/FilterInput.h"
#include "host/view/FrameHistory.h"
#include "host/view/FrameMaker.h"
#include "host/view/InputValues.h"
#include "host/view/OscInput.h"
#include "host/view/OutputWindow.h"
#include "host/view/Panel.h"
#include "host/view/PictureSaver.h"
#include "host/view/Recording.h"
#include "host/view/ScenePlayer.h"
#include "host/view/ViewCommand.h"
#include "host/view/ViewWindow.h"

/// Why a file can't be shown; none when it can.
std::optional<std::string> whyNotShown(const std::string& file);

class Viewer : private ViewActions {
 public:
  /// Throws Failure when the input that the options name can't be used.
  Viewer(const ViewOptions& options, ViewWindow& window, HostSession& session);
  ~Viewer() override;

  /// Returns when the window has been closed.
  void run();

 private:
  using Clock = std::chrono::steady_clock;

  void open(const std::string& file) override;
  void reload() override;
  void setNewProcess(bool newProcess) override;
  void togglePause() override { _state.clock.setPaused(!_state.clock.isPaused()); }
  void savePreset() override;
  void usePreset(const std::string& file) override;
  void savePicture() override;
  void toggleOutput() override;
  void toggleRecording() override;
  void toggleFullScreen() override { _window.toggleFullScreen(); }
  void chooseInput(const std::string& name) override;
  void setValue(const ZQVuoCompositionPort& port, const ZQVuoPortValue& value) override;
  void setImage(const ZQVuoCompositionPort& port, const std::string& file) override;
  void backToDefault(const ZQVuoCompositionPort& port) override;

  void serve();
  void waitForNextTick();
  void serveUntilNextTick();
  bool isLoading() const;
  bool isIdle() const;
  void waitIdly();
  void handle(const WindowEvents& events);
  void press(SDL_Keycode key);
  void step(int frames);
  void takeOsc();
  void followTextFile();
  void rereadChosenFiles();
  void use(const Preset& preset);
  void drop(const std::string& path);
  VuoFrameRequest firstRequest() const;
  void started(const ZQBufferRef& firstPicture);
  void followSize();
  void showFrames();
  void askForFrame();
  bool isFilter() const;
  bool isStill() const { return _state.clock.isPaused() && !_isOutdated && !_maker.isBusy(); }
  void draw();
  void openOutput(int display);
  void closeOutput();
  void record(Y4mFile file);
  void record();
  void tellWhatWasRecorded();
  void tellWhatWasSaved(const std::vector<PictureSaver::Result>& results);
  void saved(const std::string& file);
  void warn(const std::vector<std::string>& warnings);
  void notice(const std::string& text);

  ViewWindow& _window;
  std::optional<OutputWindow> _output;  // whose size the picture has while it is there
  HostSession& _session;
  InputValues _values;
  FrameHistory _history;
  FileChooser _chooser;
  std::optional<OscInput> _osc;
  FileWatch _textFile;
  Clock::time_point _textSettles;
  ScenePlayer _player;
  FilterInput _input;
  ViewState _state;
  Panel _panel;
  std::optional<Preset> _presetAtStart;
  std::string _startedFile;  // whose values and pictures these are
  VuoFrameRequest _set;      // what the user has given it since the last frame was asked for
  ZQBufferRef _picture;
  ZQBufferRef _filtered;    // what a filter was given for it
  bool _isOutdated = true;  // a pause lets through what has been started, set or chosen
  std::string _problem;     // of the last frame
  ZQSize _size;
  bool _showsPanel = true;
  std::string _notice;
  Clock::time_point _noticeEnds;
  Clock::time_point _nextTick;
  Clock::time_point _nextOutputs;
  const FrameRate _recordingRate;
  std::optional<Y4mFile> _recordingAtStart;  // as soon as there is a picture
  std::optional<Recording> _recording;       // until all of it is written
  PictureSaver _saver;
  FrameMaker _maker;  // ends first: it works on what stands above
};
