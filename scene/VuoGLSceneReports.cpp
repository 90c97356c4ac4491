// What the runner reports to the scene, and what the host takes of it.
#include <algorithm>

#include "platform/system/FileSystem.h"
#include "platform/system/SystemLog.h"
#include "scene/RunnerContact.h"
#include "scene/VuoGLSceneState.h"

namespace {

using NameList = MutLockArray<std::string>;

void addName(NameList& list, const std::string& name) {
  platform::WriteHold hold(list);
  if (!list.containsObject(name)) list.array().push_back(name);
}

std::vector<std::string> copyAndClear(NameList& list) {
  platform::WriteHold hold(list);
  return std::exchange(list.array(), {});
}

}  // namespace

void VuoGLScene::runnerDelegateReceivedValForOutputKey(const Key& key) {
  if (!key || _state->deleted) return;
  addName(_state->runnerOutValPortNames, *key);
  ++_state->outValReports;
  // A frame call that has just looked in vain must be waiting by the time it is notified.
  { platform::LockGuard hold(_state->outValReportLock); }
  _state->outValReported.notify_all();
}

void VuoGLScene::runnerDelegateReceivedEventForOutputKey(const Key& key) {
  if (!key || _state->deleted) return;
  addName(_state->runnerOutEventPortNames, *key);
}

std::vector<std::string> VuoGLScene::copyAndClearOutValPortNames() {
  return copyAndClear(_state->runnerOutValPortNames);
}

std::vector<std::string> VuoGLScene::copyAndClearOutEventPortNames() {
  return copyAndClear(_state->runnerOutEventPortNames);
}

/// By whom is not known here: it is about whatever runs. A runner's own loss comes by its contact.
void VuoGLScene::runnerDelegateLostContactWithComposition() {
  if (_state->deleted) return;
  const Path path = filePath();
  State::_logLostContact(path);
  std::shared_ptr<State::RunnerContact> contact;
  {
    platform::LockGuard hold(_state->runnerLock);
    contact = _state->runnerContact;
  }
  std::uint64_t load = 0;
  _state->_useFile(std::nullopt, false,
                   {VuoSceneStatus::State::Lost, path, contact ? contact->lossDescription() : ""},
                   load);
}

void VuoGLScene::State::_logLostContact(const Path& path) {
  const auto name = path ? std::optional(platform::lastPathComponent(*path)) : std::nullopt;
  platform::systemLog("\t\terr: %s, file was %@",
                      {"-[VuoGLScene runnerDelegateLostContactWithComposition]", name});
}
