#include "host/view/InputControls.h"

#include <imgui.h>
#include <imgui_stdlib.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "host/view/NumberRange.h"

namespace {

using NewValue = std::optional<ZQVuoPortValue>;

ZQVuoPortValue numberValue(const ZQVuoCompositionPort& port, double number) {
  if (port.portType() != ZQVuoPortType_Integer) return number;
  return ZQVuoPortValue(number).longLongValue().value_or(0);
}

NewValue numberControl(const ZQVuoCompositionPort& port, const ZQVuoPortValue& value) {
  const NumberRange range(port);
  const std::string format = "%." + std::to_string(range.decimals()) + "f";
  const double before = value.doubleValue().value_or(0);
  const double min = range.min();
  const double max = range.max();
  double number = before;
  const bool isChanged =
      range.isSlider() ? ImGui::SliderScalar("##number", ImGuiDataType_Double, &number, &min, &max,
                                             format.c_str(), ImGuiSliderFlags_AlwaysClamp)
                       : ImGui::DragScalar("##number", ImGuiDataType_Double, &number,
                                           static_cast<float>(range.dragSpeed(before)), nullptr,
                                           nullptr, format.c_str());
  number = range.nearest(number);
  if (!isChanged || number == before) return std::nullopt;
  return numberValue(port, number);
}

NewValue truthControl(const ZQVuoPortValue& value) {
  bool truth = value.boolValue().value_or(false);
  if (!ImGui::Checkbox("##truth", &truth)) return std::nullopt;
  return truth;
}

NewValue colorControl(const ZQVuoPortValue& value) {
  const ZQVuoColor color = value.colorValue().value_or(ZQVuoColor{});
  float parts[] = {static_cast<float>(color.red), static_cast<float>(color.green),
                   static_cast<float>(color.blue), static_cast<float>(color.alpha)};
  constexpr auto kFlags = ImGuiColorEditFlags_AlphaBar | ImGuiColorEditFlags_AlphaPreviewHalf |
                          ImGuiColorEditFlags_DisplayHex;
  if (!ImGui::ColorEdit4("##color", parts, kFlags)) return std::nullopt;
  return ZQVuoColor{parts[0], parts[1], parts[2], parts[3]};
}

/// The unit square with the point in it, x to the right and y upwards.
bool pointPad(ZQVuoPoint& point, ImVec2 size, float scale) {
  const ImVec2 corner = ImGui::GetCursorScreenPos();
  const ImVec2 opposite{corner.x + size.x, corner.y + size.y};
  ImGui::InvisibleButton("##pad", size);
  const bool isHeld = ImGui::IsItemActive();
  if (isHeld) {
    const ImVec2 mouse = ImGui::GetIO().MousePos;
    point = {std::clamp((mouse.x - corner.x) / size.x, 0.0F, 1.0F),
             std::clamp((opposite.y - mouse.y) / size.y, 0.0F, 1.0F)};
  }
  const auto place = [](double part) { return static_cast<float>(std::clamp(part, 0.0, 1.0)); };
  const ImVec2 at{corner.x + place(point.x) * size.x, opposite.y - place(point.y) * size.y};
  ImDrawList& draw = *ImGui::GetWindowDrawList();
  const ImU32 line = ImGui::GetColorU32(ImGuiCol_TextDisabled, 0.35F);
  draw.AddRectFilled(corner, opposite, ImGui::GetColorU32(ImGuiCol_FrameBg),
                     ImGui::GetStyle().FrameRounding);
  draw.AddLine({at.x, corner.y}, {at.x, opposite.y}, line);
  draw.AddLine({corner.x, at.y}, {opposite.x, at.y}, line);
  const bool isLit = isHeld || ImGui::IsItemHovered();
  draw.AddCircleFilled(at, 5 * scale,
                       ImGui::GetColorU32(isLit ? ImGuiCol_SliderGrabActive : ImGuiCol_SliderGrab));
  return isHeld;
}

NewValue pointControl(const ZQVuoPortValue& value, float scale) {
  const ZQVuoPoint before = value.pointValue().value_or(ZQVuoPoint{});
  ZQVuoPoint point = before;
  const float width = ImGui::CalcItemWidth();
  bool isChanged = pointPad(point, {width, std::round(width * 0.4F)}, scale);
  double numbers[] = {point.x, point.y};
  ImGui::SetNextItemWidth(width);
  if (ImGui::DragScalarN("##numbers", ImGuiDataType_Double, numbers, 2, 0.002F, nullptr, nullptr,
                         "%.3f")) {
    point = {numbers[0], numbers[1]};
    isChanged = true;
  }
  if (!isChanged || point == before) return std::nullopt;
  return point;
}

NewValue textControl(const ZQVuoPortValue& value) {
  std::string text = value.stringValue() ? *value.stringValue() : "";
  if (!ImGui::InputText("##text", &text)) return std::nullopt;
  return text;
}

}  // namespace

std::optional<ZQVuoPortValue> valueControl(const ZQVuoCompositionPort& port,
                                           const ZQVuoPortValue& value, float scale) {
  switch (port.portType()) {
    case ZQVuoPortType_Real:
    case ZQVuoPortType_Integer:
      return numberControl(port, value);
    case ZQVuoPortType_Boolean:
      return truthControl(value);
    case ZQVuoPortType_Color:
      return colorControl(value);
    case ZQVuoPortType_Point2D:
      return pointControl(value, scale);
    case ZQVuoPortType_Text:
      return textControl(value);
    default:
      return std::nullopt;
  }
}
