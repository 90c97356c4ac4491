#include "host/DescribeCommand.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>

#include "Brannow/ZQVuoComposition.h"
#include "host/DescribeJson.h"
#include "host/DescribeTable.h"
#include "host/HostSession.h"

namespace {

/// Why the reader could not load the file, in words for people.
std::string reasonForNotLoading(const std::string& file) {
  errno = 0;
  std::ifstream stream(file, std::ios::binary);
  stream.peek();
  return errno != 0 ? std::strerror(errno) : "not valid UTF-8 text";
}

bool saysNotLoaded(const std::string& line) {
  return line.find("couldn't load file") != std::string::npos;
}

}  // namespace

int describe(const std::vector<std::string>& files, bool json) {
  LogCapture log;
  int status = 0;
  for (const std::string& file : files) {
    const auto composition = ZQVuoComposition::initWithPath(file);
    std::cout << (json ? describeJson(*composition) + "\n" : describeTable(*composition));
    std::cout.flush();
    for (const std::string& line : log.take()) {
      if (saysNotLoaded(line)) {
        std::cerr << "brannow: can't read " << file << ": " << reasonForNotLoading(file) << "\n";
        status = 1;
      } else {
        std::cerr << "brannow: " << file << ": " << line << "\n";
      }
    }
  }
  return status;
}
