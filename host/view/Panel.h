// The controls beside the picture.
#pragma once

#include <string>

#include "host/view/FileChooser.h"
#include "host/view/FilterInput.h"
#include "host/view/FrameHistory.h"
#include "host/view/InputValues.h"
#include "host/view/Recording.h"
#include "host/view/ScenePlayer.h"
#include "host/view/ShowClock.h"

/// What the user can ask for.
class ViewActions {
 public:
  virtual ~ViewActions() = default;
  virtual void open(const std::string& file) = 0;
  virtual void reload() = 0;
  virtual void setNewProcess(bool newProcess) = 0;
  virtual void togglePause() = 0;
  virtual void savePreset() = 0;
  virtual void usePreset(const std::string& file) = 0;
  virtual void savePicture() = 0;
  virtual void toggleOutput() = 0;
  virtual void toggleRecording() = 0;
  virtual void toggleFullScreen() = 0;
  virtual void chooseInput(const std::string& name) = 0;
  virtual void setValue(const ZQVuoCompositionPort& port, const ZQVuoPortValue& value) = 0;
  virtual void setImage(const ZQVuoCompositionPort& port, const std::string& file) = 0;
  virtual void backToDefault(const ZQVuoCompositionPort& port) = 0;
};

/// What the panel shows.
struct ViewState {
  ScenePlayer& player;
  FilterInput& input;
  InputValues& values;
  FrameHistory& history;
  PictureStream::OutputTexts outputs;
  ShowClock clock;
  bool hasOutput = false;                ///< the picture fills another display
  const Recording* recording = nullptr;  ///< null while there is none
  std::string news{};  ///< what the user has just been told, or why there is no new picture
};

class Panel {
 public:
  Panel(ViewState& state, ViewActions& actions, FileChooser& chooser)
      : _state(state), _actions(actions), _chooser(chooser) {}

  void draw(float scale);

 private:
  void drawHead();
  void drawMode();
  void drawFrames();
  void drawButtons();
  void drawForOthers();
  void drawFilterInput();
  void drawInputs();
  void drawPresets();
  void drawInput(const ZQVuoComposition::Port& port);
  void drawFile(const ZQVuoComposition::Port& port);
  void drawBackToDefault(const ZQVuoCompositionPort& port);
  void drawOutputs();
  bool hasControl(const ZQVuoCompositionPort& port) const;
  bool isTextSourceFile(const ZQVuoCompositionPort& port) const;

  ViewState& _state;
  ViewActions& _actions;
  FileChooser& _chooser;
  float _scale = 1;
};
