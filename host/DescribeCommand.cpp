#include "host/DescribeCommand.h"

#include <algorithm>
#include <iostream>

#include "Brannow/ZQVuoComposition.h"
#include "host/DescribeJson.h"
#include "host/DescribeTable.h"
#include "host/HostSession.h"
#include "host/ProblemText.h"

namespace {

constexpr int kNotRead = 1;
constexpr int kReadWithProblems = 2;

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

}  // namespace

int describe(const std::vector<std::string>& files, bool json) {
  const LogSilencer silencer;  // its lines say less than the problems do
  int status = 0;
  for (const std::string& file : files) {
    const auto composition = ZQVuoComposition::initWithPath(file);
    std::cout << (json ? describeJson(*composition) + "\n" : describeTable(*composition));
    if (!std::cout.flush()) return status;
    for (const auto& problem : composition->problems()) std::cerr << shownProblem(problem, file);
    status = worst(status, statusOf(composition->problems()));
  }
  return status;
}
