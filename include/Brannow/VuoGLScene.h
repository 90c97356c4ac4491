// One hosted composition.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Brannow/BrannowExport.h"
#include "Brannow/GLContext.h"
#include "Brannow/VuoFrame.h"
#include "Brannow/VuoGLSceneProtocol.h"
#include "Brannow/VuoSceneStatus.h"
#include "Brannow/ZQBuffer.h"
#include "Brannow/ZQVuoComposition.h"
#include "Brannow/ZQVuoPortValue.h"

/// A delegate that a host may attach to a scene. The scene keeps the pointer and sends it nothing.
class BRANNOW_API VuoGLSceneDelegate {
 public:
  virtual ~VuoGLSceneDelegate() = default;
};

/// What a published output holds: an image as a host buffer, or the value of any other port.
/// Neither when there is nothing. Owned by whoever holds this object.
struct [[nodiscard]] VuoOutput {
  ZQBufferRef buffer;
  std::shared_ptr<const ZQVuoPortValue> value;
  explicit operator bool() const { return buffer || value; }
};

/// Runs a composition file and hands its pictures to the host. Every operation may be called from
/// any thread and nothing is thrown. Operations that reach the running composition wait for each
/// other, scene by scene; a wait for a frame holds up nobody else.
class BRANNOW_API VuoGLScene : public VuoGLSceneProtocol,
                               public std::enable_shared_from_this<VuoGLScene> {
 public:
  using Path = std::optional<std::string>;
  using Key = std::optional<std::string>;
  using Value = std::shared_ptr<const ZQVuoPortValue>;
  using StatusHandler = std::function<void(const VuoSceneStatus&)>;
  /// The longest that a frame is waited for; none: as long as the composition lives.
  using Patience = std::optional<std::chrono::nanoseconds>;

  // --- the process

  /// Names the host's GL context, in whose share group every composition in this process draws. To
  /// be called once, before the first scene loads. Only the handle is kept: the caller keeps the
  /// context until all scenes and what they were showing are gone. Null is ignored.
  static void setGlobalVuoGLContext(const std::shared_ptr<brannow::GLContext>& context);
  /// By which way the pictures of compositions in processes of their own go on this machine, for
  /// people: "shared textures", or "shared memory" and why. Found out when the first picture has
  /// come from such a process. Any thread; does not wait for that.
  static std::string processPicturesDescription();

  // --- life

  /// A scene that renders at `width` by `height` pixels. Null when either is below 1.
  static std::shared_ptr<VuoGLScene> initWithSize(double width, double height);
  /// Unloads like `prepareToBeDeleted`.
  ~VuoGLScene() override;
  /// Unloads the scene for good: every later operation returns at once with nothing. The running
  /// composition is stopped in the background.
  void prepareToBeDeleted();

  // --- the composition file. The cache knows it by the path as it is given: absolute paths.

  /// Loads `path` on the calling thread: reads it, compiles it where the cache has no fresh
  /// artefact or where a shader or picture that it names has changed since, and asks for its start,
  /// which it does not wait for. None unloads. Whatever ran before is stopped in the background.
  /// When the compile fails the scene stays without a composition
  /// (`readyToRender` is false); one that does not come up is unloaded again. `status` tells.
  void useFile(const Path& path);
  /// With `async` the compile runs in the background and the start is asked for on the main queue,
  /// for well under a millisecond; the call returns as soon as the file has been read. A load of
  /// another file overtakes it. A second load of the same file does not: whichever answer comes
  /// first runs, the other is logged and dropped; a host that loads again because the file has
  /// changed does so when `readyToRender` is true.
  void useFile(const Path& path, bool async);
  /// The description of the current file; null without one.
  std::shared_ptr<ZQVuoComposition> comp() const;
  Path filePath() const;
  /// What the last load read, as paths: the composition, then the shaders and pictures that it
  /// names. Those that are missing or faulty are there too, so that a host can watch for what is to
  /// be mended. Complete when `status` is no longer `Loading`; stays when the scene is unloaded;
  /// empty before the first load.
  std::vector<std::string> sourceFiles() const;
  /// Whether the next load runs the composition in a process of its own (the default) or inside
  /// this one. To be changed before a load, not while one is under way, which then fails.
  bool runnerNewProcess() const;
  void setRunnerNewProcess(bool runnerNewProcess);
  /// Keeps a pointer that the scene neither owns nor uses; null removes it.
  void setDelegate(VuoGLSceneDelegate* delegate);

  /// What the scene is doing, and why it is not running. Never waits for the composition. Every
  /// change wakes the main queue, where what ends a composition is handled.
  VuoSceneStatus status() const;
  /// Installs what is told of every change of the status, in order, on the main queue; an empty one
  /// removes it. On the main queue's thread no call comes any more once this has returned. A
  /// deleted scene tells nothing.
  void setStatusHandler(StatusHandler handler);

  /// How long a composition may be at one event, or at coming up, before it counts as stuck; none:
  /// as long as it takes, for a host that renders without a clock. 10 seconds at first; holds for
  /// what runs and for later loads. A composition in a process of its own is then ended, and
  /// contact with it lost. One in this process can't be ended: a line in the log and `status` tell
  /// for how long it has been at it, after each further such time.
  void setEventPatience(Patience patience);
  Patience eventPatience() const;

  // --- size, in pixels

  /// Tells the composition when the size differs from the last one. No lower bound. Width and
  /// height arrive one after the other: the next pictures may still have the old size, or one old
  /// side, and the first ones after a load the composition's own defaults. The picture's size
  /// tells.
  void setSize(double width, double height);
  ZQSize size() const;

  // --- frames. The composition's time is the seconds since its file was set, by the wall clock.

  /// Whether a composition has been started, so that values and requests reach it; `status` tells
  /// whether it has come up. False again when that failed, once the main queue has handled it.
  bool readyToRender() const;
  /// Tells the composition the time and does not wait for a picture.
  void startRendering();
  /// The current picture as it is; null when there is none.
  ZQBufferRef allocABuffer();
  /// A generator's frame: tells the composition the time, waits at most 0.5 seconds until a picture
  /// has been reported, and returns the latest. Null, with a log line, when none came in time. Once
  /// a picture has been reported there is no wait until `copyAndClearOutValPortNames`; then the
  /// next report ends it, which may be that of an event from before. No wait either when nothing
  /// runs (null) or the composition has no input `time`. Null without a line while there is no
  /// `_globalZQBufferPool`.
  ZQBufferRef allocAndRenderABuffer();
  /// A filter's frame: the same with `frame` as the input image, which the caller's GL context must
  /// have flushed, and a wait of at most 0.05 seconds, also when nothing runs yet: ask
  /// `readyToRender` first. The time's event goes ahead of the frame's, so in a composition whose
  /// picture follows both the result is as a rule that of the frame before. Null when `frame` is
  /// null or no picture came; `frame` itself when there is no composition or it is no filter.
  ZQBufferRef runFilterOnFrame(const ZQBufferRef& frame);

  // --- frames by request (Brannow/VuoFrame.h). A picture says which request it answers, so a host
  // with a clock of its own, with several layers or without a display should use these, and need
  // not look at report lists. They may be mixed with the operations above, whose events have no
  // number.

  /// Asks for a frame and returns at once. Everything in the request is stored, then one event is
  /// fired into all inputs; requests are drawn in the order of asking. Never null: what is asked of
  /// a scene in which nothing runs is answered with the reason. More than 256 waiting requests are
  /// dropped.
  std::shared_ptr<VuoPendingFrame> askForFrame(const VuoFrameRequest& request);
  /// The answer to a request of this scene, waited for no longer than `longest`; 0 takes what is
  /// there. Holds up nobody else. A wait ends early when the composition ends or is unloaded. May
  /// be called again, after a late picture or for the same one.
  VuoFrame takeFrame(const std::shared_ptr<VuoPendingFrame>& frame, Patience longest);
  /// Both steps. A request that is late is given up: it is not drawn if it has not begun, and its
  /// values stay set.
  VuoFrame renderFrame(const VuoFrameRequest& request, Patience longest);
  /// When the oldest request was asked that the composition has not finished, whoever still waits
  /// for it; none when it owes nothing. A host shows by this that a composition does not answer.
  std::optional<std::chrono::steady_clock::time_point> oldestRequestSince() const;

  // --- published ports, by name

  /// Stores a value in an input and fires one event from it. Ignored when nothing runs, the input
  /// does not exist or the value does not fit its type: numbers and truth values fit each other,
  /// the rest only its own kind. A load starts with the defaults again.
  void setValue(const Value& value, const Key& forInputKey);
  /// The same with an image, the whole of the buffer's texture. In this process the composition
  /// uses the texture itself, which must not change, and holds the buffer until another image takes
  /// its place or the composition ends. In a process of its own it may do the same with buffers of
  /// the pool and pictures of other compositions; any other image is copied before the call
  /// returns.
  void setBuffer(const ZQBufferRef& buffer, const Key& forInputImageKey);
  /// The current value of an output.
  VuoOutput allocValueForOutputKey(const Key& key);
  /// The names of the outputs that reported data, or an event without data, since the last call; in
  /// the order of the first report, each name once.
  [[nodiscard]] std::vector<std::string> copyAndClearOutValPortNames();
  [[nodiscard]] std::vector<std::string> copyAndClearOutEventPortNames();

  // --- what the runner reports; not for hosts

  void runnerDelegateReceivedValForOutputKey(const Key& key) override;
  void runnerDelegateReceivedEventForOutputKey(const Key& key) override;
  void runnerDelegateLostContactWithComposition() override;

 private:
  struct State;
  VuoGLScene(double width, double height);

  const std::unique_ptr<State> _state;
};
