#include "composition/ProblemList.h"

namespace {

constexpr std::size_t kMostProblems = 1000;

}  // namespace

void ProblemList::add(ZQVuoProblemKind kind, std::string text) {
  if (_problems.size() < kMostProblems) _problems.push_back({kind, _line, {}, std::move(text)});
}

void ProblemList::addNotUtf8(std::size_t line, std::size_t byteOffset) {
  _problems.push_back({ZQVuoProblemKind::FileNotUtf8, line, byteOffset,
                       "not UTF-8 text: byte " + std::to_string(byteOffset) + " is wrong"});
}

std::string inQuotes(std::string_view text) {
  constexpr std::size_t kLongest = 60;
  const auto beginsCharacter = [](char c) {
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  };
  std::string shown(1, '"');
  if (text.size() <= kLongest) return shown.append(text) + '"';
  std::size_t end = kLongest;
  while (!beginsCharacter(text[end])) --end;
  return shown.append(text.substr(0, end)) + "…\"";
}

const char* ZQVuoProblemKindDescription(ZQVuoProblemKind kind) {
  switch (kind) {
    case ZQVuoProblemKind::FileMissing:
      return "fileMissing";
    case ZQVuoProblemKind::FileUnreadable:
      return "fileUnreadable";
    case ZQVuoProblemKind::FileNotUtf8:
      return "fileNotUtf8";
    case ZQVuoProblemKind::NodeIndented:
      return "nodeIndented";
    case ZQVuoProblemKind::NodeOverSeveralLines:
      return "nodeOverSeveralLines";
    case ZQVuoProblemKind::NodeTypeMissing:
      return "nodeTypeMissing";
    case ZQVuoProblemKind::NodeTypeUnknown:
      return "nodeTypeUnknown";
    case ZQVuoProblemKind::ValueCutAtSpace:
      return "valueCutAtSpace";
    case ZQVuoProblemKind::PortTypeMissing:
      return "portTypeMissing";
    case ZQVuoProblemKind::PortTypeUnknown:
      return "portTypeUnknown";
    case ZQVuoProblemKind::NumberUnread:
      return "numberUnread";
    case ZQVuoProblemKind::BooleanUnread:
      return "booleanUnread";
    case ZQVuoProblemKind::ColorUnread:
      return "colorUnread";
    case ZQVuoProblemKind::PointUnread:
      return "pointUnread";
  }
  return nullptr;
}
