#include <gtest/gtest.h>

#include <thread>

#include "Brannow/ZQBufferPool.h"

namespace {

using brannow::GLContext;
using brannow::GLCurrent;

constexpr std::uint32_t kTargets[] = {0x0DE1, 0x84F5};  // GL_TEXTURE_2D, GL_TEXTURE_RECTANGLE

/// Every pixel differs from its neighbours, in every channel's own way.
ZQPixels pattern(std::size_t width, std::size_t height) {
  ZQPixels pixels{width, height, {}};
  for (std::size_t y = 0; y < height; y++)
    for (std::size_t x = 0; x < width; x++)
      for (std::size_t value : {x * 7, y * 11, x + y * 3, 255 - x})
        pixels.rgba.push_back(static_cast<std::uint8_t>(value));
  return pixels;
}

/// The part of a picture from column `x` and, counted from the top, row `y`.
ZQPixels part(const ZQPixels& whole, std::size_t x, std::size_t y, std::size_t width,
              std::size_t height) {
  ZQPixels pixels{width, height, {}};
  for (std::size_t row = y; row < y + height; row++) {
    const auto first = whole.rgba.begin() + static_cast<long>((row * whole.width + x) * 4);
    pixels.rgba.insert(pixels.rgba.end(), first, first + static_cast<long>(width * 4));
  }
  return pixels;
}

struct HostBuffers : testing::Test {
  std::shared_ptr<GLContext> root = GLContext::createRoot();
  std::unique_ptr<ZQBufferPool> pool = ZQBufferPool::create(root->handle());
};

TEST_F(HostBuffers, PixelsComeBackFromBothTargetsAndFromAnotherPoolsTexture) {
  const auto otherPool = ZQBufferPool::create(root->handle());
  const GLCurrent callers(*root);
  for (const std::uint32_t target : kTargets) {
    for (const ZQPixels& picture : {pattern(1, 1), pattern(64, 3), pattern(13, 7)}) {
      const ZQBufferRef made = pool->allocBufferWithPixels(picture, target);
      ASSERT_TRUE(made);
      EXPECT_EQ(pool->readPixels(*made), picture);
      const auto lent = ZQBufferRef::adopt(ZQBuffer::initWithPool(otherPool.get()));
      *lent->descriptorPtr() = *made->descriptorPtr();
      lent->descriptorPtr()->textureBacking = ZQTextureBacking_External;
      lent->setSrcRect({-4, 0, 500, 500});
      EXPECT_EQ(otherPool->readPixels(*lent), picture) << "the rectangle is cut to the texture";
    }
    const ZQPixels picture = pattern(13, 7);
    const ZQBufferRef buffer = pool->allocBufferWithPixels(picture, target);
    buffer->setSrcRect({2, 1, 5, 3});
    EXPECT_EQ(pool->readPixels(*buffer), part(picture, 2, 3, 5, 3)) << "rows count from the bottom";
    buffer->setSrcRect({13, 0, 5, 3});
    EXPECT_EQ(pool->readPixels(*buffer), ZQPixels());
    const auto empty = ZQBufferRef::adopt(ZQBuffer::initWithPool(pool.get()));
    empty->descriptorPtr()->target = target;
    empty->setSrcRect({0, 0, 5, 3});
    EXPECT_EQ(pool->readPixels(*empty), ZQPixels()) << "no texture";
  }
  EXPECT_EQ(GLContext::wrapCurrent()->handle(), root->handle());
}

TEST_F(HostBuffers, RefusesWhatNoTextureCanHold) {
  EXPECT_FALSE(pool->allocBuffer(0, 4));
  EXPECT_FALSE(pool->allocBuffer(4, std::size_t{1} << 32));
  EXPECT_FALSE(pool->allocBuffer(4, 4, 0x0DE0)) << "one-dimensional";
  EXPECT_FALSE(pool->allocBufferWithPixels({2, 2, {1, 2, 3, 4}}));
  EXPECT_FALSE(pool->allocBufferWithPixels({std::size_t{1} << 62, 4, {}}));
  EXPECT_FALSE(ZQBufferPool::create({}));
  EXPECT_EQ(pool->textureCount(), 0u);
}

TEST_F(HostBuffers, TexturesAreReusedByKindUntilPurged) {
  std::uint32_t name = 0;
  {
    const ZQBufferRef first = pool->allocBuffer(8, 4);
    name = first->name();
    first->setSrcRect({1, 1, 2, 2});
  }
  const ZQBufferRef otherTarget = pool->allocBuffer(8, 4, kTargets[1]);
  EXPECT_NE(otherTarget->name(), name);
  const ZQBufferRef again = pool->allocBuffer(8, 4);
  EXPECT_EQ(again->name(), name);
  EXPECT_EQ(again->srcRect(), (ZQRect{0, 0, 8, 4}));
  EXPECT_EQ(pool->textureCount(), 2u);

  std::vector<ZQBufferRef> many;
  for (int i = 0; i < 20; i++) many.push_back(pool->allocBuffer(2, 2));
  many.clear();
  EXPECT_EQ(pool->textureCount(), 2u + 16u) << "idle textures are bounded";
  pool->purgeIdleBuffers();
  EXPECT_EQ(pool->textureCount(), 2u);
}

TEST_F(HostBuffers, LastReleaseCallsBackOnceOnItsThreadAndMayUseThePool) {
  struct Call {
    int count = 0;
    ZQBuffer* buffer = nullptr;
    std::thread::id thread;
  } call;
  const ZQBufferReleaseCallback callback = [](ZQBuffer* buffer, void* context) {
    auto& seen = *static_cast<Call*>(context);
    seen = {seen.count + 1, buffer, std::this_thread::get_id()};
    EXPECT_EQ(buffer->pool()->readPixels(*buffer).width, 3u);
  };
  ZQBufferRef buffer = pool->allocBuffer(3, 3);
  ZQBuffer* const address = buffer.get();
  buffer->setPreferDeletion(true);
  buffer->setBackingReleaseCallback(callback);
  buffer->setBackingReleaseCallbackContext(&call);
  std::thread holder([copy = buffer]() mutable { copy = nullptr; });
  holder.join();
  EXPECT_EQ(call.count, 0);
  std::thread last([&] { buffer = nullptr; });
  const std::thread::id lastThread = last.get_id();
  last.join();
  EXPECT_EQ(call.count, 1);
  EXPECT_EQ(call.buffer, address);
  EXPECT_EQ(call.thread, lastThread);
  EXPECT_EQ(pool->textureCount(), 0u) << "the buffer preferred deletion";
}

TEST_F(HostBuffers, DeletedPoolKeepsOnlyWhatIsHeld) {
  const ZQPixels picture = pattern(5, 5);
  ZQBufferRef held = pool->allocBufferWithPixels(picture);
  pool->allocBuffer(6, 6) = nullptr;
  pool->prepareToBeDeleted();
  EXPECT_TRUE(pool->deleted());
  EXPECT_EQ(pool->textureCount(), 1u);
  EXPECT_FALSE(pool->allocBuffer(6, 6));
  EXPECT_EQ(pool->readPixels(*held), picture);
  held = nullptr;
  EXPECT_EQ(pool->textureCount(), 0u);
}

TEST_F(HostBuffers, ThreadsShareAPool) {
  std::vector<std::thread> threads;
  for (std::size_t i = 1; i <= 4; i++) {
    threads.emplace_back([&, i] {
      for (std::size_t round = 0; round < 20; round++) {
        const ZQPixels picture = pattern(i + round % 3, 4);
        const ZQBufferRef buffer = pool->allocBufferWithPixels(picture, kTargets[i % 2]);
        ASSERT_TRUE(buffer);
        EXPECT_EQ(pool->readPixels(*buffer), picture);
        if (round % 5 == 0) pool->purgeIdleBuffers();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_GE(16u, pool->textureCount());
}

}  // namespace
