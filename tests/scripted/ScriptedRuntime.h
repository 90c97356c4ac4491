// A composition runtime that does what a test tells it, linked in place of the real one.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "runtime/VuoImage.h"
#include "runtime/VuoRunner.h"
#include "runtime/VuoRunnerDelegate.h"

namespace scripted {

/// What the runtime does from now on, and what was asked of it. One per process; `reset` makes a
/// fresh one. Calls are recorded as words: "start", "set width 320", "fire width", "fire".
struct Script {
  std::set<std::string> throwing;  ///< first words of the calls that throw a std::runtime_error
  bool throwsInt = false;          ///< throw an int instead
  /// Of the next one, 1; 0: of none. A value that nobody holds is gone then. "release" and "put" in
  /// `throwing` throw when they have done their work.
  int retainThatThrows = 0;
  bool records = true;
  bool yieldsRunner = true;
  bool comesUp = true;  ///< with its start
  bool refusesArtefacts = false;
  bool yieldsJson = true;
  bool yieldsImage = true;
  std::set<std::string> inputs{"width", "height", "time"};
  std::map<std::string, std::string> outputs;  ///< JSON texts; empty: the output has no value
  std::map<std::string, VuoImage> imageOutputs;
  // What tagged events end in, and what their outputs say.
  VuoRunner::Event::State eventState = VuoRunner::Event::State::Done;
  VuoRunner::EventTag madeBy;
  std::string fault;
  /// Runs inside the named call, with no lock of this runtime held.
  std::map<std::string, std::function<void()>> during;
  /// The same of the next such call alone.
  std::map<std::string, std::function<void()>> duringNext;
};

void reset();
/// To be changed only while nothing else uses the runtime.
Script& script();
std::vector<std::string> takeCalls();

/// The delegate of the runner that was started last; null when there is none.
VuoRunnerDelegate* delegate();
/// The watcher of that runner, and the patience that a runner was told last.
std::shared_ptr<VuoRunner::Watcher> watcher();
VuoRunner::Patience patience();
/// Reports an output through that delegate.
void report(const std::string& output, bool sentData);

int liveRunners();
int liveImages();
long retainsOf(VuoImage image);
/// An image over texture 7, with the test's own reference.
VuoImage makeImage(std::uint64_t width, std::uint64_t height, std::uint32_t target = 0x0DE1);

}  // namespace scripted
