#include "host/view/AlertDialog.h"

#include <algorithm>
#include <optional>

namespace {

constexpr const char* kAlert = "##alert";

/// Enter presses the first button, Escape the last one.
std::optional<std::size_t> pressedKey(const std::vector<SDL_Keycode>& keys, std::size_t buttons) {
  for (const SDL_Keycode key : keys) {
    if (key == SDLK_RETURN || key == SDLK_KP_ENTER) return 0;
    if (key == SDLK_ESCAPE) return buttons - 1;
  }
  return std::nullopt;
}

std::optional<std::size_t> drawButtons(const std::vector<std::string>& buttons, float scale) {
  std::optional<std::size_t> pressed;
  const float width = 110 * scale;
  const float count = static_cast<float>(buttons.size());
  const float all = count * width + (count - 1) * ImGui::GetStyle().ItemSpacing.x;
  // The first button is the default one: it stands last, where a hand looks for it.
  ImGui::SetCursorPosX(ImGui::GetCursorPosX() +
                       std::max(0.0F, ImGui::GetContentRegionAvail().x - all));
  for (std::size_t index = buttons.size(); index-- > 0;) {
    if (index == 0) ImGui::PushStyleColor(ImGuiCol_Button, {0.2F, 0.42F, 0.75F, 1});
    if (ImGui::Button(buttons[index].c_str(), {width, 0})) pressed = index;
    if (index == 0) ImGui::PopStyleColor();
    if (index > 0) ImGui::SameLine();
  }
  return pressed;
}

std::optional<std::size_t> drawAlert(const brannow::Alert& alert,
                                     const std::vector<std::string>& buttons, float scale) {
  std::optional<std::size_t> pressed;
  const ImVec2 room = ImGui::GetMainViewport()->Size;
  ImGui::SetNextWindowPos({room.x / 2, room.y * 0.4F}, ImGuiCond_Always, {0.5F, 0.5F});
  const float width = std::min(460 * scale, room.x * 0.9F);
  ImGui::SetNextWindowSizeConstraints({width, 0}, {width, room.y * 0.75F});
  ImGui::PushStyleVar(ImGuiStyleVar_WindowPadding, {18 * scale, 16 * scale});
  if (ImGui::BeginPopupModal(
          kAlert, nullptr,
          ImGuiWindowFlags_NoTitleBar | ImGuiWindowFlags_NoMove | ImGuiWindowFlags_NoResize)) {
    ImGui::TextColored({1, 0.78F, 0.35F, 1}, "%s", alert.messageText.c_str());
    ImGui::Separator();
    ImGui::PushTextWrapPos();
    ImGui::TextUnformatted(alert.informativeText.c_str());
    ImGui::PopTextWrapPos();
    ImGui::Spacing();
    pressed = drawButtons(buttons, scale);
    if (pressed) ImGui::CloseCurrentPopup();
    ImGui::EndPopup();
  }
  ImGui::PopStyleVar();
  return pressed;
}

}  // namespace

std::size_t runAlertDialog(ViewWindow& window, const brannow::Alert& alert,
                           const std::function<void()>& drawBackground) {
  auto buttons = alert.buttons;
  if (buttons.empty()) buttons.emplace_back("OK");
  std::optional<std::size_t> pressed;
  while (!pressed && !window.closeRequested()) {
    window.beginFrame();
    drawBackground();
    if (!ImGui::IsPopupOpen(kAlert)) ImGui::OpenPopup(kAlert);
    pressed = drawAlert(alert, buttons, window.scale());
    window.endFrame();
    const auto now = ViewWindow::Clock::now();
    const auto events =
        window.waitForEvents(now + window.displayPeriod(), now + std::chrono::milliseconds(100));
    if (!pressed) pressed = pressedKey(events.keys, buttons.size());
  }
  // The popup closes in a frame in which it is not drawn.
  window.beginFrame();
  drawBackground();
  window.endFrame();
  return pressed.value_or(0);
}
