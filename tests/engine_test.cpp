// Brannow in somebody else's program. Each test is a process of its own, whose end is part of it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Brannow/Brannow.h"
#include "TestSupport.h"

namespace {

using testing::HasSubstr;

class EngineTest : public testing::TestWithParam<bool> {
 protected:
  EngineTest() { ::setenv("XDG_CACHE_HOME", folder.path.c_str(), 1); }

  std::shared_ptr<VuoGLScene> load(const std::string& file) {
    brannow::Engine::SceneOptions options;
    options.file = file;
    options.inProcess = GetParam();
    problem.clear();
    return brannow::Engine::shared()->loadScene(options, problem);
  }

  TestFolder folder;
  std::string problem;
};

INSTANTIATE_TEST_SUITE_P(EitherProcess, EngineTest, testing::Bool());

TEST_P(EngineTest, LoadsOrSaysWhyNotAndEndsWithScenesAlive) {
  folder.write("faulty.frag", "#version 330 core\nvoid main() { nonsense }\n");
  const std::string faulty = folder.write(
      "faulty.vuo",
      "digraph G {\nPublishedOutputs [type=\"vuo.out\" label=\"Out|<outputImage>o\" "
      "_outputImage_type=\"VuoImage\"];\nS [type=\"vuo.shader\" shader=\"faulty.frag\"];\n"
      "S:image -> PublishedOutputs:outputImage;\n}\n");
  EXPECT_FALSE(load(faulty));
  EXPECT_THAT(problem, HasSubstr("faulty.frag:2:"));
  EXPECT_FALSE(load(folder.path + "/missing.vuo"));
  EXPECT_NE(problem, "");

  static std::vector<std::shared_ptr<VuoGLScene>> forgotten;
  for (const char* name : {"/plasma.vuo", "/poster.vuo"}) {
    forgotten.push_back(load(COMPOSITIONS_DIR + std::string(name)));
    ASSERT_TRUE(forgotten.back()) << problem;
    VuoFrameRequest request;
    request.size = ZQSize{8, 4};
    EXPECT_EQ(forgotten.back()->renderFrame(request, std::nullopt).answer, VuoFrame::Answer::Fresh);
    (void)forgotten.back()->askForFrame(request);  // and it ends in the middle of that
  }
}

TEST_P(EngineTest, NeedsNoFolderOfTheUsers) {
  ::setenv("XDG_CACHE_HOME", "/dev/null", 1);
  EXPECT_TRUE(load(COMPOSITIONS_DIR "/plasma.vuo")) << problem;
}

TEST(Engine, TakesWhatAHostHasSetUp) {
  const TestFolder folder;
  const auto context = brannow::GLContext::createRoot();
  const auto pool = ZQBufferPool::create(context->handle());
  _globalZQBufferPool = pool.get();
  VuoGLScene::setGlobalVuoGLContext(context);
  auto* engine = brannow::Engine::shared();
  EXPECT_EQ(engine, brannow::Engine::shared(brannow::GLContext::createRoot()));
  EXPECT_EQ(&engine->pool(), pool.get());
  EXPECT_EQ(engine->context().handle(), context->handle());
  bool isServed = false;
  brannow::MainQueue::shared().async([&] { isServed = true; });
  serveMainQueueUntil([&] { return isServed; });  // by the host and nobody else
}

}  // namespace
