// Making and finding tables.
#include <nxbriochem/objects/object_memory.h>

#include <cstdio>

#include <nxbriochem/objects/codes_internal.h>
#include <nxbriochem/objects/handle_sequence_internal.h>
#include <nxbriochem/objects/obj_man.h>
#include <nxbriochem/objects/object_memory_store_internal.h>
#include <nxbriochem/objects/object_memory_tables_internal.h>

namespace object_memory {

int32_t ObjMemWarn = 0;
int32_t NX_MONITOR_DELETE = 0;
const int32_t MEMTAB_REV = 0;
const int32_t MEMENT_REV = 0;
int random_sequence_handle = 0;
uint32_t random_sequence_handle_set = 0;
int32_t handle_overflow = 0;

namespace {

constexpr int32_t kFirstTableHandle = 1000000000;
constexpr int kMostClashes = 1001;

void forget_sequence();
objects::HandleSequence sequence{random_sequence_handle, random_sequence_handle_set, handle_overflow, forget_sequence};
void forget_sequence() { sequence.forget_record(); }

int32_t draw_table_handle() {
  const auto taken = [](int32_t value) { return index_of_table(value + kFirstTableHandle) >= 0; };
  const uint32_t value = sequence.draw_unique(taken, kMostClashes, "1001 attempts to find unique handle failed",
                                              objects::kNoUniqueTableHandle);
  return static_cast<int32_t>(value) + kFirstTableHandle;
}

void report_missing_table(int handle) {
  std::printf("no pointer found for memory table handle %d\n", handle);
  for (int32_t i = 0; i < MemTabNum; ++i) {
    std::printf("memory table %d has handle %d\n", i, memtab[i]->handle);
  }
  print_handle_list();
}

}  // namespace

uint32_t draw() { return sequence.draw(); }

Table* find_table(int handle) {
  const int index = nxi_get_memory_table(handle);
  return index < 0 ? nullptr : memtab[index];
}

}  // namespace object_memory

using namespace object_memory;

int nxi_add_memory_table(int owner) { return append_table(draw_table_handle(), owner).handle; }

int nxi_get_memory_table(int handle) {
  int32_t index = index_of_table(handle);
  if (index < 0) {
    index = index_of_table(nxi_get_memory_handle(handle));
  }
  if (index < 0) {
    report_missing_table(handle);
  }
  return index;
}

void nx_set_object_memory_warning_on(void) { ObjMemWarn = 1; }
void nx_set_object_memory_warning_off(void) { ObjMemWarn = 0; }
void nxi_monitor_delete(void) { NX_MONITOR_DELETE = 1; }

uint32_t nxi_total_object_memory_allocated(void) {
  uint32_t total = 0;
  for (int32_t i = 0; i < MemTabNum; ++i) {
    total += static_cast<uint32_t>(memtab[i]->total);
  }
  return total;
}
