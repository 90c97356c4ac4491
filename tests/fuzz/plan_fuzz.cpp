// An artefact, and a plan that somebody has put a right checksum on.
#include <cstdint>
#include <cstdlib>
#include <stdexcept>

#include "runtime/VuoArtefact.h"
#include "runtime/VuoPlan.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(bytes), size);
  try {
    const std::string plan = vuo::planTextIn(text);
    const std::size_t head = text.size() - plan.size();
    if (text.compare(head, plan.size(), plan) != 0) std::abort();
  } catch (const std::runtime_error&) {
  }
  if (vuo::planTextIn(vuo::artefactOf(text)) != text) std::abort();
  try {
    const std::string plan = vuo::serialized(vuo::planFromText(text));
    if (vuo::serialized(vuo::planFromText(plan)) != plan) std::abort();
  } catch (const std::runtime_error&) {
  }
  return 0;
}
