#include "host/ProblemText.h"

#include "host/TerminalText.h"

std::string shownProblem(const ZQVuoCompositionProblem& problem, const std::string& file) {
  const std::string line = problem.line > 0 ? std::to_string(problem.line) + ":" : "";
  return terminalText(file) + ":" + line + " " + terminalText(problem.text) + "\n";
}

bool isOfWholeFile(const ZQVuoCompositionProblem& problem) {
  return problem.kind == ZQVuoProblemKind::FileMissing ||
         problem.kind == ZQVuoProblemKind::FileUnreadable ||
         problem.kind == ZQVuoProblemKind::FileNotUtf8;
}
