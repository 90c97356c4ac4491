// The two ends of the way of pictures, in one process. In the place of the driver's sharing between
// processes stands one that names a texture of this process, so that a picture that was lent can be
// told from a copy.
#include <epoxy/gl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json-c/json.h>
#include <sys/mman.h>
#include <sys/socket.h>

#include <numeric>

#include "platform/runtime/textures/TextureReader.h"
#include "platform/runtime/transport/FrameTransport.h"
#include "platform/runtime/transport/Protocol.h"

namespace {

struct Driver {
  bool exports = true;
  bool imports = true;
  bool showsWhatIsDrawnLater = true;
  int imported = 0;  ///< at present
} driver;

std::uint32_t copyOf(std::uint32_t name, const vuo::TextureLayout& layout) {
  VuoImageRecord image{name,          GL_TEXTURE_2D, GL_RGBA8, layout.width,
                       layout.height, nullptr,       nullptr};
  std::vector<std::uint32_t> pixels(layout.width * layout.height);
  vuo::readPixels(&image, pixels.data());
  glGenTextures(1, &image.glTextureName);
  glBindTexture(GL_TEXTURE_2D, image.glTextureName);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, static_cast<GLsizei>(layout.width),
               static_cast<GLsizei>(layout.height), 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
  return image.glTextureName;
}

}  // namespace

namespace vuo {

std::optional<ExportedTexture> exportTexture(VuoImage image) {
  if (!driver.exports) return std::nullopt;
  FileDescriptor file(memfd_create("texture", MFD_CLOEXEC));
  const std::uint32_t name = image->glTextureName;
  EXPECT_EQ(pwrite(file.get(), &name, sizeof name, 0), static_cast<ssize_t>(sizeof name));
  return ExportedTexture{std::move(file),
                         {image->pixelsWide, image->pixelsHigh, 1, 0xffffffffffffffff, 2, 3}};
}

std::shared_ptr<ImportedTexture> ImportedTexture::import(std::shared_ptr<ShareGroup> group,
                                                         FileDescriptor file,
                                                         const TextureLayout& layout) {
  EXPECT_EQ(layout.modifier, 0xffffffffffffffff);
  std::uint32_t name = 0;
  EXPECT_EQ(pread(file.get(), &name, sizeof name, 0), static_cast<ssize_t>(sizeof name));
  if (!driver.imports) return nullptr;
  if (!driver.showsWhatIsDrawnLater) name = copyOf(name, layout);
  ++driver.imported;
  return std::shared_ptr<ImportedTexture>(new ImportedTexture(std::move(group), name, layout));
}

ImportedTexture::~ImportedTexture() {
  --driver.imported;
}

}  // namespace vuo

namespace {

constexpr std::uint64_t kSide = 8;
constexpr std::chrono::milliseconds kAtOnce{0};
using Pixels = std::vector<std::uint8_t>;

Pixels pixelsOf(std::uint8_t first) {
  Pixels pixels(kSide * kSide * 4);
  std::iota(pixels.begin(), pixels.end(), first);
  return pixels;
}

class TextureLoans : public testing::Test {
 protected:
  TextureLoans() {
    driver = {};
    int ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    player = std::make_unique<vuo::MessageSocket>(vuo::FileDescriptor(ends[0]));
    host = std::make_unique<vuo::MessageSocket>(vuo::FileDescriptor(ends[1]));
    sender = std::make_unique<vuo::FrameSender>(*player, 1);
    receiver = std::make_unique<vuo::FrameReceiver>(*host);
  }

  vuo::ImageRef draw(std::uint8_t first) {
    return drawing.upload(kSide, kSide, pixelsOf(first).data());
  }

  /// Sends the picture, and lets both ends hear what the other one says.
  vuo::ImageRef pass(const vuo::ImageRef& image) {
    const vuo::JsonOwner frame = sender->send(image);
    isLent = vuo::valueIn(frame.get(), "texture") != nullptr;
    while (auto message = host->receive(kAtOnce)) EXPECT_TRUE(receiver->take(*message));
    vuo::ImageRef received = receiver->receive(frame.get());
    listen();
    return received;
  }
  /// Two frames whose pixels travel.
  void passTrial() {
    for (std::uint8_t round = 0; round < 2; ++round) {
      EXPECT_EQ(read(pass(draw(round))), pixelsOf(round));
      EXPECT_FALSE(isLent);
    }
  }
  void listen() {
    while (auto message = player->receive(kAtOnce)) sender->take(message->body.get());
  }

  static Pixels read(const vuo::ImageRef& image) {
    Pixels pixels(kSide * kSide * 4);
    EXPECT_TRUE(vuo::readPixels(image.get(), pixels.data()));
    return pixels;
  }

  vuo::TextureUploader drawing;
  std::unique_ptr<vuo::MessageSocket> player, host;
  std::unique_ptr<vuo::FrameSender> sender;
  std::unique_ptr<vuo::FrameReceiver> receiver;
  bool isLent = false;  ///< the frame that was passed last
};

TEST_F(TextureLoans, LendsTexturesOnceTheTrialHasPassed) {
  passTrial();
  vuo::ImageRef image = draw(1);
  const std::uint32_t texture = image->glTextureName;
  vuo::ImageRef lent = pass(image);
  EXPECT_TRUE(isLent);
  EXPECT_EQ(lent->glTextureName, texture);
  EXPECT_EQ(lent->pixelsWide, kSide);
  EXPECT_EQ(read(lent), pixelsOf(1));
  EXPECT_EQ(driver.imported, 1);  // the noise is gone

  // Nobody draws over what the host still has, whatever the composition itself has done with it.
  image = {};
  EXPECT_NE(draw(2)->glTextureName, texture);
  const vuo::ImageRef again = lent;
  lent = {};
  listen();
  EXPECT_NE(draw(2)->glTextureName, texture);
}

TEST_F(TextureLoans, DrawsAgainIntoWhatCameBack) {
  passTrial();
  vuo::ImageRef image = draw(1);
  const std::uint32_t texture = image->glTextureName;
  vuo::ImageRef first = pass(image), second = pass(image);
  image = first = {};
  listen();
  EXPECT_NE(draw(2)->glTextureName, texture);  // it was lent twice
  second = {};
  listen();
  const vuo::ImageRef next = draw(3);
  EXPECT_EQ(next->glTextureName, texture);
  const vuo::ImageRef received = pass(next);
  EXPECT_TRUE(isLent);
  EXPECT_EQ(read(received), pixelsOf(3));
}

TEST_F(TextureLoans, SendsPixelsForGoodWhereADriverCanNot) {
  const std::function<void()> hindrances[] = {[] { driver.exports = false; },
                                              [] { driver.imports = false; },
                                              [] { driver.showsWhatIsDrawnLater = false; }};
  for (const auto& hinder : hindrances) {
    driver = {};
    sender = std::make_unique<vuo::FrameSender>(*player, 1);
    hinder();
    passTrial();
    driver = {};
    for (int i = 0; i < 5; ++i) passTrial();
  }
}

TEST_F(TextureLoans, SendsPixelsOnceATextureIsRefused) {
  passTrial();
  driver.imports = false;
  const vuo::ImageRef image = draw(1);
  EXPECT_THROW(std::ignore = pass(image), std::runtime_error);
  listen();
  passTrial();
}

TEST_F(TextureLoans, CopiesForAHostThatKeepsManyPictures) {
  passTrial();
  const vuo::ImageRef image = draw(1);
  std::vector<vuo::ImageRef> kept;
  while (kept.size() < 20) kept.push_back(pass(image));
  EXPECT_FALSE(isLent);
  kept.resize(3);
  listen();
  EXPECT_EQ(read(pass(image)), pixelsOf(1));
  EXPECT_TRUE(isLent);
}

TEST_F(TextureLoans, ForgetsTexturesThatNoLongerComeAndOutlivesItsEnds) {
  passTrial();
  for (std::uint64_t width = 1; width < 6; ++width)
    std::ignore = pass(drawing.upload(width, 1, pixelsOf(2).data()));
  EXPECT_EQ(driver.imported, 5);
  const vuo::ImageRef image = draw(3);
  for (int i = 0; i < 70; ++i) std::ignore = pass(image);
  EXPECT_EQ(driver.imported, 1);

  vuo::ImageRef lent = pass(image);
  receiver = nullptr;
  sender = nullptr;
  host = nullptr;
  EXPECT_EQ(driver.imported, 1);
  lent = {};
  EXPECT_EQ(driver.imported, 0);
}

TEST_F(TextureLoans, RefusesFramesThatMakeNoSense) {
  for (const char* text :
       {R"({"texture":7})", R"({"width":8,"height":8})", R"({"buffer":9,"width":8,"height":8})"}) {
    const vuo::JsonOwner frame(json_tokener_parse(text));
    EXPECT_THROW(receiver->receive(frame.get()), std::runtime_error) << text;
  }
}

}  // namespace
