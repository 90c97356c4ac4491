#include "runtime/VuoHeap.h"

#include <atomic>
#include <cstdlib>
#include <new>

#include "runtime/VuoHeapBlock.h"

namespace {

/// Stands in memory right before each value.
struct alignas(std::max_align_t) Header {
  std::atomic<long> count;
  void (*destroy)(void* value);
};

Header* headerOf(const void* value) {
  return reinterpret_cast<Header*>(const_cast<void*>(value)) - 1;
}

}  // namespace

namespace vuo {

void* newCounted(std::size_t size, void (*destroy)(void* value)) {
  auto* header = static_cast<Header*>(std::malloc(sizeof(Header) + size));
  if (!header) throw std::bad_alloc();
  new (header) Header{0, destroy};
  return header + 1;
}

}  // namespace vuo

void VuoRetain(const void* value) {
  if (value) headerOf(value)->count.fetch_add(1, std::memory_order_relaxed);
}

void VuoRelease(const void* value) {
  if (!value) return;
  Header* header = headerOf(value);
  if (header->count.fetch_sub(1, std::memory_order_acq_rel) > 1) return;
  if (header->destroy) header->destroy(const_cast<void*>(value));
  std::free(header);
}
