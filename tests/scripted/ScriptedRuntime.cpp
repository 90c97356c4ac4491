#include "tests/scripted/ScriptedRuntime.h"

#include <json-c/json.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "platform/system/FileSystem.h"
#include "platform/system/Mutex.h"
#include "runtime/VuoCompiler.h"
#include "runtime/VuoGlContext.h"
#include "runtime/VuoHeap.h"
#include "runtime/VuoRunnerCocoa.h"
#include "runtime/VuoSharing.h"
#include "runtime/VuoValues.h"
#include "scene/JsonRelease.h"

namespace scripted {
namespace {

Script theScript;
platform::Mutex callsLock;  // nothing is taken under it
std::vector<std::string> calls GUARDED_BY(callsLock);
std::atomic<int> runners{0};
std::atomic<int> images{0};
std::atomic<VuoRunnerDelegate*> lastDelegate{nullptr};
std::weak_ptr<VuoRunner::Watcher> lastWatcher;
VuoRunner::Patience thePatience;
std::map<std::string, std::unique_ptr<VuoRunner::Port>> ports GUARDED_BY(callsLock);

void noted(const std::string& call) {
  platform::LockGuard hold(callsLock);
  calls.push_back(call);
}

template <class Argument>
std::string text(const Argument& argument) {
  if constexpr (std::is_invocable_v<Argument>)
    return argument();
  else
    return argument;
}

void throwIfToldTo(const std::string& word) {
  if (!theScript.throwing.contains(word)) return;
  if (theScript.throwsInt) throw 1;
  throw std::runtime_error("scripted failure of " + word);
}

/// What the script says of the next call alone; empty when that is nothing.
std::function<void()> takenFromTheScript(const std::string& word) {
  platform::LockGuard hold(callsLock);
  auto next = theScript.duringNext.extract(word);
  return next ? std::move(next.mapped()) : nullptr;
}

/// Records a call and does what the script says of its first word. The arguments may be functions
/// that make a text.
template <class... Arguments>
void called(const std::string& word, const Arguments&... arguments) {
  if (theScript.records) noted((word + ... + (" " + text(arguments))));
  if (auto next = takenFromTheScript(word)) {
    next();
  } else if (const auto action = theScript.during.find(word); action != theScript.during.end()) {
    action->second();
  }
  throwIfToldTo(word);
}

VuoRunner::Port* portNamed(const std::string& name) {
  platform::LockGuard hold(callsLock);
  auto& port = ports[name];
  if (!port) port = std::make_unique<VuoRunner::Port>(name);
  return port.get();
}

/// What the test made of the last tagged event; it plays the composition's part by itself.
struct ScriptedEvent final : VuoRunner::Event {
  State state() const override { return theScript.eventState; }
  State waitUntil(Deadline) override { return theScript.eventState; }
  std::shared_ptr<const VuoRunner::Outputs> outputs() const override { return currentOutputs(); }
  std::string endDescription() const override { return "scripted end"; }

  static std::shared_ptr<const VuoRunner::Outputs> currentOutputs();
};

struct ScriptedOutputs final : VuoRunner::Outputs {
  json_object* value(const std::string& output) const override {
    const auto image = theScript.imageOutputs.find(output);
    if (image != theScript.imageOutputs.end()) return VuoImage_getJson(image->second);
    const auto text = theScript.outputs.find(output);
    return text == theScript.outputs.end() ? nullptr : json_tokener_parse(text->second.c_str());
  }
  VuoRunner::EventTag madeBy(const std::string&) const override { return theScript.madeBy; }
  std::string fault(const std::string&) const override { return theScript.fault; }
};

std::shared_ptr<const VuoRunner::Outputs> ScriptedEvent::currentOutputs() {
  return std::make_shared<ScriptedOutputs>();
}

class Runner : public VuoRunner {
 public:
  Runner() { ++runners; }
  ~Runner() override {
    // Like a runner that was not told to leave its delegate alone.
    if (_delegate)
      _delegate->receivedTelemetryPublishedOutputPortUpdated(portNamed("last"), true, "");
    noted("destroyRunner");
    --runners;
  }
  void setDelegate(VuoRunnerDelegate* delegate) override {
    called(delegate ? "setDelegate" : "removeDelegate");
    // An old runner that is being stopped must not take the delegate of a newer one away.
    VuoRunnerDelegate* old = std::exchange(_delegate, delegate);
    if (delegate) {
      lastDelegate = delegate;
    } else {
      lastDelegate.compare_exchange_strong(old, nullptr);
    }
  }
  void setWatcher(std::weak_ptr<Watcher> watcher) override { _watcher = watcher; }
  void setPatience(Patience patience) override { thePatience = patience; }
  void start() override {
    called("start");
    lastWatcher = _watcher;
    if (theScript.comesUp) _watcher.lock()->cameUp();
  }
  void stop() override { called("stop"); }
  void waitUntilStopped() override { called("waitUntilStopped"); }
  Port* getPublishedInputPortWithName(std::string name) override {
    called("findInput", name);
    return theScript.inputs.contains(name) ? portNamed(name) : nullptr;
  }
  Port* getPublishedOutputPortWithName(std::string name) override {
    called("findOutput", name);
    const bool known = theScript.outputs.contains(name) || theScript.imageOutputs.contains(name);
    return known ? portNamed(name) : nullptr;
  }
  void setPublishedInputPortValue(Port* port, json_object* value) override {
    called("set", port->getName(), [value] {
      return std::string(json_object_to_json_string_ext(value, JSON_C_TO_STRING_PLAIN));
    });
  }
  void firePublishedInputPortEvent(Port* port) override { called("fire", port->getName()); }
  void firePublishedInputPortEvent() override { called("fire"); }
  std::shared_ptr<Event> firePublishedInputPortEvent(EventTag tag) override {
    called("fireTagged", std::to_string(tag.number));
    return std::make_shared<ScriptedEvent>();
  }
  std::optional<std::chrono::steady_clock::time_point> oldestEventSince() const override {
    return std::nullopt;
  }
  std::shared_ptr<const Outputs> getPublishedOutputs() const override {
    return ScriptedEvent::currentOutputs();
  }
  std::string lossDescription() const override { return "scripted loss"; }
  json_object* getPublishedOutputPortValue(Port* port) override {
    called("get", port->getName());
    const auto image = theScript.imageOutputs.find(port->getName());
    if (image != theScript.imageOutputs.end()) return VuoImage_getJson(image->second);
    const std::string& text = theScript.outputs[port->getName()];
    return text.empty() ? nullptr : json_tokener_parse(text.c_str());
  }

 private:
  VuoRunnerDelegate* _delegate = nullptr;
  std::weak_ptr<Watcher> _watcher;
};

struct CountedImage {
  VuoImageRecord record;
  std::atomic<long> count{0};
};

VuoImage newImage(std::uint32_t name, std::uint32_t target, std::uint32_t format,
                  std::uint64_t width, std::uint64_t height, VuoImage_FreeCallback callback,
                  void* context) {
  if (!theScript.yieldsImage) return nullptr;
  ++images;
  return &(new CountedImage{{name, target, format, width, height, callback, context}, {}})->record;
}

std::atomic<long>& countOf(const void* value) {
  return reinterpret_cast<CountedImage*>(const_cast<void*>(value))->count;
}

}  // namespace

void reset() {
  platform::LockGuard hold(callsLock);
  theScript = {};
  calls.clear();
}

Script& script() {
  return theScript;
}

std::vector<std::string> takeCalls() {
  platform::LockGuard hold(callsLock);
  return std::exchange(calls, {});
}

VuoRunnerDelegate* delegate() {
  return lastDelegate;
}

std::shared_ptr<VuoRunner::Watcher> watcher() {
  return lastWatcher.lock();
}

VuoRunner::Patience patience() {
  return thePatience;
}

void report(const std::string& output, bool sentData) {
  lastDelegate.load()->receivedTelemetryPublishedOutputPortUpdated(portNamed(output), sentData, "");
}

int liveRunners() {
  return runners;
}
int liveImages() {
  return images;
}
long retainsOf(VuoImage image) {
  return countOf(image);
}

VuoImage makeImage(std::uint64_t width, std::uint64_t height, std::uint32_t target) {
  const VuoImage image = newImage(7, target, 0x8058, width, height, nullptr, nullptr);
  VuoRetain(image);
  return image;
}

}  // namespace scripted

using scripted::called;
using scripted::theScript;

VuoRunner* VuoRunner::newSeparateProcessRunnerFromExecutable(std::string executablePath,
                                                             std::string sourceDirectory, bool,
                                                             bool) {
  called("newSeparate", executablePath, sourceDirectory);
  return theScript.yieldsRunner ? new scripted::Runner : nullptr;
}

VuoRunner* VuoRunner::newCurrentProcessRunnerFromDynamicLibrary(std::string dylibPath,
                                                                std::string sourceDirectory, bool) {
  called("newInProcess", dylibPath, sourceDirectory);
  return theScript.yieldsRunner ? new scripted::Runner : nullptr;
}

VuoRunner::Artefact VuoRunner::artefactAt(const std::string&, const std::string&) {
  return {!theScript.refusesArtefacts, {}};
}

std::vector<brannow::CompositionFault> VuoCompiler::faultsOf(const std::string&) {
  return {};
}
VuoCompiler::VuoCompiler() = default;
VuoCompiler::~VuoCompiler() = default;

void VuoCompiler::compileComposition(std::string composition, std::string bitcode) {
  called("compile", platform::lastPathComponent(composition), bitcode);
}

void VuoCompiler::linkCompositionToCreateDynamicLibrary(std::string, std::string library,
                                                        Optimization optimization) {
  called("linkDylib", platform::lastPathComponent(library), std::to_string(optimization));
  platform::writeFileAtomically(library, "library");
}

void VuoCompiler::linkCompositionToCreateExecutable(std::string, std::string executable,
                                                    Optimization optimization, bool, std::string) {
  called("linkExe", platform::lastPathComponent(executable), std::to_string(optimization));
  platform::writeFileAtomically(executable, "executable");
}

static void freeValue(const void* value) {
  auto* image = reinterpret_cast<scripted::CountedImage*>(const_cast<void*>(value));
  if (image->record.freeCallback) image->record.freeCallback(&image->record);
  --scripted::images;
  delete image;
}

void VuoRetain(const void* value) {
  if (theScript.retainThatThrows > 0 && --theScript.retainThatThrows == 0) {
    if (scripted::countOf(value) == 0) freeValue(value);
    throw std::runtime_error("scripted failure of retain");
  }
  ++scripted::countOf(value);
}

void VuoRelease(const void* value) {
  if (--scripted::countOf(value) <= 0) freeValue(value);
  scripted::throwIfToldTo("release");
}

/// In the framework's place.
void releaseJson(json_object* value) {
  json_object_put(value);
  scripted::throwIfToldTo("put");
}

static void calledMake(const char* kind, std::uint32_t name, std::uint32_t format,
                       std::uint64_t width, std::uint64_t height) {
  called(kind, std::to_string(name), std::to_string(format),
         std::to_string(width) + "x" + std::to_string(height));
}

VuoImage VuoImage_makeClientOwned(std::uint32_t name, std::uint32_t format, std::uint64_t width,
                                  std::uint64_t height, VuoImage_FreeCallback callback,
                                  void* context) {
  calledMake("make2D", name, format, width, height);
  return scripted::newImage(name, 0x0DE1, format, width, height, callback, context);
}

VuoImage VuoImage_makeClientOwnedGlTextureRectangle(std::uint32_t name, std::uint32_t format,
                                                    std::uint64_t width, std::uint64_t height,
                                                    VuoImage_FreeCallback callback, void* context) {
  calledMake("makeRectangle", name, format, width, height);
  return scripted::newImage(name, 0x84F5, format, width, height, callback, context);
}

VuoImage VuoImage_makeFromJson(json_object* value) {
  return reinterpret_cast<VuoImage>(json_object_get_int64(value));
}

json_object* VuoImage_getJson(VuoImage image) {
  called("imageJson");
  if (!theScript.yieldsJson) return nullptr;
  return json_object_new_int64(reinterpret_cast<std::int64_t>(image));
}

json_object* VuoImage_getInterprocessJson(VuoImage image) {
  called("interprocessImageJson");
  if (!theScript.yieldsJson) return nullptr;
  return json_object_new_int64(reinterpret_cast<std::int64_t>(image));
}

std::string VuoSharing_description() {
  return {};
}
VuoSharedTexture VuoSharing_makeTexture(platform::GLContextHandle, std::size_t, std::size_t) {
  return {};
}

VuoColor VuoColor_makeWithRGBA(float r, float g, float b, float a) {
  return {r, g, b, a};
}
VuoPoint2d VuoPoint2d_make(float x, float y) {
  return {x, y};
}

// A text is kept in the place of an image's record, so that its references are counted alike.
VuoText VuoText_make(const char* utf8) {
  void* context = ::strdup(utf8);
  const auto image = scripted::newImage(
      0, 0, 0, 0, 0, [](VuoImage freed) { std::free(freed->freeCallbackContext); }, context);
  return reinterpret_cast<VuoText>(image);
}

json_object* VuoText_getJson(VuoText value) {
  called("textJson");
  if (!theScript.yieldsJson) return nullptr;
  const auto* record = reinterpret_cast<const VuoImageRecord*>(value);
  return json_object_new_string(static_cast<const char*>(record->freeCallbackContext));
}

json_object* VuoReal_getJson(VuoReal value) {
  return theScript.yieldsJson ? json_object_new_double(value) : nullptr;
}

json_object* VuoInteger_getJson(VuoInteger value) {
  return theScript.yieldsJson ? json_object_new_int64(value) : nullptr;
}

json_object* VuoBoolean_getJson(VuoBoolean value) {
  return theScript.yieldsJson ? json_object_new_boolean(value) : nullptr;
}

json_object* VuoColor_getJson(VuoColor value) {
  json_object* array = json_object_new_array();
  for (const float component : {value.r, value.g, value.b, value.a}) {
    json_object_array_add(array, json_object_new_double(component));
  }
  return array;
}

json_object* VuoPoint2d_getJson(VuoPoint2d value) {
  json_object* array = json_object_new_array();
  for (const float component : {value.x, value.y}) {
    json_object_array_add(array, json_object_new_double(component));
  }
  return array;
}

std::shared_ptr<const ZQVuoPortValue> VuoRunnerCocoa::cocoaObjectWithVuoValue(
    json_object* value, const std::string& ofType) {
  called("cocoa", ofType);
  return std::make_shared<const ZQVuoPortValue>(json_object_get_string(value));
}

void VuoGlContext_setGlobalRootContext(platform::GLContextHandle) {
  called("setRoot");
}
