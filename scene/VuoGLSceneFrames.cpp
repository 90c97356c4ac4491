// Frames by request: a request becomes one event, and the picture that comes back tells which
// event drew it.
//
// That stands on one thing that the runtime gives beyond values and events: an event can be fired
// with a tag, its end is told whether or not it reached anything, and every output keeps the tag of
// the event that gave it its value. A runtime without that would only say that some event has
// reached an output. A picture could then be told from the one before it in one way alone: with one
// request at a time, no value set beside it, and a second output cabled to the time, so that the
// framework waits until that output shows the request's time. That costs every composition an
// output, a host all but one of its frames in flight, and it can't tell "nothing new" from "not
// yet".
#include <algorithm>
#include <chrono>

#include "Brannow/ZQBufferPool.h"
#include "bridging/ImageOverBuffer.h"
#include "platform/system/SystemLog.h"
#include "runtime/VuoValues.h"
#include "scene/Guarded.h"
#include "scene/PortConversion.h"
#include "scene/Retained.h"
#include "scene/VuoGLSceneState.h"

using Clock = std::chrono::steady_clock;
using Answer = VuoFrame::Answer;
using Reason = VuoFrame::Reason;

static VuoFrame noFrame(Reason reason, std::string message) {
  VuoFrame frame;
  frame.reason = reason;
  frame.message = std::move(message);
  return frame;
}

static VuoFrame endedFrame(const std::string& how) {
  return noFrame(Reason::Ended,
                 "The composition has ended" + (how.empty() ? std::string(".") : ": " + how + "."));
}

/// Written while it is asked for, and only read afterwards.
class VuoGLScene::State::AskedFrame : public VuoPendingFrame {
 public:
  std::uint64_t number() const override { return tag.number; }
  double time() const override { return tag.time; }
  const std::vector<std::string>& notTaken() const override { return namesNotTaken; }

  VuoRunner::EventTag tag;
  std::vector<std::string> namesNotTaken;
  std::shared_ptr<ZQVuoComposition> composition;
  std::weak_ptr<VuoRunner> runner;
  std::shared_ptr<VuoRunner::Event> event;  ///< null when nothing could be asked
  VuoFrame unasked;                         ///< the answer then
};

/// What there is no memory to ask for. Never destroyed, like whoever may still ask.
const std::shared_ptr<VuoPendingFrame>& VuoGLScene::State::_nothingAsked =
    *new std::shared_ptr<VuoPendingFrame>(std::make_shared<AskedFrame>());

/// The values of one composition's outputs at one moment.
class VuoFrameOutputs {
 public:
  VuoFrameOutputs(std::shared_ptr<const VuoRunner::Outputs> values,
                  std::shared_ptr<ZQVuoComposition> composition)
      : _values(std::move(values)), _composition(std::move(composition)) {}

  VuoOutput output(const std::string& name) const {
    VuoOutput output;
    if (const auto port = _composition->outputPortNamed(name)) {
      const JsonValue value(_values->value(name));
      output = outputFromJson(value.get(), port->portType());
    }
    return output;
  }
  VuoRunner::EventTag madeBy(const std::string& name) const { return _values->madeBy(name); }
  std::string fault(const std::string& name) const { return _values->fault(name); }

 private:
  const std::shared_ptr<const VuoRunner::Outputs> _values;
  const std::shared_ptr<ZQVuoComposition> _composition;
};

namespace {

constexpr const char* kAskName = "-[VuoGLScene askForFrame:]";
constexpr const char* kTakeName = "-[VuoGLScene takeFrame:longest:]";

/// What a deadline can still be reckoned with.
constexpr std::chrono::nanoseconds kLongestPatience = std::chrono::hours(24 * 365);

/// Stores values in the inputs of one runner, and keeps the names of those that did not go in.
class InputStore {
 public:
  InputStore(VuoRunner& runner, const ZQVuoComposition& composition,
             std::vector<std::string>& notTaken)
      : _runner(runner), _composition(composition), _notTaken(notTaken) {}

  void number(const ZQVuoComposition::Port& port, double value) {
    if (!port) return;
    const auto type = port->portType();
    const bool isTime = port == _composition.runnerTimePort();
    const JsonValue json =
        isTime ? JsonValue(VuoReal_getJson(value)) : jsonForValue(ZQVuoPortValue(value), type);
    store(port->portName(), json.get());
  }
  void value(const std::string& name, const ZQVuoPortValue* value) {
    const auto port = _composition.inputPortNamed(name);
    const JsonValue json = port && value ? jsonForValue(*value, port->portType()) : nullptr;
    if (!json || !store(name, json.get())) _notTaken.push_back(name);
  }
  void image(const std::string& name, ZQBuffer* buffer, bool interprocess) {
    const auto port = _composition.inputPortNamed(name);
    const bool fits = port && port->portType() == ZQVuoPortType_Image && buffer;
    const Retained<VuoImage> image(fits ? imageOverBuffer(*buffer) : nullptr);
    const JsonValue json = image.get() ? jsonForImage(image.get(), interprocess) : nullptr;
    if (!json || !store(name, json.get())) _notTaken.push_back(name);
  }

 private:
  bool store(const std::string& name, json_object* json) {
    VuoRunner::Port* port = _runner.getPublishedInputPortWithName(name);
    if (port && json) _runner.setPublishedInputPortValue(port, json);
    return port && json;
  }

  VuoRunner& _runner;
  const ZQVuoComposition& _composition;
  std::vector<std::string>& _notTaken;
};

VuoFrame withPicture(Answer answer, const std::string& output,
                     std::shared_ptr<const VuoFrameOutputs> outputs) {
  VuoFrame frame;
  frame.answer = answer;
  frame.buffer = outputs->output(output).buffer;
  const auto tag = outputs->madeBy(output);
  frame.request = tag.number;
  if (tag.number != 0) frame.time = tag.time;
  frame.outputs = std::move(outputs);
  return frame;
}

}  // namespace

std::shared_ptr<const ZQVuoPortValue> VuoFrame::output(const std::string& name) const {
  std::shared_ptr<const ZQVuoPortValue> value;
  if (outputs) guarded("-[VuoFrame output:]", [&] { value = outputs->output(name).value; });
  return value;
}

ZQBufferRef VuoFrame::image(const std::string& name) const {
  ZQBufferRef image;
  if (outputs) guarded("-[VuoFrame image:]", [&] { image = outputs->output(name).buffer; });
  return image;
}

std::shared_ptr<VuoPendingFrame> VuoGLScene::askForFrame(const VuoFrameRequest& request) try {
  auto frame = std::make_shared<State::AskedFrame>();
  platform::LockGuard hold(_state->runnerLock);
  frame->composition = comp();
  frame->tag = {++_state->frameRequests, request.time.value_or(_state->_secondsSinceLoad())};
  if (request.size && !_state->deleted) {
    platform::LockGuard holdProperties(_state->propLock);
    _state->size = *request.size;
  }
  if (_state->deleted || !_state->runner || !frame->composition) {
    const VuoSceneStatus now = status();
    frame->unasked = now.state == VuoSceneStatus::State::Lost
                         ? endedFrame(now.message)
                         : noFrame(Reason::NothingRuns, "No composition runs.");
    return frame;
  }
  frame->runner = _state->runner;
  const auto fault = faultOf(kAskName, [&]() REQUIRES(_state->runnerLock) {
    _state->_store(request, *frame);
    frame->event = _state->runner->firePublishedInputPortEvent(frame->tag);
  });
  if (fault) frame->unasked = _state->_whyUnasked(*fault);
  return frame;
} catch (const std::bad_alloc&) {
  return State::_nothingAsked;
}

VuoFrame VuoGLScene::State::_whyUnasked(const std::string& fault) const {
  std::string how;
  guarded(kAskName, [&]() REQUIRES(runnerLock) { how = runner->lossDescription(); });
  return how.empty() ? noFrame(Reason::NoPicture, "The composition can't be asked. " + fault)
                     : endedFrame(how);
}

void VuoGLScene::State::_store(const VuoFrameRequest& request, AskedFrame& frame) {
  const ZQVuoComposition& composition = *frame.composition;
  const bool interprocess = runnerNewProcess;
  InputStore inputs(*runner, composition, frame.namesNotTaken);
  inputs.number(composition.runnerTimePort(), frame.tag.time);
  if (request.size) {
    inputs.number(composition.runnerWidthPort(), request.size->width);
    inputs.number(composition.runnerHeightPort(), request.size->height);
  }
  if (request.image) {
    const auto port = composition.runnerImageInputPort();
    inputs.image(port ? port->portName() : "image", request.image.get(), interprocess);
  }
  for (const auto& [name, value] : request.values) inputs.value(name, value.get());
  for (const auto& [name, image] : request.images) inputs.image(name, image.get(), interprocess);
}

VuoFrame VuoGLScene::takeFrame(const std::shared_ptr<VuoPendingFrame>& frame,
                               Patience longest) try {
  const auto asked = std::dynamic_pointer_cast<State::AskedFrame>(frame);
  if (!asked) return noFrame(Reason::NothingRuns, "Nothing was asked for.");
  if (!asked->event) return asked->unasked;
  VuoRunner::Event& event = *asked->event;

  const auto isOver = [&] { return event.state() != VuoRunner::Event::State::Waiting; };
  const auto deadline =
      longest ? std::optional(Clock::now() + std::min(*longest, kLongestPatience)) : std::nullopt;

  VuoFrame answer;
  const auto fault = faultOf(kTakeName, [&] {
    if (!isOver() && !_state->stayAwake.until(deadline.value_or(Clock::time_point::max()), isOver))
      event.waitUntil(deadline);
    switch (event.state()) {
      case VuoRunner::Event::State::Waiting:
        answer = _state->_late(*asked);
        break;
      case VuoRunner::Event::State::Done:
        answer = _state->_answered(*asked);
        break;
      case VuoRunner::Event::State::Dropped:
        answer = noFrame(Reason::Dropped, "Too many requests were waiting.");
        break;
      case VuoRunner::Event::State::Ended:
        answer = endedFrame(event.endDescription());
        break;
    }
  });
  return fault ? noFrame(Reason::NoPicture, *fault) : answer;
} catch (const std::bad_alloc&) {
  return noFrame(Reason::NoPicture, "no memory left");
}

/// What the picture is follows from what drew it.
VuoFrame VuoGLScene::State::_answered(const AskedFrame& frame) const {
  const auto port = frame.composition->runnerImageOutputPort();
  if (!port) return noFrame(Reason::NoPicture, "The composition publishes no image outputImage.");
  const std::string& output = port->portName();
  const auto outputs =
      std::make_shared<const VuoFrameOutputs>(frame.event->outputs(), frame.composition);
  if (auto fault = outputs->fault(output); !fault.empty())
    return noFrame(Reason::NodeFailed, std::move(fault));
  const bool isFresh = outputs->madeBy(output).number == frame.number();
  VuoFrame answer = withPicture(isFresh ? Answer::Fresh : Answer::Repeated, output, outputs);
  if (answer.buffer) return answer;
  return noFrame(Reason::NoPicture, _globalZQBufferPool
                                        ? "The composition's output outputImage is empty."
                                        : "There is no buffer pool for the picture.");
}

/// The newest picture of the composition that was asked, which may have ended meanwhile.
VuoFrame VuoGLScene::State::_late(const AskedFrame& frame) const {
  std::shared_ptr<const VuoRunner::Outputs> values;
  {
    platform::LockGuard hold(runnerLock);
    if (runner && runner == frame.runner.lock()) values = runner->getPublishedOutputs();
  }
  const auto port = frame.composition->runnerImageOutputPort();
  if (values && port)
    return withPicture(
        Answer::Late, port->portName(),
        std::make_shared<const VuoFrameOutputs>(std::move(values), frame.composition));
  VuoFrame late;
  late.answer = Answer::Late;
  return late;
}

VuoFrame VuoGLScene::renderFrame(const VuoFrameRequest& request, Patience longest) {
  return takeFrame(askForFrame(request), longest);
}

std::optional<Clock::time_point> VuoGLScene::oldestRequestSince() const {
  platform::LockGuard hold(_state->runnerLock);
  std::optional<Clock::time_point> since;
  if (_state->runner)
    guarded("-[VuoGLScene oldestRequestSince]",
            [&]() REQUIRES(_state->runnerLock) { since = _state->runner->oldestEventSince(); });
  return since;
}
