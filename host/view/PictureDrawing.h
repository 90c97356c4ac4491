#pragma once

#include <imgui.h>

#include <optional>

#include "Brannow/ZQBuffer.h"

/// Draws the picture into the middle of the room, as large as fits. Where it is transparent checks
/// of that size show through, or what was there before. Leaves out what is no two-dimensional
/// texture.
void drawPicture(ImDrawList& draw, const ZQBuffer& picture, ImVec2 room,
                 std::optional<float> checks);
