// Settings and cache records that anybody may have written.
#include <cstdint>
#include <cstdlib>

#include "platform/system/PropertyList.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const auto list = platform::propertyListOf({reinterpret_cast<const char*>(bytes), size});
  if (!list) return 0;
  // What is written is read as the same again.
  const std::string xml = platform::xmlOf(*list);
  const auto again = platform::propertyListOf(xml);
  if (!again || platform::xmlOf(*again) != xml) std::abort();
  return 0;
}
