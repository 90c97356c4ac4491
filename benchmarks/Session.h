// What a host sets up before it uses scenes, over a folder that goes with it.
#pragma once

#include <memory>
#include <string>

#include "Brannow/Brannow.h"

class Session {
 public:
  Session();
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  ZQBufferPool& pool() { return *_pool; }
  const brannow::GLContext& context() const { return *_context; }
  const std::string& folder() const { return _folder; }

 private:
  std::string _folder;
  std::shared_ptr<brannow::GLContext> _context;
  std::unique_ptr<ZQBufferPool> _pool;
};

/// The file of a composition that is measured.
std::string benchComposition(const std::string& name);
std::string textOf(const std::string& file);

/// A scene in which that composition runs. Ends the program when it does not.
std::shared_ptr<VuoGLScene> runningScene(const std::string& file, double width, double height,
                                         bool newProcess);
/// The next frame, waited for however long it takes: the request's own, or with nothing new in it.
/// Ends the program when there is none.
ZQBufferRef nextFrame(VuoGLScene& scene, const VuoFrameRequest& request = {});
/// The answer to a request that is on its way. Ends the program when there is no picture.
ZQBufferRef answerTo(const std::shared_ptr<VuoPendingFrame>& asked, VuoGLScene& scene);
