// Whatever the bytes of a file: reading them as a property list comes to an end, what was read
// survives being written, and a cache record takes any snapshot.
#include <cstdint>
#include <cstdlib>

#include "Brannow/VuoCacheItem.h"
#include "platform/system/PropertyList.h"

namespace {

void readAsRecord(const platform::PropertyListDictionary& snapshot) {
  VuoCacheItem item;
  item.loadSnapshot(&snapshot);
  VuoCacheItem again;
  const auto saved = item.createSnapshot();
  again.loadSnapshot(&saved);
  if (again.description() != item.description() || again.modDate() != item.modDate()) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto read = platform::propertyListOf({reinterpret_cast<const char*>(data), size});
  if (!read) return 0;
  const std::string written = platform::xmlOf(*read);
  const auto again = platform::propertyListOf(written);
  if (!again || platform::xmlOf(*again) != written) std::abort();
  readAsRecord(*read);
  for (const auto& [key, value] : *read)
    if (const auto snapshot = value.dictionary()) readAsRecord(*snapshot);
  return 0;
}
