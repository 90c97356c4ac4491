#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

#include "Brannow/GLContext.h"

/// A texture that somebody else makes for a pool, and who keeps it; it goes with `owner`.
struct ZQMadeTexture {
  std::shared_ptr<void> owner;
  std::uint32_t name = 0;
};
/// Makes GL_TEXTURE_2D textures of format GL_RGBA8 in that context's share group, with whatever
/// context is current; none where it makes none.
using ZQTextureMaker = std::function<ZQMadeTexture(brannow::GLContextHandle shareGroup,
                                                   std::size_t width, std::size_t height)>;

/// Has all pools ask `maker` first for the textures that they make from now on. Any thread.
void setTextureMakerOfPools(ZQTextureMaker maker);
