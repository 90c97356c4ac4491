#pragma once

#include "Brannow/ZQBuffer.h"
#include "host/view/ViewWindow.h"

/// The picture alone, all over a display of its own. Draws with the other window's GL context,
/// which is current on this thread as before when an operation returns.
class OutputWindow {
 public:
  /// Displays count from 1. Throws Failure when there is no such display or it can't be filled.
  OutputWindow(ViewWindow& other, int display);
  ~OutputWindow();
  OutputWindow(const OutputWindow&) = delete;
  OutputWindow& operator=(const OutputWindow&) = delete;

  /// When it returns the GPU has read the picture's texture. A null picture is black.
  void draw(const ZQBufferRef& picture);

  ZQSize pixels() const { return pixelsOf(_window.get()); }
  std::chrono::nanoseconds displayPeriod() const { return displayPeriodOf(_window.get()); }
  bool hasMouse() const { return SDL_GetMouseFocus() == _window.get(); }

 private:
  ViewWindow& _other;
  std::unique_ptr<SDL_Window, void (*)(SDL_Window*)> _window;
  void* _surface = nullptr;  ///< EGL's, of the window
};
