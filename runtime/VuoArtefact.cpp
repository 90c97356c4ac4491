#include "runtime/VuoArtefact.h"

#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <cerrno>
#include <cstdio>
#include <stdexcept>
#include <string_view>

namespace vuo {
namespace {

constexpr std::string_view magic = "VuoPlan ";
/// No plan is larger, since none is compiled that is.
constexpr off_t longestArtefact = off_t{256} << 20;

[[noreturn]] void refuse(const std::string& why) {
  throw std::runtime_error("This is no compiled composition: " + why + ".");
}

std::string headOf(std::string_view firstLine, std::string_view plan) {
  const auto add = [](uLong sum, std::string_view bytes) {
    return crc32_z(sum, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size());
  };
  char text[80];
  const int length = std::snprintf(text, sizeof text, "%s%d %08lx %zu\n", magic.data(), planFormat,
                                   add(add(crc32_z(0, nullptr, 0), firstLine), plan), plan.size());
  return {text, static_cast<std::size_t>(length)};
}

/// Takes a line with its end off the front of the text.
std::string_view consumeLine(std::string_view& text) {
  const std::size_t end = text.find('\n');
  if (end == text.npos) refuse("it is cut off");
  const std::string_view line = text.substr(0, end + 1);
  text.remove_prefix(line.size());
  return line;
}

std::string contentsOf(int fileDescriptor) {
  struct stat status {};
  if (fstat(fileDescriptor, &status) != 0 || !S_ISREG(status.st_mode)) refuse("it is no file");
  if (status.st_size > longestArtefact) refuse("it is too large");
  std::string contents(static_cast<std::size_t>(status.st_size), '\0');
  for (std::size_t done = 0; done < contents.size();) {
    const ssize_t count = pread(fileDescriptor, contents.data() + done, contents.size() - done,
                                static_cast<off_t>(done));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) refuse("it can't be read to its end");
    done += static_cast<std::size_t>(count);
  }
  return contents;
}

}  // namespace

std::string executableLine(const std::string& program) {
  return "#!" + program + "\n";
}

std::string artefactOf(const std::string& planText, const std::string& firstLine) {
  return firstLine + headOf(firstLine, planText) + planText;
}

std::string planTextIn(const std::string& artefact) {
  std::string_view rest = artefact;
  const std::string_view firstLine =
      rest.starts_with("#!") ? consumeLine(rest) : std::string_view();
  if (!rest.starts_with(magic)) refuse("it does not begin like one");
  const std::string_view head = consumeLine(rest);
  const std::string format = std::string(magic) + std::to_string(planFormat) + " ";
  if (!head.starts_with(format)) refuse("its plan has another format");
  if (head != headOf(firstLine, rest)) refuse("it is damaged");
  return std::string(rest);
}

std::string planTextIn(int fileDescriptor) {
  return planTextIn(contentsOf(fileDescriptor));
}

}  // namespace vuo
