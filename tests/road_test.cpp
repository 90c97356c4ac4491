// The whole road, from a composition file to pixels, against the real runtime.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "Brannow/Brannow.h"
#include "EmptyCache.h"
#include "TestSupport.h"
#include "runtime/VuoImage.h"

namespace {

constexpr const char* kShader =
    "#version 330 core\nuniform vec4 tint;\nout vec4 pixel;\nvoid main() { pixel = tint; }\n";

std::string compositionTinted(const std::string& tint) {
  return "digraph G {\n"
         "PublishedInputs [type=\"vuo.in\" label=\"In|<width>w|<height>h|<tint>t|<picture>p\" "
         "_width_type=\"VuoInteger\" _height_type=\"VuoInteger\" _tint_type=\"VuoColor\" _tint=\"" +
         tint +
         "\" _picture_type=\"VuoImage\"];\n"
         "PublishedOutputs [type=\"vuo.out\" label=\"Out|<outputImage>o|<back>b\" "
         "_outputImage_type=\"VuoImage\" _back_type=\"VuoImage\"];\n"
         "S [type=\"vuo.shader\" shader=\"s.frag\"];\n"
         "PublishedInputs:width -> S:width;\nPublishedInputs:height -> S:height;\n"
         "PublishedInputs:tint -> S:tint;\nS:image -> PublishedOutputs:outputImage;\n"
         "PublishedInputs:picture -> PublishedOutputs:back;\n}\n";
}

class Road : public testing::TestWithParam<bool> {
 protected:
  Road() {
    static const auto context = brannow::GLContext::createRoot();
    static const auto pool = ZQBufferPool::create(context->handle());
    _globalZQBufferPool = pool.get();
    VuoGLScene::setGlobalVuoGLContext(context);
    useEmptyCache(folder.path);
    folder.write("s.frag", kShader);
    file = folder.write("tint.vuo", compositionTinted("{r:1,g:0,b:0,a:1}"));
    scene = VuoGLScene::initWithSize(8, 4);
    scene->setRunnerNewProcess(GetParam());
  }
  ~Road() override {
    scene->prepareToBeDeleted();
    platform::finishQueues();
  }

  /// The scene's picture after all that it has been told.
  ZQBufferRef picture() {
    EXPECT_NE(scene->renderFrame({}, std::nullopt).answer, VuoFrame::Answer::None);
    ZQBufferRef buffer = scene->allocABuffer();
    EXPECT_EQ(buffer->size(), scene->size());
    return buffer;
  }

  static std::vector<std::uint8_t> firstPixel(const ZQBufferRef& buffer) {
    const ZQPixels pixels = _globalZQBufferPool->readPixels(*buffer);
    return {pixels.rgba.begin(), pixels.rgba.begin() + 4};
  }

  TestFolder folder;
  TestLog log;
  std::string file;
  std::shared_ptr<VuoGLScene> scene;
};

TEST_P(Road, ReadsTheShaderThatIsThereAtEachLoad) {
  const std::string shader = folder.path + "/s.frag", source = kShader;
  const auto lastCompile = [&] { return VuoCache::lastCompileForVuoFile(file)->began; };
  const auto load = [&] {
    scene->useFile(file);
    return scene->status().message;
  };
  EXPECT_EQ(load(), "");
  const auto first = lastCompile();
  EXPECT_EQ(load(), "");
  EXPECT_EQ(lastCompile(), first) << "nothing has changed";
  EXPECT_THAT(firstPixel(picture()), testing::ElementsAre(255, 0, 0, 255));

  std::filesystem::rename(
      folder.write("new.frag", source.substr(0, source.find("tint; }")) + "tint.bgra; }\n"),
      shader);
  EXPECT_TRUE(VuoCache::isCachedExeAvailableForVuoFile(file) ||
              VuoCache::isCachedDylibAvailableForVuoFile(file));
  EXPECT_EQ(load(), "");
  EXPECT_THAT(firstPixel(picture()), testing::ElementsAre(0, 0, 255, 255));

  std::filesystem::remove(shader);
  EXPECT_THAT(load(), testing::HasSubstr("there is no file " + shader));
  EXPECT_FALSE(scene->readyToRender());
  EXPECT_THAT(scene->sourceFiles(), testing::ElementsAre(file, shader));
  folder.write("s.frag", source + "nonsense");
  EXPECT_THAT(load(), testing::HasSubstr(shader + ":5"));
  EXPECT_THAT(scene->sourceFiles(), testing::ElementsAre(file, shader));
  folder.write("s.frag", source);
  EXPECT_EQ(load(), "");
  EXPECT_THAT(firstPixel(picture()), testing::ElementsAre(255, 0, 0, 255));
}

TEST_P(Road, ShowsTheFileAsItIsAtEachLoad) {
  scene->useFile(file, true);
  serveMainQueueUntil([&] { return scene->readyToRender(); });
  const auto red = picture();
  EXPECT_THAT(firstPixel(red), testing::ElementsAre(255, 0, 0, 255));

  // Edited while it runs; the old picture stays what it is as long as somebody holds it.
  folder.write("tint.vuo", compositionTinted("{r:0,g:0,b:1,a:1}"));
  timespec time = modificationTimeOf(file);
  ++time.tv_sec;
  setModificationTime(file, time);
  scene->useFile(file);
  EXPECT_THAT(firstPixel(picture()), testing::ElementsAre(0, 0, 255, 255));
  EXPECT_THAT(firstPixel(red), testing::ElementsAre(255, 0, 0, 255));

  scene->setValue(std::make_shared<const ZQVuoPortValue>(ZQVuoColor{0, 1, 0, 1}), "tint");
  scene->setSize(16, 2);
  EXPECT_THAT(firstPixel(picture()), testing::ElementsAre(0, 255, 0, 255));
}

TEST_P(Road, CompilesAgainWhatCantBeRun) {
  for (const bool async : {false, true}) {
    for (const char* contents : {"cut off", ""}) {
      scene->useFile(file);
      const auto item = GetParam() ? VuoCache::fetchCachedExeForVuoFileSynchronously(file)
                                   : VuoCache::fetchCachedDylibForVuoFileSynchronously(file);
      const std::string artefact = GetParam() ? *item->cachedExePath() : *item->cachedDylibPath();
      std::filesystem::remove(artefact);
      if (*contents != '\0') std::ofstream(artefact) << contents;
      scene->useFile(file, async);
      serveMainQueueUntil([&] { return scene->readyToRender(); });
      EXPECT_THAT(firstPixel(picture()), testing::ElementsAre(255, 0, 0, 255));
    }
  }
}

TEST_P(Road, LendsTexturesWithoutCopyingThem) {
  scene->useFile(file);
  const auto rendered = picture();
  const auto image = static_cast<VuoImage>(rendered->backingReleaseCallbackContext());
  EXPECT_EQ(rendered->name(), image->glTextureName);
  EXPECT_EQ(rendered->descriptorPtr()->textureBacking, ZQTextureBacking_External);

  (void)scene->copyAndClearOutValPortNames();
  scene->setBuffer(rendered, "picture");
  (void)picture();
  VuoOutput back = scene->allocValueForOutputKey("back");
  EXPECT_EQ(_globalZQBufferPool->readPixels(*back.buffer),
            _globalZQBufferPool->readPixels(*rendered));
  // Inside this process it is the very image that went in.
  const bool isSame = back.buffer->backingReleaseCallbackContext() == image;
  EXPECT_EQ(isSame, !GetParam());
  EXPECT_EQ(rendered->retainCount(), 1);

  const auto uploaded = _globalZQBufferPool->allocBufferWithPixels({1, 1, {1, 2, 3, 4}});
  scene->setBuffer(uploaded, "picture");
  (void)picture();
  back = scene->allocValueForOutputKey("back");
  EXPECT_THAT(firstPixel(back.buffer), testing::ElementsAre(1, 2, 3, 4));
  EXPECT_EQ(back.buffer->name() == uploaded->name(), !GetParam());
}

TEST_P(Road, MayStillRunWhenTheProcessEnds) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  const auto endWhileDrawing = [&] {
    scene->useFile(file);
    (void)picture();
    for (int i = 0; i < 40; ++i) scene->setSize(640, 360 + i);
    std::exit(0);
  };
  EXPECT_EXIT(endWhileDrawing(), testing::ExitedWithCode(0), "");
}

INSTANTIATE_TEST_SUITE_P(Modes, Road, testing::Bool(), [](const auto& mode) {
  return mode.param ? "OwnProcess" : "ThisProcess";
});

}  // namespace
