// A shader behind its first line.
#include <cstdint>
#include <cstdlib>
#include <stdexcept>

#include "runtime/compiler/ShaderInterface.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string body(reinterpret_cast<const char*>(bytes), size);
  if (body.find('\0') != body.npos) return 0;
  try {
    for (const vuo::Port& port : vuo::uniformsOfShader("#version 330 core\n" + body, "fuzz.frag"))
      if (port.name.empty()) std::abort();
  } catch (const std::runtime_error&) {
  }
  return 0;
}
