// One line of a composition file that describes published ports.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "composition/ProblemList.h"

enum class PublishedKind { Inputs, Outputs };

/// The name of the node that publishes ports of this kind.
std::string_view nodeName(PublishedKind kind);

/// Which ports the line describes, by its beginning; none for every other line.
std::optional<PublishedKind> kindOfLine(std::string_view line);

/// Whether a line of this kind declares the node itself, where another may be a cable.
bool declaresNode(std::string_view line, PublishedKind kind);

/// The key and value pairs between a line's brackets. Looks into the line's text, which must
/// outlive it. Keeps no more than one small entry per pair and finds a pair in logarithmic time,
/// whatever the line holds.
class LineAttributes {
 public:
  /// None when the line has no text in brackets. What can't be read is told to `problems`, which
  /// must outlive the attributes.
  static std::optional<LineAttributes> ofLine(std::string_view line, ProblemList& problems);

  /// The value under `key` without its quotes; the last one where the key occurs more than once.
  std::optional<std::string> value(std::string_view key) const;

  ProblemList& problems() const { return *_problems; }

 private:
  LineAttributes(std::string_view attributeText, ProblemList& problems);

  ProblemList* _problems;
  std::string_view _text;
  // Sorted, equal keys in the order of the line. A value begins behind its key's "=", so that one
  // small entry is enough even where a line consists of little else than pairs.
  std::vector<std::string_view> _keys;
};

/// The port names in a label, in its order. They look into the label's text.
std::vector<std::string_view> portNamesInLabel(std::string_view label);
