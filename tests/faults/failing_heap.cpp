#include "tests/faults/failing_heap.h"

#include <cstdlib>
#include <new>

namespace {

faults::Heap* current = nullptr;
long blocks = 0;

void* counted(void* block) {
  blocks += block != nullptr ? 1 : 0;
  return block;
}

bool refuses(std::size_t size) {
  if (current == nullptr || !current->counting) {
    return false;
  }
  const long number = ++current->count;
  const bool fails =
      number == current->fail_at || (current->and_all_later && current->fail_at > 0 && number > current->fail_at);
  if (fails && !current->failed) {
    current->failed = true;
    current->failed_size = size;
  }
  return fails;
}

}  // namespace

extern "C" {
// Names defined by the linker (--wrap).
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* old, std::size_t size);
void __real_free(void* block);
void* __wrap_malloc(std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size);
void* __wrap_realloc(void* old, std::size_t size);
void __wrap_free(void* block);

void* __wrap_malloc(std::size_t size) { return refuses(size) ? nullptr : counted(__real_malloc(size)); }

void* __wrap_calloc(std::size_t count, std::size_t size) {
  return refuses(count * size) ? nullptr : counted(__real_calloc(count, size));
}

void* __wrap_realloc(void* old, std::size_t size) {
  void* const block = refuses(size) ? nullptr : __real_realloc(old, size);
  return old == nullptr ? counted(block) : block;
}

void __wrap_free(void* block) {
  blocks -= block != nullptr ? 1 : 0;
  __real_free(block);
}
}

void* operator new(std::size_t size) {
  void* block = __wrap_malloc(size == 0 ? 1 : size);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return block;
}

void* operator new[](std::size_t size) { return operator new(size); }

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return __wrap_malloc(size == 0 ? 1 : size);
}

void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return __wrap_malloc(size == 0 ? 1 : size);
}

void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t /*size*/) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t /*size*/) noexcept { std::free(block); }
void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept { std::free(block); }
void operator delete[](void* block, const std::nothrow_t& /*tag*/) noexcept { std::free(block); }

namespace faults {

void set_heap(Heap* heap) { current = heap; }

long live_blocks() { return blocks; }

Aside::Aside() : was_counting_(current != nullptr && current->counting) {
  if (was_counting_) {
    current->counting = false;
  }
}

Aside::~Aside() {
  if (was_counting_) {
    current->counting = true;
  }
}

}  // namespace faults
