// The records are three parallel arrays with a stack of freed slots. A look-up is defined as a scan from the newest
// slot down that takes the first slot with the block's address. The same answer comes without scanning, in this order:
//
// - `top` is a bound: no slot above it holds a block. When the slot at `top` holds the block, that is the answer. This
//   serves blocks that are freed newest first.
// - `known` is the last answer of the index. Its pair stays in the index when the block is freed, until another answer
//   takes its place: a block that is freed and comes back to its slot costs the index nothing.
// - An index from addresses to slots serves the rest. It holds the blocks of all slots below `indexed_end`. The others
//   are entered when a look-up needs the index; blocks that are freed newest first never are.
//
// An address can be in two slots: when a caller frees a block with free(), the heap gives out its address again. The
// lenient path of nx_realloc overwrites records and lowers `pnt_num`; scans do not reach the slots from there up until
// they are written again.
#include <nxbriochem/objects/memory.h>

#include <sys/types.h>

#include <algorithm>
#include <cassert>
#include <cstdio>
#include <cstdlib>
#include <iterator>

#include <nxbriochem/objects/block_index_internal.h>
#include <nxbriochem/objects/codes_internal.h>
#include <nxbriochem/objects/error.h>
#include <nxbriochem/objects/memory_owners_internal.h>
#include <nxbriochem/objects/memory_state.h>
#include <nxbriochem/objects/object_memory.h>

namespace memory {

void** pnt_list = nullptr;
uint64_t* pnt_size = nullptr;
int64_t* freed_list = nullptr;
int32_t pnt_num = 0;
int32_t last_freed = 0;
int32_t pnt_list_size = 0;
int nx_strict_memory = 0;
int64_t check_size = 0;

namespace {

constexpr int32_t kFirstCapacity = 1000;

// A block and the slot in which it was found; null when there is no such answer.
struct Known {
  void* block;
  int32_t slot;
};

BlockIndex block_index;
int32_t top = -1;
int32_t indexed_end = 0;
Known known{nullptr, 0};

// How the process ends after memory ran out. The report may also run out of memory; the first failure decides.
struct Exhaustion {
  bool reporting;
  int status;
  char text[256];
  const char* last_line;  // of the memory report; null for none
};
Exhaustion exhaustion{};

// Functions of modules that keep state in tracked blocks, called before and after a release of all memory (see
// memory_owners_internal.h). The arrays have room for all of them.
void (*savers[4])() = {};
void (*forgetters[16])() = {};

// Enters an item in the first empty place, unless it is there.
template <class Item, std::size_t kSize>
void enter_once(Item (&list)[kSize], Item item) {
  Item* place =
      std::find_if(std::begin(list), std::end(list), [item](Item old) { return old == nullptr || old == item; });
  assert(place != std::end(list));
  *place = item;
}

template <std::size_t kSize>
void call_all(void (*const (&functions)[kSize])()) {
  for (void (*function)() : functions) {
    if (function != nullptr) {
      function();
    }
  }
}

template <class T>
bool grow(T*& list, int32_t capacity) {
  void* grown = std::realloc(list, sizeof(T) * static_cast<std::size_t>(capacity));
  if (grown != nullptr) {
    list = static_cast<T*>(grown);
  }
  return grown != nullptr;
}

void reallocate_lists() {
  const int32_t capacity = pnt_list_size == 0 ? kFirstCapacity : pnt_list_size * 2;
  if (!grow(pnt_list, capacity) || !grow(pnt_size, capacity) || !grow(freed_list, capacity)) {
    end_exhausted(objects::kBooksExhausted, "Out of memory trying to allocate for the nx_memory system\n", nullptr);
  }
  pnt_list_size = capacity;
}

// Enters the slots that are not in the index yet.
void complete_index() {
  for (; indexed_end <= top; ++indexed_end) {
    if (pnt_list[indexed_end] != nullptr) {
      block_index.insert(pnt_list[indexed_end], indexed_end);
    }
  }
}

bool known_is_live() { return pnt_list[known.slot] == known.block && known.slot <= top; }

// Replaces the last answer. If the old one was freed in the meantime, its pair leaves the index now.
void set_known(Known answer) {
  if (known.block != nullptr && !known_is_live()) {
    block_index.erase(known.block, known.slot);
  }
  known = answer;
}

// Removes the block of a slot below `indexed_end` from the index.
void leave_index(int32_t slot) {
  if (pnt_list[slot] == nullptr) {
    return;
  }
  block_index.erase(pnt_list[slot], slot);
  if (known.block == pnt_list[slot] && known.slot == slot) {
    known.block = nullptr;
  }
}

// Makes a slot above the top the new top. The slots between are empty, so they count as indexed.
void raise_top(int32_t slot) {
  if (slot != top + 1) {
    complete_index();
    indexed_end = slot;
  }
  top = slot;
}

// Writes a record. A slot in use loses its old block; the lenient path and nx_realloc overwrite such slots.
void write_slot(int32_t slot, void* block, int64_t size) {
  const bool is_known = block == known.block;
  if (slot < indexed_end && pnt_list[slot] != block) {
    leave_index(slot);
  } else if (slot < indexed_end) {
    pnt_size[slot] = static_cast<uint64_t>(size);  // reallocated in place
    return;
  }
  if (is_known && slot == known.slot && slot < indexed_end) {
    pnt_list[slot] = block;  // the same block in the same slot: its pair is still in the index
    pnt_size[slot] = static_cast<uint64_t>(size);
    return;
  }
  if (is_known || slot == known.slot) {
    set_known({nullptr, 0});
  }
  pnt_list[slot] = block;
  pnt_size[slot] = static_cast<uint64_t>(size);
  if (slot >= pnt_num) {
    return;  // not reached by scans
  }
  if (slot > top) {
    raise_top(slot);
  } else if (slot < indexed_end) {
    block_index.insert(block, slot);
  }
}

void record(void* block, int64_t size) {
  // The lists grow before a freed slot is looked for, even when there is one.
  if (pnt_num >= pnt_list_size) {
    reallocate_lists();
  }
  const int32_t slot = last_freed > 0 ? static_cast<int32_t>(freed_list[--last_freed]) : pnt_num++;
  write_slot(slot, block, size);
}

int32_t find_below_top(void* block) {
  __builtin_prefetch(static_cast<char*>(block) - sizeof(void*), 1);  // the heap's own header, which free() needs
  // Empty slots at the top are skipped, a few at a time, so that a look-up stays O(1).
  for (int passed = 0; top >= 0 && pnt_list[top] == nullptr && passed < 16; ++passed) {
    --top;
  }
  indexed_end = std::min(indexed_end, top + 1);
  if (top >= 0 && pnt_list[top] == block) {
    return top;
  }
  complete_index();
  const int32_t slot =
      block_index.find_highest(block, [block](int32_t at) { return at <= top && pnt_list[at] == block; });
  if (slot >= 0) {
    set_known({block, slot});
  }
  return slot;
}

// The slot that a scan from the newest slot down finds the block in, or -1.
inline int32_t find_slot(void* block) {
  if (top >= 0 && pnt_list[top] == block) [[likely]] {
    return top;
  }
  if (block == known.block && known_is_live()) {
    return known.slot;
  }
  return find_below_top(block);
}

void announce(int64_t size) {
  if (check_size != 0 && check_size == size) {
    std::printf("\nMemory allocated of size %zd.\n\n", static_cast<ssize_t>(size));
  }
}

// Removes the record of a block without freeing it.
inline void clear_slot(int32_t slot) {
  if (slot < indexed_end && !(known.slot == slot && known.block == pnt_list[slot])) {
    leave_index(slot);
  }
  pnt_list[slot] = nullptr;
  pnt_size[slot] = 0;
  freed_list[last_freed++] = slot;
  if (slot == top) {
    top = slot - 1;
    indexed_end = std::min(indexed_end, slot);
  }
}

void* reallocate_or_exit(void* old, int64_t size) {
  void* block = std::realloc(old, size == 0 ? 1 : static_cast<std::size_t>(size));  // 0 would free it
  if (block == nullptr) {
    out_of_memory(size);
  }
  announce(size);
  return block;
}

// Kept: programs rely on the accounting of an unknown block. The count of slots is not raised as for a new block: a
// freed slot is taken while the newest slot drops out of sight, or the newest record is overwritten.
void record_unknown(void* block, int64_t size) {
  set_known({nullptr, 0});
  if (last_freed > 0) {
    pnt_num = std::max(pnt_num - 1, 0);
    if (pnt_num < indexed_end) {
      leave_index(pnt_num);
    }
    top = std::min(top, pnt_num - 1);
    indexed_end = std::min(indexed_end, pnt_num);
    write_slot(static_cast<int32_t>(freed_list[--last_freed]), block, size);
  } else if (pnt_num > 0) {
    write_slot(pnt_num - 1, block, size);
  } else {
    record(block, size);  // there is no newest record to overwrite
  }
}

void* reallocate_unknown(void* old, int64_t size) {
  const int shown = static_cast<int>(reinterpret_cast<intptr_t>(old));
  if (nx_strict_memory != 0) {
    nxi_error("old pointer %d was not found in the nx_memory system, STRICT_MEMORY is ON therefore return NULL\n",
              shown);
    return nullptr;
  }
  nxi_warning("old pointer %d was not found in the nx_memory system, reallocing anyway\n", shown);
  void* block = reallocate_or_exit(old, size);
  record_unknown(block, size);
  return block;
}

void print_report(const char* last_line) {
  const uint32_t tracked = nx_total_memory_allocated();
  const uint32_t objects = nxi_total_object_memory_allocated();
  const auto megabytes = [](uint32_t bytes) { return static_cast<double>(static_cast<float>(bytes)) * 1e-6; };
  std::puts("\n*******");
  std::printf("Total nx_memory currently allocated=        %f Mbytes\n", megabytes(tracked));
  std::printf("Total nx_object_memory currently allocated= %f Mbytes\n", megabytes(objects));
  std::printf("Total memory currently allocated=           %f Mbytes\n", megabytes(tracked + objects));
  std::puts("*******pointer/memory list*******");
  nx_print_pointers_and_memory();
  std::puts("*******object memory********");
  nxi_print_all_allocated_memory();
  std::fputs(last_line, stdout);
}

}  // namespace

void end_exhausted(int status, const char* text, const char* last_line) {
  if (!exhaustion.reporting) {
    exhaustion = {true, status, "", last_line};
    std::snprintf(exhaustion.text, sizeof exhaustion.text, "%s", text);
    nxi_err(exhaustion.text);
  }
  std::fputs(exhaustion.text, stdout);
  if (exhaustion.last_line != nullptr) {
    print_report(exhaustion.last_line);
  }
  std::exit(exhaustion.status);
}

void* grow_own(void* block, int64_t size) {
  if (block == nullptr || find_slot(block) >= 0) {
    return nx_realloc(block, size);
  }
  void* grown = reallocate_or_exit(block, size);
  record(grown, size);
  return grown;
}

void when_all_freed(void (*forget)()) { enter_once(forgetters, forget); }

void before_all_freed(void (*save)()) { enter_once(savers, save); }

void take_off_record(void* block) {
  const int32_t slot = block == nullptr ? -1 : find_slot(block);
  if (slot >= 0) {
    clear_slot(slot);
  }
}

void free_own(void* block) {
  take_off_record(block);
  std::free(block);
}

void free_if_untracked(void* block) {
  if (block != nullptr && find_slot(block) < 0) {
    std::free(block);
  }
}

}  // namespace memory

using namespace memory;

void* nx_malloc(int64_t size) {
  void* block = std::malloc(static_cast<std::size_t>(size));
  if (block == nullptr) {
    out_of_memory(size);
  }
  announce(size);
  record(block, size);
  return block;
}

void* nx_calloc(int count, int element_size) {
  void* block = std::calloc(static_cast<std::size_t>(count), static_cast<std::size_t>(element_size));
  if (block == nullptr) {
    // The report has the size in 32-bit arithmetic, wrapping.
    out_of_memory(static_cast<int32_t>(static_cast<uint32_t>(count) * static_cast<uint32_t>(element_size)));
  }
  const int64_t size = static_cast<int64_t>(count) * element_size;
  announce(size);
  record(block, size);
  return block;
}

void* nx_realloc(void* old, int64_t size) {
  if (old == nullptr) {
    return nx_malloc(size);
  }
  const int32_t slot = find_slot(old);
  if (slot < 0) {
    return reallocate_unknown(old, size);
  }
  if (pnt_size[slot] >= static_cast<uint64_t>(size)) {
    return old;
  }
  void* block = reallocate_or_exit(old, size);
  write_slot(slot, block, size);
  return block;
}

void nx_free(void* block) {
  if (block == nullptr) {
    nxi_warn("NULL pointer passed to nx_free\n");
    return;
  }
  const int32_t slot = find_slot(block);
  if (slot < 0) {
    nxi_warning("attempt to free a pointer, %p, not in the nx_memory system\n", block);
    return;
  }
  clear_slot(slot);
  std::free(block);
}

uint32_t nx_memory_allocated_to_pointer(const void* block) {
  const int32_t slot = block == nullptr ? -1 : find_slot(const_cast<void*>(block));
  if (slot < 0) {
    nxi_warn("no memory allocated to pointer sent to nx_memory_allocated_to_pointer\n");
    return 0;
  }
  return static_cast<uint32_t>(pnt_size[slot]);
}

uint32_t nx_total_memory_allocated(void) {
  uint32_t total = 0;
  for (int32_t slot = 0; slot < pnt_num; ++slot) {
    total += static_cast<uint32_t>(pnt_size[slot]);
  }
  return total;
}

int nx_total_number_of_active_pointers(void) {
  int active = 0;
  for (int32_t slot = 0; slot < pnt_num; ++slot) {
    active += static_cast<int>(pnt_list[slot] != nullptr);
  }
  return active;
}

int nx_print_pointers_and_memory(void) {
  if (pnt_num == 0) {
    std::puts("no pointers found in nx_memory system");
    return 0;
  }
  for (int32_t slot = 0; slot < pnt_num; ++slot) {
    if (pnt_list[slot] != nullptr) {
      std::printf("pointer %ld has %ld bytes of memory\n",
                  static_cast<long>(reinterpret_cast<intptr_t>(pnt_list[slot])), static_cast<long>(pnt_size[slot]));
    }
  }
  return 1;
}

void nx_free_all_memory(void) {
  call_all(savers);
  for (int32_t slot = 0; slot < pnt_num; ++slot) {
    void* block = pnt_list[slot];
    if (block == nullptr) {
      continue;
    }
    for (int32_t at = find_slot(block); at >= 0; at = find_slot(block)) {
      clear_slot(at);  // an address on record twice is one block
    }
    std::free(block);
  }
  call_all(forgetters);
}

void clear_memory_system(void) {
  nx_free_all_memory();
  std::free(pnt_list);
  std::free(pnt_size);
  std::free(freed_list);
  pnt_list = nullptr;
  pnt_size = nullptr;
  freed_list = nullptr;
  pnt_num = 0;
  last_freed = 0;
  pnt_list_size = 0;
  block_index.clear();
  top = -1;
  indexed_end = 0;
  known = {nullptr, 0};
}

// Kept: programs rely on the crossed names, see the header.
void nx_set_strict_memory_off(void) { nx_strict_memory = 1; }

void nx_set_strict_memory_on(void) { nx_strict_memory = 0; }

void nx_flag_memory_allocation_by_size(int size) { check_size = size; }

void nx_clear_memory_flag(void) { check_size = 0; }

void out_of_memory(int64_t size) {
  char text[sizeof exhaustion.text];
  std::snprintf(text, sizeof text, "Out of memory trying to allocate %zd bytes of memory\n",
                static_cast<ssize_t>(size));
  end_exhausted(objects::kMemoryExhausted, text, "\n*******\n");
}

void print_memory_summary(void) { print_report("*******\n"); }
