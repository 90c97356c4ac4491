#include "Brannow/CompositionCheck.h"

#include <algorithm>
#include <tuple>

#include "Brannow/ZQVuoComposition.h"
#include "runtime/VuoCompiler.h"

namespace brannow {
namespace {

/// What hosts can't read, though the compiler can: the other problems are errors for both.
std::optional<std::string> adviceOn(ZQVuoProblemKind kind) {
  switch (kind) {
    case ZQVuoProblemKind::NodeIndented:
      return "; begin the line with the node's name";
    case ZQVuoProblemKind::NodeOverSeveralLines:
      return "; write it on one line";
    case ZQVuoProblemKind::ValueCutAtSpace:
      return "; hosts read it up to the first space, so write it without one";
    case ZQVuoProblemKind::NumberUnread:
    case ZQVuoProblemKind::BooleanUnread:
    case ZQVuoProblemKind::ColorUnread:
    case ZQVuoProblemKind::PointUnread:
      return "";
    default:
      return std::nullopt;
  }
}

}  // namespace

std::vector<CompositionFault> checkComposition(const std::string& path) {
  std::vector<CompositionFault> faults = VuoCompiler::faultsOf(path);
  const auto isToldOf = [&](std::size_t line) {
    return std::any_of(faults.begin(), faults.end(), [&](const CompositionFault& fault) {
      return fault.file == path && fault.line == line && !fault.isWarning;
    });
  };
  std::vector<CompositionFault> unread;
  const auto composition = ZQVuoComposition::initWithPath(path);
  if (!composition) return faults;  // there is no memory for it
  for (const auto& problem : composition->problems()) {
    const auto advice = adviceOn(problem.kind);
    if (advice && (!advice->empty() || !isToldOf(problem.line)))
      unread.push_back({path, problem.line, 1, true, problem.text + *advice});
  }
  faults.insert(faults.end(), unread.begin(), unread.end());
  std::stable_sort(faults.begin(), faults.end(), [&](const auto& a, const auto& b) {
    return std::make_tuple(a.file != path, a.file, a.line) <
           std::make_tuple(b.file != path, b.file, b.line);
  });
  return faults;
}

}  // namespace brannow
