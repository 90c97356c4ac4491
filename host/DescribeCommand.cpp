#include "host/DescribeCommand.h"

#include <algorithm>
#include <iostream>

#include "Brannow/ZQVuoComposition.h"
#include "host/DescribeJson.h"
#include "host/DescribeTable.h"
#include "host/HostSession.h"
#include "host/TerminalText.h"

namespace {

constexpr int kNotRead = 1;
constexpr int kReadWithProblems = 2;

bool isOfWholeFile(const ZQVuoCompositionProblem& problem) {
  return problem.kind == ZQVuoProblemKind::FileMissing ||
         problem.kind == ZQVuoProblemKind::FileUnreadable ||
         problem.kind == ZQVuoProblemKind::FileNotUtf8;
}

int statusOf(const std::vector<ZQVuoCompositionProblem>& problems) {
  if (problems.empty()) return 0;
  return std::any_of(problems.begin(), problems.end(), isOfWholeFile) ? kNotRead
                                                                      : kReadWithProblems;
}

/// 1 when a file could not be read, 2 when the worst are problems within one.
int worst(int a, int b) {
  if (a == kNotRead || b == kNotRead) return kNotRead;
  return std::max(a, b);
}

/// "FILE:LINE: what is wrong", as compilers do.
std::string shown(const ZQVuoCompositionProblem& problem, const std::string& file) {
  const std::string line = problem.line > 0 ? std::to_string(problem.line) + ":" : "";
  return terminalText(file) + ":" + line + " " + terminalText(problem.text) + "\n";
}

}  // namespace

int describe(const std::vector<std::string>& files, bool json) {
  const LogCapture log;  // its lines say less than the problems do
  int status = 0;
  for (const std::string& file : files) {
    const auto composition = ZQVuoComposition::initWithPath(file);
    std::cout << (json ? describeJson(*composition) + "\n" : describeTable(*composition));
    std::cout.flush();
    for (const auto& problem : composition->problems()) std::cerr << shown(problem, file);
    status = worst(status, statusOf(composition->problems()));
  }
  return status;
}
