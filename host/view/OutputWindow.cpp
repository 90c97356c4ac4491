#include "host/view/OutputWindow.h"

#include <backends/imgui_impl_opengl3.h>
#include <epoxy/egl.h>
#include <epoxy/gl.h>

#include <string_view>

#include "host/Failure.h"
#include "host/view/PictureDrawing.h"

namespace {

SDL_Window* openedOn(int display) {
  const int index = displayIndex(display);
  SDL_Rect bounds{};
  SDL_GetDisplayBounds(index, &bounds);
  const int place = static_cast<int>(SDL_WINDOWPOS_CENTERED_DISPLAY(index));
  SDL_Window* window =
      SDL_CreateWindow("brannow output", place, place, bounds.w, bounds.h,
                       SDL_WINDOW_OPENGL | SDL_WINDOW_BORDERLESS | SDL_WINDOW_FULLSCREEN_DESKTOP |
                           SDL_WINDOW_ALLOW_HIGHDPI);
  if (!window)
    throw Failure{"display " + std::to_string(display) + " can't be filled: " + SDL_GetError()};
  return window;
}

/// Everything of a picture, nothing of the controls.
void render(const ZQBufferRef& picture, ZQSize size) {
  const ImVec2 room{static_cast<float>(size.width), static_cast<float>(size.height)};
  ImDrawList list(ImGui::GetDrawListSharedData());
  list._ResetForNewFrame();
  list.PushClipRect({0, 0}, room);
  list.PushTextureID(ImGui::GetIO().Fonts->TexID);
  if (picture) drawPicture(list, *picture, room, std::nullopt);
  ImDrawList* lists[] = {&list};
  ImDrawData data;
  data.Valid = true;
  data.CmdLists = lists;
  data.CmdListsCount = 1;
  data.TotalIdxCount = list.IdxBuffer.Size;
  data.TotalVtxCount = list.VtxBuffer.Size;
  data.DisplaySize = room;
  data.FramebufferScale = {1, 1};
  ImGui_ImplOpenGL3_NewFrame();  // makes its shader where there was no frame yet
  ImGui_ImplOpenGL3_RenderDrawData(&data);
}

}  // namespace

/// The display that is watched sets the pace, and it alone.
OutputWindow::OutputWindow(ViewWindow& other, int display)
    : _other(other), _window(openedOn(display), SDL_DestroyWindow) {
  if (!_other.makeCurrentFor(_window.get()))
    throw Failure{"display " + std::to_string(display) + " can't be drawn to: " + SDL_GetError()};
  _surface = eglGetCurrentSurface(EGL_DRAW);
  SDL_GL_SetSwapInterval(1);
  _other.makeCurrent();
  SDL_GL_SetSwapInterval(0);
}

/// An X11 window's surface is one that SDL 2.26 makes and leaves behind, with its pixels.
OutputWindow::~OutputWindow() {
  _other.makeCurrent();
  SDL_GL_SetSwapInterval(1);
  if (SDL_GetCurrentVideoDriver() == std::string_view("x11"))
    eglDestroySurface(eglGetCurrentDisplay(), _surface);
}

void OutputWindow::draw(const ZQBufferRef& picture) {
  if (!_other.makeCurrentFor(_window.get())) return;
  const ZQSize size = pixels();
  glViewport(0, 0, static_cast<GLsizei>(size.width), static_cast<GLsizei>(size.height));
  glClearColor(0, 0, 0, 1);
  glClear(GL_COLOR_BUFFER_BIT);
  render(picture, size);
  SDL_GL_SwapWindow(_window.get());
  glFinish();
  _other.makeCurrent();
}
