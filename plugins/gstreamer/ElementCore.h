#pragma once

#include <gst/gl/gl.h>
#include <gst/video/video.h>

#include <memory>
#include <optional>
#include <string>

#include "gstreamer/HostedScene.h"
#include "gstreamer/PictureTransfer.h"
#include "gstreamer/PublishedProperties.h"
#include "platform/system/Mutex.h"

#define BRANNOW_GL_CAPS                                                        \
  GST_VIDEO_CAPS_MAKE_WITH_FEATURES(GST_CAPS_FEATURE_MEMORY_GL_MEMORY, "RGBA") \
  ", texture-target = (string) 2D"

/// What a class of elements is for: any composition, named by `location`, or a single one.
struct ElementKind {
  std::string name;                                 ///< of the element
  std::string file;                                 ///< empty for any composition
  std::string title;                                ///< for people
  std::string description;                          ///< for people
  std::shared_ptr<PublishedProperties> properties;  ///< null for any composition
  std::vector<std::string> images;                  ///< the names of the inputs that are pictures
};

/// What sources and filters have in common, beside their base classes of GStreamer's.
class ElementCore {
 public:
  ElementCore(GstElement* element, const ElementKind* kind);
  ~ElementCore() { forgetDisplay(); }
  ElementCore(const ElementCore&) = delete;
  ElementCore& operator=(const ElementCore&) = delete;

  // Properties. Those of the elements themselves have the numbers below `kFirstOwn`.
  enum { kNone, kLocation, kProcess, kFirstOfBase, kFirstPublished = 32 };
  static void installProperties(GObjectClass* klass, const ElementKind& kind);
  /// Whether the number is one of these.
  bool setProperty(guint id, const GValue& value);
  bool getProperty(guint id, GValue& value);

  // The pipeline's display and context.
  /// Answers a neighbour that looks for a display or a context: also where this machine has no
  /// display of its own.
  bool answerContext(GstQuery* query);
  /// What the application, or a neighbour, has for the element.
  void takeContext(GstContext* context);
  /// Finds or makes the display and gives it its context, before another element does.
  void joinDisplay();
  void forgetDisplay();
  /// Lent; null without a display.
  GstGLContext* context() const { return _context; }

  /// Loads the composition; posts an error where that can't be done.
  bool start(bool isLive);
  void stop();

  HostedScene& scene() { return _scene; }
  PictureTransfer& transfer() { return _transfer; }
  /// Takes up with the context; the first element in it tells if pictures have to cross as pixels.
  void use(GstGLContext* context);

 private:
  void findDisplay();
  void joinContext();
  std::shared_ptr<const ZQVuoPortValue> held(const PublishedProperties::Property& property);

  GstElement* const _element;
  const ElementKind* const _kind;
  HostedScene _scene;
  PictureTransfer _transfer;
  GstGLDisplay* _display = nullptr;
  GstGLContext* _application = nullptr;  ///< the context that the application shares
  GstGLContext* _context = nullptr;

  platform::Mutex _lock;
  std::string _location GUARDED_BY(_lock);
  bool _isInProcess GUARDED_BY(_lock) = false;
};

GType brannow_process_get_type();
