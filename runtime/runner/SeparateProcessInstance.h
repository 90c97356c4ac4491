#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include "platform/system/Mutex.h"
#include "runtime/graph/EventBacklog.h"
#include "runtime/process/ChildProcess.h"
#include "runtime/runner/PlayerContact.h"

namespace vuo {

/// A composition that runs in a process of its own. One thread here starts the process, takes in
/// what it reports, and hands over what it was too slow to take at once. Nobody else waits for it.
class SeparateProcessInstance : public Instance,
                                public std::enable_shared_from_this<SeparateProcessInstance> {
 public:
  /// `artefact` is the file at `path`; the player is given a folder for its shaders beside it.
  SeparateProcessInstance(std::string path, platform::FileDescriptor artefact,
                          ContainedProgram player, PublishedPorts ports,
                          InstanceListener& listener);
  ~SeparateProcessInstance() override;

  void start() override;
  void setValue(std::size_t input, json_object* value) override;
  bool fire(std::vector<std::size_t> inputs, EventNumber number, bool asked) override;
  bool cancel(EventNumber number) override;
  bool giveUp(const std::string& why) override;
  void stop() override;
  void waitUntilStopped() override;

 private:
  /// The pixels of a host's picture as it was when it was set.
  struct Picture {
    PictureTicket ticket;
    platform::FileDescriptor pixels;
  };
  using Kept = std::variant<Value, Picture, NamedPicture>;
  using Backlog = EventBacklog<Kept>;

  Kept pictureOf(json_object* value) const;
  static bool isSmall(const Backlog::Event& event);
  void send(const Backlog::Event& event, std::chrono::milliseconds patience);
  void wake() const;

  void startThread();
  void live();
  void startPlayer();
  void attend();
  std::optional<std::chrono::milliseconds> awaitMessage();
  void handOver();
  void lose(const std::string& how);
  std::string howItEnded();

  const std::string _path;  ///< of the artefact
  const platform::FileDescriptor _artefact;
  ContainedProgram _player;
  const PublishedPorts _ports;
  InstanceListener& _listener;
  std::unique_ptr<PlayerContact> _contact;  ///< null where there was none to be had
  platform::FileDescriptor _playersEnd;     ///< until the player has it
  platform::FileDescriptor _wake;           ///< readable when the thread here has something to do
  std::atomic<bool> _stopping = false;
  std::atomic<bool> _gone = false;

  platform::Mutex _lossLock;                ///< no lock is taken inside it
  std::string _loss GUARDED_BY(_lossLock);  ///< why contact is lost, where that is known

  platform::Mutex _backlogLock;  ///< keeps events in order; taken before _contact's
  Backlog _backlog GUARDED_BY(_backlogLock);
  bool _handsOver GUARDED_BY(_backlogLock) = false;  ///< an event that is no longer in the backlog

  platform::Mutex _joinLock;  ///< held while starting and joining the thread; taken before no other
  std::thread _thread GUARDED_BY(_joinLock);
  // Of the thread:
  std::unique_ptr<ChildProcess> _process;
  std::optional<std::chrono::steady_clock::time_point> _lastWordsEnd;  ///< once it has ended
};

}  // namespace vuo
