#pragma once

#include <imgui.h>

/// What the controls look like, at the scale 1.
inline ImGuiStyle viewStyle() {
  ImGuiStyle style;
  ImGui::StyleColorsDark(&style);
  style.WindowPadding = {12, 10};
  style.FramePadding = {8, 4};
  style.ItemSpacing = {8, 6};
  style.ItemInnerSpacing = {6, 4};
  style.CellPadding = {4, 3};
  style.WindowRounding = 6;
  style.PopupRounding = 6;
  style.FrameRounding = 4;
  style.GrabRounding = 4;
  style.ScrollbarSize = 12;
  style.WindowBorderSize = 0;
  style.Colors[ImGuiCol_WindowBg] = {0.09F, 0.09F, 0.11F, 0.9F};
  style.Colors[ImGuiCol_PopupBg] = {0.11F, 0.11F, 0.13F, 1};
  style.Colors[ImGuiCol_FrameBg] = {0.2F, 0.21F, 0.25F, 0.8F};
  // The number of a slider is read through its handle.
  style.Colors[ImGuiCol_SliderGrab] = {0.3F, 0.5F, 0.8F, 0.5F};
  style.Colors[ImGuiCol_SliderGrabActive] = {0.35F, 0.6F, 1, 0.6F};
  style.Colors[ImGuiCol_TextDisabled] = {0.62F, 0.63F, 0.67F, 1};
  style.Colors[ImGuiCol_ModalWindowDimBg] = {0, 0, 0, 0.55F};
  return style;
}
