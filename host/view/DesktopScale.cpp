#include "host/view/DesktopScale.h"

#include <SDL.h>
#include <X11/Xlib.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string_view>

namespace {

constexpr float kUsualDpi = 96;

struct XDisplay {
  std::unique_ptr<Display, int (*)(Display*)> connection{XOpenDisplay(nullptr), XCloseDisplay};

  /// What the desktop's settings ask for.
  std::optional<float> chosenDpi() const {
    const char* text = connection ? XGetDefault(connection.get(), "Xft", "dpi") : nullptr;
    const float dpi = text ? std::strtof(text, nullptr) : 0;
    return dpi > 0 ? std::optional(dpi) : std::nullopt;
  }
  std::optional<float> screenDpi() const {
    if (!connection) return std::nullopt;
    const int screen = DefaultScreen(connection.get());
    const int millimeters = DisplayWidthMM(connection.get(), screen);
    if (millimeters <= 0) return std::nullopt;
    constexpr float kMillimetersPerInch = 25.4F;
    return static_cast<float>(DisplayWidth(connection.get(), screen)) * kMillimetersPerInch /
           static_cast<float>(millimeters);
  }
};

std::optional<float> measuredDpi(int display) {
  float dpi = 0;
  return SDL_GetDisplayDPI(display, nullptr, &dpi, nullptr) == 0 && dpi > 0 ? std::optional(dpi)
                                                                            : std::nullopt;
}

/// What somebody chose goes before what was measured, the one display before the whole screen.
float dpiOf(int display) {
  const char* driver = SDL_GetCurrentVideoDriver();
  if (!driver || driver != std::string_view("x11")) return measuredDpi(display).value_or(kUsualDpi);
  const XDisplay x;
  if (const auto dpi = x.chosenDpi()) return *dpi;
  if (const auto dpi = measuredDpi(display)) return *dpi;
  return x.screenDpi().value_or(kUsualDpi);
}

}  // namespace

float desktopScale(int display) {
  constexpr float kParts = 4;
  constexpr float kTolerance = 0.1F;  // screens measure themselves in whole millimetres
  const float scale = std::floor(dpiOf(display) / kUsualDpi * kParts + kTolerance) / kParts;
  return std::clamp(scale, 1.0F, 4.0F);
}
