#include "host/view/PictureDrawing.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace {

constexpr std::uint32_t kTexture2D = 0x0DE1;

ImVec4 placeFor(ZQSize picture, ImVec2 room) {
  const auto width = static_cast<float>(picture.width);
  const auto height = static_cast<float>(picture.height);
  const float zoom = std::min(room.x / width, room.y / height);
  const ImVec2 size{width * zoom, height * zoom};
  const ImVec2 corner{std::floor((room.x - size.x) / 2), std::floor((room.y - size.y) / 2)};
  return {corner.x, corner.y, corner.x + size.x, corner.y + size.y};
}

void drawChecks(ImDrawList& draw, const ImVec4& place, float cell) {
  draw.AddRectFilled({place.x, place.y}, {place.z, place.w}, IM_COL32(38, 38, 42, 255));
  draw.PushClipRect({place.x, place.y}, {place.z, place.w}, true);
  int row = 0;
  for (float y = place.y; y < place.w; y += cell, ++row) {
    for (float x = place.x + (row % 2 ? cell : 0); x < place.z; x += 2 * cell)
      draw.AddRectFilled({x, y}, {x + cell, y + cell}, IM_COL32(50, 50, 55, 255));
  }
  draw.PopClipRect();
}

}  // namespace

void drawPicture(ImDrawList& draw, const ZQBuffer& picture, ImVec2 room,
                 std::optional<float> checks) {
  if (picture.target() != kTexture2D) return;
  const ImVec4 place = placeFor(picture.size(), room);
  if (checks) drawChecks(draw, place, *checks);
  draw.AddImage(reinterpret_cast<ImTextureID>(std::intptr_t{picture.name()}), {place.x, place.y},
                {place.z, place.w}, {0, 1}, {1, 0});
}
