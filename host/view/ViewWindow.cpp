#include "host/view/ViewWindow.h"

#include <backends/imgui_impl_opengl3.h>
#include <backends/imgui_impl_sdl.h>
#include <epoxy/gl.h>

#include <algorithm>
#include <clocale>
#include <cmath>
#include <string_view>

#include "host/Failure.h"
#include "host/view/DesktopScale.h"
#include "host/view/ViewStyle.h"
#include "platform/system/FileSystem.h"

namespace {

constexpr float kFontSize = 14;
constexpr const char* kFont = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";

[[noreturn]] void fail() {
  throw Failure{std::string("no window can be opened: ") + SDL_GetError()};
}

void* startSdl() {
  // The framework shares EGL contexts only; without the hint X11 windows get one of GLX.
  SDL_SetHint(SDL_HINT_VIDEO_X11_FORCE_EGL, "1");
  SDL_SetHint(SDL_HINT_APP_NAME, "brannow");
  // X11 windows understand the letters of the user's language only in that language.
  std::setlocale(LC_CTYPE, "");
  if (SDL_Init(SDL_INIT_VIDEO) != 0) fail();
  // Without a display SDL falls back on windows that nobody sees.
  const char* driver = SDL_GetCurrentVideoDriver();
  if (!driver || driver == std::string_view("offscreen") || driver == std::string_view("dummy")) {
    SDL_Quit();
    throw Failure{"no window can be opened: there is no display"};
  }
  static char started;
  return &started;
}

/// As large as a display leaves room for, with the shape of a film.
SDL_Point comfortableSize(int display) {
  const float scale = desktopScale(display);
  SDL_Rect room{};
  if (SDL_GetDisplayUsableBounds(display, &room) != 0) return {1280, 720};
  const float width = std::min({1280 * scale, room.w * 0.9F, room.h * 0.85F * 16 / 9});
  return {static_cast<int>(width), static_cast<int>(width * 9 / 16)};
}

SDL_Window* openWindow(const std::string& title, std::optional<ZQSize> size, int display) {
  SDL_GL_SetAttribute(SDL_GL_CONTEXT_MAJOR_VERSION, 3);
  SDL_GL_SetAttribute(SDL_GL_CONTEXT_MINOR_VERSION, 3);
  SDL_GL_SetAttribute(SDL_GL_CONTEXT_PROFILE_MASK, SDL_GL_CONTEXT_PROFILE_CORE);
  SDL_GL_SetAttribute(SDL_GL_DEPTH_SIZE, 0);
  const SDL_Point content =
      size ? SDL_Point{static_cast<int>(size->width), static_cast<int>(size->height)}
           : comfortableSize(displayIndex(display));
  const int place = static_cast<int>(
      display > 0 ? SDL_WINDOWPOS_CENTERED_DISPLAY(displayIndex(display)) : SDL_WINDOWPOS_CENTERED);
  SDL_Window* window =
      SDL_CreateWindow(title.c_str(), place, place, content.x, content.y,
                       SDL_WINDOW_OPENGL | SDL_WINDOW_RESIZABLE | SDL_WINDOW_ALLOW_HIGHDPI);
  if (!window) fail();
  return window;
}

void* makeContext(SDL_Window* window) {
  void* context = SDL_GL_CreateContext(window);
  if (!context) fail();
  SDL_GL_SetSwapInterval(1);
  return context;
}

ImGuiContext* startImGui(SDL_Window* window, void* context) {
  ImGuiContext* imgui = ImGui::CreateContext();
  ImGui::GetIO().IniFilename = nullptr;
  ImGui_ImplSDL2_InitForOpenGL(window, context);
  ImGui_ImplOpenGL3_Init("#version 330");
  return imgui;
}

void endImGui(ImGuiContext* imgui) {
  ImGui_ImplOpenGL3_Shutdown();
  ImGui_ImplSDL2_Shutdown();
  ImGui::DestroyContext(imgui);
}

int millisecondsUntil(ViewWindow::Clock::time_point then) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(then - ViewWindow::Clock::now());
  return static_cast<int>(std::max<std::int64_t>(0, left.count()));
}

/// Of the window that it went to; 0 for what goes to none.
Uint32 windowOf(const SDL_Event& event) {
  switch (event.type) {
    case SDL_WINDOWEVENT:
      return event.window.windowID;
    case SDL_KEYDOWN:
    case SDL_KEYUP:
      return event.key.windowID;
    case SDL_TEXTEDITING:
    case SDL_TEXTINPUT:
      return event.text.windowID;
    case SDL_MOUSEMOTION:
      return event.motion.windowID;
    case SDL_MOUSEBUTTONDOWN:
    case SDL_MOUSEBUTTONUP:
      return event.button.windowID;
    case SDL_MOUSEWHEEL:
      return event.wheel.windowID;
    default:
      return 0;
  }
}

/// Keys do there what they do in the panel's window; Escape closes what fills a display.
void handleElsewhere(const SDL_Event& event, WindowEvents& events) {
  const bool isKey = event.type == SDL_KEYDOWN && event.key.repeat == 0;
  const bool isEscape = isKey && event.key.keysym.sym == SDLK_ESCAPE;
  if (isKey && !isEscape) events.keys.push_back(event.key.keysym.sym);
  if (isEscape || (event.type == SDL_WINDOWEVENT && event.window.event == SDL_WINDOWEVENT_CLOSE))
    events.closesOutput = true;
}

}  // namespace

int displayIndex(int display) {
  const int count = SDL_GetNumVideoDisplays();
  if (display > count)
    throw Failure{"there is no display " + std::to_string(display) + ", the last one is " +
                  std::to_string(count)};
  return std::max(0, display - 1);
}

ZQSize pixelsOf(SDL_Window* window) {
  int width = 0;
  int height = 0;
  SDL_GL_GetDrawableSize(window, &width, &height);
  return {static_cast<double>(width), static_cast<double>(height)};
}

std::chrono::nanoseconds displayPeriodOf(SDL_Window* window) {
  SDL_DisplayMode mode{};
  const int display = SDL_GetWindowDisplayIndex(window);
  const bool known = SDL_GetCurrentDisplayMode(display, &mode) == 0 && mode.refresh_rate > 0;
  return std::chrono::nanoseconds(1'000'000'000 / (known ? mode.refresh_rate : 60));
}

ViewWindow::ViewWindow(const std::string& title, std::optional<ZQSize> size, int display)
    : _sdl(startSdl(), [](void*) { SDL_Quit(); }),
      _window(openWindow(title, size, display), SDL_DestroyWindow),
      _context(makeContext(_window.get()), SDL_GL_DeleteContext),
      _imgui(startImGui(_window.get(), _context.get()), endImGui) {
  followScale();
}

ViewWindow::~ViewWindow() = default;

WindowEvents ViewWindow::waitForEvents(Clock::time_point earliest, Clock::time_point latest) {
  WindowEvents events;
  do {
    if (!SDL_WaitEventTimeout(nullptr, millisecondsUntil(events.any ? earliest : latest))) continue;
    events.any = true;
    if (!pollEvents(events)) break;
  } while (!_closeRequested && Clock::now() < (events.any ? earliest : latest));
  return events;
}

/// False when the rest must wait for another frame: ImGui looks at a frame's keys once, so one that
/// goes down and up again within a frame would be missed.
bool ViewWindow::pollEvents(WindowEvents& events) {
  SDL_Event event;
  const auto isNext = [&] {
    return SDL_PeepEvents(&event, 1, SDL_PEEKEVENT, SDL_FIRSTEVENT, SDL_LASTEVENT) > 0;
  };
  bool hasKey = false;
  while (isNext()) {
    if (hasKey && event.type == SDL_KEYUP) return false;
    hasKey = hasKey || event.type == SDL_KEYDOWN;
    SDL_PollEvent(&event);
    handle(event, events);
  }
  return true;
}

bool ViewWindow::isForAnother(const SDL_Event& event) const {
  const Uint32 window = windowOf(event);
  return window != 0 && window != SDL_GetWindowID(_window.get());
}

void ViewWindow::handle(const SDL_Event& event, WindowEvents& events) {
  if (isForAnother(event)) return handleElsewhere(event, events);
  ImGui_ImplSDL2_ProcessEvent(&event);
  switch (event.type) {
    case SDL_QUIT:
      _closeRequested = true;
      break;
    case SDL_KEYDOWN:
      if (!ImGui::GetIO().WantTextInput && event.key.repeat == 0 &&
          (event.key.keysym.mod & (KMOD_CTRL | KMOD_ALT | KMOD_GUI)) == 0) {
        events.keys.push_back(event.key.keysym.sym);
      }
      break;
    case SDL_DROPFILE:
      events.dropped.emplace_back(event.drop.file);
      SDL_free(event.drop.file);
      break;
    case SDL_WINDOWEVENT:
      if (event.window.event == SDL_WINDOWEVENT_DISPLAY_CHANGED ||
          event.window.event == SDL_WINDOWEVENT_SIZE_CHANGED) {
        followScale();
      }
      // The program is asked to quit only when its last window is closed.
      if (event.window.event == SDL_WINDOWEVENT_CLOSE) _closeRequested = true;
      break;
    default:
      break;
  }
}

/// Lengths are in the window's own units, of which a display may show several pixels each; letters
/// are made from as many pixels as they cover.
void ViewWindow::followScale() {
  int width = 0;
  SDL_GetWindowSize(_window.get(), &width, nullptr);
  const float pixelsPerUnit = width > 0 ? static_cast<float>(pixels().width) / width : 1;
  if (_display != SDL_GetWindowDisplayIndex(_window.get())) {
    _display = SDL_GetWindowDisplayIndex(_window.get());
    _desktopScale = desktopScale(_display);
  }
  const float scale = std::max(1.0F, _desktopScale / pixelsPerUnit);
  const auto isNear = [](float a, float b) { return std::fabs(a - b) < 0.01F * b; };
  if (isNear(_scale, scale) && isNear(ImGui::GetIO().FontGlobalScale, 1 / pixelsPerUnit)) return;
  _scale = scale;
  ImGui::GetStyle() = viewStyle();
  ImGui::GetStyle().ScaleAllSizes(scale);
  makeFont(pixelsPerUnit);
}

void ViewWindow::makeFont(float pixelsPerUnit) {
  ImGuiIO& io = ImGui::GetIO();
  static const ImWchar kLetters[] = {0x20,   0x52F,  0x1E00, 0x1FFF, 0x2010,
                                     0x2044, 0x21BA, 0x21BA, 0};
  io.FontGlobalScale = 1 / pixelsPerUnit;
  const float size = std::round(kFontSize * _scale * pixelsPerUnit);
  io.Fonts->Clear();
  if (platform::itemExists(kFont)) {
    io.Fonts->AddFontFromFileTTF(kFont, size, nullptr, kLetters);
  } else {
    ImFontConfig config;
    config.SizePixels = size;
    io.Fonts->AddFontDefault(&config);
  }
  ImGui_ImplOpenGL3_DestroyFontsTexture();
  ImGui_ImplOpenGL3_CreateFontsTexture();
}

void ViewWindow::beginFrame() {
  ImGui_ImplOpenGL3_NewFrame();
  ImGui_ImplSDL2_NewFrame();
  // From the events, since the pointer's place on the whole screen is stale during some grabs.
  int x = 0;
  int y = 0;
  SDL_GetMouseState(&x, &y);
  if (SDL_GetMouseFocus() == _window.get())
    ImGui::GetIO().MousePos = {static_cast<float>(x), static_cast<float>(y)};
  ImGui::NewFrame();
}

void ViewWindow::endFrame() {
  ImGui::Render();
  const ZQSize size = pixels();
  glViewport(0, 0, static_cast<GLsizei>(size.width), static_cast<GLsizei>(size.height));
  glClearColor(0.05F, 0.05F, 0.06F, 1);
  glClear(GL_COLOR_BUFFER_BIT);
  ImGui_ImplOpenGL3_RenderDrawData(ImGui::GetDrawData());
  SDL_GL_SwapWindow(_window.get());
  glFinish();
}

void ViewWindow::toggleFullScreen() {
  SDL_SetWindowFullscreen(_window.get(), isFullScreen() ? 0 : SDL_WINDOW_FULLSCREEN_DESKTOP);
}

bool ViewWindow::isFullScreen() const {
  return (SDL_GetWindowFlags(_window.get()) & SDL_WINDOW_FULLSCREEN_DESKTOP) != 0;
}

bool ViewWindow::isHidden() const {
  return (SDL_GetWindowFlags(_window.get()) & (SDL_WINDOW_MINIMIZED | SDL_WINDOW_HIDDEN)) != 0;
}

std::optional<int> ViewWindow::otherDisplay() const {
  const int own = SDL_GetWindowDisplayIndex(_window.get());
  for (int index = 0; index < SDL_GetNumVideoDisplays(); ++index) {
    if (index != own) return index + 1;
  }
  return std::nullopt;
}
