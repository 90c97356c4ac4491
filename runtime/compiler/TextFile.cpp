#include "runtime/compiler/TextFile.h"

#include <glib.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace vuo {

std::string textOf(const platform::FileDescriptor& file, const std::string& name,
                   std::size_t longest) {
  struct stat status {};
  fstat(file.get(), &status);
  const auto size = static_cast<std::size_t>(std::max<off_t>(status.st_size, 0));
  std::string text(std::min(size, longest) + 1, '\0');  // one byte more shows the end
  std::size_t length = 0;
  while (length < text.size()) {
    const ssize_t count = read(file.get(), text.data() + length, text.size() - length);
    if (count < 0) throw std::runtime_error(name + " can't be read: " + std::strerror(errno));
    if (count == 0) break;
    length += static_cast<std::size_t>(count);
  }
  if (length > longest || size > longest)
    throw std::runtime_error(name + " is larger than " + std::to_string(longest >> 20) + " MiB");
  text.resize(length);
  const char* wrong = nullptr;
  if (!g_utf8_validate_len(text.data(), length, &wrong)) {
    const std::size_t line =
        static_cast<std::size_t>(std::count(static_cast<const char*>(text.data()), wrong, '\n')) +
        1;
    throw std::runtime_error(name + " can't be read as UTF-8 text: in line " +
                             std::to_string(line) +
                             " there is a byte that is none; save it as UTF-8");
  }
  return text;
}

}  // namespace vuo
