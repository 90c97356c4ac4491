// What could not be read of a composition file, and where.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "Brannow/BrannowExport.h"

enum class ZQVuoProblemKind : std::int64_t {
  FileMissing,
  FileUnreadable,
  FileNotUtf8,
  /// A published node is not read: its line begins with white space.
  NodeIndented,
  /// A published node is not read, or not whole: it lies on several lines.
  NodeOverSeveralLines,
  /// A published node is not read: its type is missing or not the one of its name.
  NodeTypeMissing,
  NodeTypeUnknown,
  /// A value between quotes holds a space, which ends it.
  ValueCutAtSpace,
  /// A port is left out.
  PortTypeMissing,
  PortTypeUnknown,
  /// A value is not of its port's type: a number then reads as far as it is one, 0 at worst; of the
  /// other types the port has no default.
  NumberUnread,
  BooleanUnread,
  ColorUnread,
  PointUnread,
};

struct ZQVuoCompositionProblem {
  ZQVuoProblemKind kind;
  /// Counted from 1; 0 where the file as a whole could not be read.
  std::size_t line = 0;
  /// For a file that is not UTF-8: where the first sequence begins that is none, counted from 0.
  std::optional<std::size_t> byteOffset;
  /// For people: one line of UTF-8 without the file's name and the line's number. Long names and
  /// values in it are shortened; they may hold control characters.
  std::string text;
};

/// The kind as programs spell it ("fileMissing", "valueCutAtSpace", …); null for a value outside
/// the enumeration.
BRANNOW_API const char* ZQVuoProblemKindDescription(ZQVuoProblemKind kind);
