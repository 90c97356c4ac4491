// The plan: what the compiler hands to whatever runs a composition. A graph whose names are
// resolved, whose types are checked and whose nodes stand in the order of execution.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "runtime/SourceFile.h"

namespace vuo {

enum class Type { Image, Real, Integer, Color, Boolean, Point2d, Text };

/// "VuoImage", "VuoReal", …
const char* typeName(Type type);
std::optional<Type> typeNamed(const std::string& name);

/// Where a value comes from: an output of a node, or a published input.
struct Source {
  static constexpr int PublishedInputs = -1;
  int node = PublishedInputs;  ///< index into Plan::nodes, or PublishedInputs
  int port = 0;                ///< index into that node's outputs, or into Plan::publishedInputs
};

/// A cable into a port. An event cable runs the port's node but leaves its value alone.
struct Cable {
  Source source;
  bool eventOnly = false;
};

/// A port of a node, or a published port. Inputs have cables or a constant; published inputs have a
/// constant as their default; published outputs have cables.
struct Port {
  std::string name;
  Type type = Type::Real;
  std::string constant;  ///< JSON text of the value, empty where there is none
  std::vector<Cable> cables;
};

enum class NodeKind { Shader, ImageFile, Expression, Text };

struct Node {
  std::string name;
  NodeKind kind = NodeKind::Shader;
  std::vector<Port> inputs;
  std::vector<Port> outputs;
  /// Shader: the fragment shader's source. ImageFile: the file, relative to the composition's
  /// folder. Expression: the expression's text. Text: nothing.
  std::string body;
};

struct Plan {
  std::string compositionName;  ///< for messages
  std::vector<Port> publishedInputs;
  std::vector<Node> nodes;  ///< a node stands behind every node that it depends on
  std::vector<Port> publishedOutputs;
  std::vector<SourceFile> files{};  ///< what it was made from beside the composition itself
};

/// What a plan publishes, and what else whoever has it run elsewhere needs to know.
struct PlanSurface {
  std::string compositionName;
  std::vector<Port> publishedInputs;
  std::vector<Port> publishedOutputs;  ///< whose cables may come from nowhere
  bool setsText = false;               ///< one of its nodes does
};

/// The plan as text, and back. Reading throws std::runtime_error when the text is no plan.
std::string serialized(const Plan& plan);
Plan planFromText(const std::string& text);
/// Parts of it, read in a time that does not grow with the nodes.
PlanSurface surfaceInPlan(const std::string& text);
std::vector<SourceFile> filesInPlan(const std::string& text);

}  // namespace vuo
