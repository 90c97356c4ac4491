#pragma once

#include <memory>
#include <string>
#include <vector>

#include "runtime/graph/Canvas.h"
#include "runtime/graph/EventQueue.h"
#include "runtime/graph/Instance.h"
#include "runtime/graph/NodeWork.h"

namespace vuo {

/// Runs a plan, event by event. Made, used and destroyed on the composition's thread, with its GL
/// context current.
class Execution {
 public:
  /// Throws std::runtime_error when a node can't work.
  Execution(const Plan& plan, const std::string& folder, std::shared_ptr<ShareGroup> group,
            InstanceListener& listener, PictureSource* forHost);

  /// Runs, once and in the plan's order, the nodes that lie downstream of the event, and before
  /// them those that they read from and that never ran; one that was asked for also reaches
  /// published outputs that nothing has run for yet. Returns what published outputs the event
  /// reached, with images that are complete on the GPU.
  EventReport run(Event event);

 private:
  /// A node with what it is reading and what it has made.
  struct RunningNode {
    std::unique_ptr<NodeWork> work;
    std::vector<Value> inputs;  ///< of the last run; a constant where no cable brings data
    Value output;
    std::string fault;         ///< its own in the last run, or that of a node that it reads from
    bool isPublished = false;  ///< what it makes is a published output's value
    bool hasRun = false;
    bool reached = false;  ///< by the event that is being run
    bool due = false;      ///< to be run by it
  };

  bool reached(const Cable& cable) const;
  void markReachedNodes();
  void markOutputsThatNeverRan();
  void markDueNodes();
  void runNode(std::size_t index);
  const Value& valueOf(const Source& source) const;
  const std::string& faultOf(const Source& source) const;

  const Plan& _plan;
  InstanceListener& _listener;
  Canvas _canvas;
  std::vector<Value> _published;      ///< by published input
  std::vector<bool> _publishedFired;  ///< by the event that is being run
  std::vector<RunningNode> _nodes;
};

}  // namespace vuo
