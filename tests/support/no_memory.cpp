#include "no_memory.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

constinit thread_local long allowed = -1;

}  // namespace

void AllowAllocations(long count) { allowed = count; }

void* operator new(std::size_t size) {
  void* const place = allowed == 0 ? nullptr : std::malloc(size != 0 ? size : 1);
  if (place == nullptr) throw std::bad_alloc();
  if (allowed > 0) --allowed;
  return place;
}

void operator delete(void* place) noexcept { std::free(place); }
void operator delete(void* place, std::size_t /*size*/) noexcept { std::free(place); }
