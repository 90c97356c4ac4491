// A shader behind its first line.
#include <cstdint>
#include <cstdlib>

#include "runtime/compiler/ShaderInterface.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string body(reinterpret_cast<const char*>(bytes), size);
  if (body.find('\0') != body.npos) return 0;
  for (const vuo::Port& port : vuo::interfaceOf("#version 330 core\n" + body).uniforms)
    if (port.name.empty()) std::abort();
  return 0;
}
