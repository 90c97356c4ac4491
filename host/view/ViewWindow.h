// The window on the desktop, with its GL context and the ImGui that draws into it.
#pragma once

#include <SDL.h>
#include <imgui.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Brannow/ZQBuffer.h"

/// What the user did that is not for the controls.
struct WindowEvents {
  std::vector<SDL_Keycode> keys;     ///< pressed while no text was being typed
  std::vector<std::string> dropped;  ///< files and folders
  bool any = false;                  ///< something happened, of whatever kind
  bool closesOutput = false;         ///< the window of the picture alone is to go
};

/// From 0, of a display that counts from 1. Throws Failure when there is none.
int displayIndex(int display);
ZQSize pixelsOf(SDL_Window* window);
/// How often the window's display shows a new picture.
std::chrono::nanoseconds displayPeriodOf(SDL_Window* window);

/// Belongs to the thread that makes it, where its context is current for as long as it exists.
class ViewWindow {
 public:
  using Clock = std::chrono::steady_clock;

  /// `size` is the content's, in the desktop's units; none gives one that suits the display.
  /// Displays count from 1, and 0 leaves it to the desktop. Throws Failure when no window can be
  /// opened.
  ViewWindow(const std::string& title, std::optional<ZQSize> size, int display = 0);
  ~ViewWindow();
  ViewWindow(const ViewWindow&) = delete;
  ViewWindow& operator=(const ViewWindow&) = delete;

  void setTitle(const std::string& title) { SDL_SetWindowTitle(_window.get(), title.c_str()); }
  /// Handles what the user does until `latest`, or until `earliest` when there was anything.
  WindowEvents waitForEvents(Clock::time_point earliest, Clock::time_point latest);
  /// The window was closed or a signal asked the program to end.
  bool closeRequested() const { return _closeRequested; }

  /// Between these two calls ImGui takes what is to be drawn. After the second one the GPU has read
  /// every texture that was drawn.
  void beginFrame();
  void endFrame();

  /// The context draws into this window again.
  void makeCurrent() { makeCurrentFor(_window.get()); }
  /// The context draws into another window. False where it can't.
  bool makeCurrentFor(SDL_Window* window) {
    return SDL_GL_MakeCurrent(window, _context.get()) == 0;
  }

  /// The first display, from 1, that this window is not on; none where it is alone.
  std::optional<int> otherDisplay() const;

  void hide() { SDL_HideWindow(_window.get()); }
  void toggleFullScreen();
  bool isFullScreen() const;
  /// Nobody can see the window.
  bool isHidden() const;
  /// The content's size in pixels.
  ZQSize pixels() const { return pixelsOf(_window.get()); }
  std::chrono::nanoseconds displayPeriod() const { return displayPeriodOf(_window.get()); }
  /// What lengths in the layout are multiplied with on this display.
  float scale() const { return _scale; }

 private:
  template <class Handle>
  using Owned = std::unique_ptr<Handle, void (*)(Handle*)>;

  bool pollEvents(WindowEvents& events);
  void handle(const SDL_Event& event, WindowEvents& events);
  bool isForAnother(const SDL_Event& event) const;
  void followScale();
  void makeFont(float pixelsPerUnit);

  Owned<void> _sdl;
  Owned<SDL_Window> _window;
  Owned<void> _context;
  Owned<ImGuiContext> _imgui;
  int _display = -1;  // whose scale is known
  float _desktopScale = 1;
  float _scale = 0;
  bool _closeRequested = false;
};
