// Calls of tracked memory and of the object memory tables.
#include <nxbriochem/nxbriochem.h>

#include <cstdlib>

#include "tests/driver/calls.h"

namespace driver {
namespace {

// Sizes are small: where there is no room, the process ends.
void call_malloc(Arguments& arguments, const char*) {
  const int size = arguments.integer('u');
  arguments.keep_tracked(nx_malloc(size));
}
void call_calloc(Arguments& arguments, const char*) {
  const int count = arguments.integer('u');
  arguments.keep_tracked(nx_calloc(count, arguments.integer('u')));
}
void call_realloc(Arguments& arguments, const char*) {
  void* const old = arguments.take_tracked();
  arguments.keep_tracked(nx_realloc(old, arguments.integer('u')));
}
void call_free(Arguments& arguments, const char*) {
  int foreign = 0;
  nx_free(arguments.one_in(6) ? &foreign : arguments.take_tracked());
}
void call_free_all_memory(Arguments& arguments, const char*) {
  nx_free_all_memory();
  arguments.forget_tracked();
}
void call_clear_memory_system(Arguments& arguments, const char*) {
  clear_memory_system();
  arguments.forget_tracked();
}

void call_delete_all_memory_tables(Arguments& arguments, const char*) {
  if (arguments.one_in(10)) {
    nxi_delete_all_memory_tables();
  }
}

void call_add_memory_table(Arguments& arguments, const char*) {
  const int owner = arguments.integer('g');
  nxi_add_memory_table(owner);
  arguments.keep('g', owner);
}

void call_attach_pointer_to_object(Arguments& arguments, const char*) {
  const int handle = arguments.integer('g');
  const int count = arguments.integer('n');
  if (count == 0) {
    static double not_freed = 0;  // a block of no bytes stays the caller's
    nxi_attach_pointer_to_object(handle, count, sizeof(double), arguments.text('s'), &not_freed);
    return;
  }
  void* const block = arguments.one_in(40) ? nullptr : std::malloc(kMostCount * sizeof(double));
  if (nxi_attach_pointer_to_object(handle, count, sizeof(double), arguments.text('s'), block) != 0) {
    arguments.keep_block(block);
  } else {
    std::free(block);
  }
}

// Level 3 ends the process on the first pointer that the table does not know.
void call_set_memstrict(Arguments& arguments, const char*) {
  static constexpr int kLevels[] = {-1, 0, 1, 2, 4};
  const int handle = arguments.integer('g');
  nxi_set_memstrict(handle, kLevels[arguments.below(5)]);
}

// Of a negative handle a block is a plain one.
void call_free_object_memory(Arguments& arguments, const char*) {
  if (arguments.one_in(4)) {
    void* const block = nx_object_calloc_new(-7, arguments.integer('n'), 4, "plain");
    nx_free_object_memory(-7, nx_object_realloc(-7, 9, 4, "plain", block));
    return;
  }
  const int handle = arguments.integer('g');
  nx_free_object_memory(handle, arguments.draw<void*>('k'));
}

}  // namespace

std::vector<Entry> memory_calls() {
  return {
      // memory.h
      SPECIAL(nx_malloc, call_malloc),
      SPECIAL(nx_calloc, call_calloc),
      SPECIAL(nx_realloc, call_realloc),
      SPECIAL(nx_free, call_free),
      ENTRY(nx_memory_allocated_to_pointer, "t"),
      ENTRY(nx_total_memory_allocated, ""),
      ENTRY(nx_total_number_of_active_pointers, ""),
      ENTRY(nx_print_pointers_and_memory, ""),
      SPECIAL(nx_free_all_memory, call_free_all_memory),
      SPECIAL(clear_memory_system, call_clear_memory_system),
      ENTRY(nx_set_strict_memory_off, ""),
      ENTRY(nx_set_strict_memory_on, ""),
      ENTRY(nx_flag_memory_allocation_by_size, "n"),
      ENTRY(nx_clear_memory_flag, ""),
      ENDS(out_of_memory, "i"),
      ENTRY(print_memory_summary, ""),
      // object_memory.h
      ENTRY(nx_object_malloc, "gbbsk"),
      ENTRY(nx_object_calloc, "gbbsk"),
      ENTRY(nx_object_realloc, "gbbsk"),
      ENTRY(nx_object_malloc_new, "gbbs"),
      ENTRY(nx_object_calloc_new, "gbbs"),
      SPECIAL(nx_free_object_memory, call_free_object_memory),
      ENTRY(nx_attach_float_to_object, "sg"),
      ENTRY(nx_attach_floats_to_object, "sng"),
      ENTRY(nx_attach_integer_to_object, "sg"),
      ENTRY(nx_attach_integers_to_object, "sng"),
      ENTRY(nx_set_object_float, "sgv"),
      ENTRY(nx_set_object_integer, "isg"),
      ENTRY(nx_set_object_floats, "sg*"),
      ENTRY(nx_set_object_integers, "*sg"),
      ENTRY(nx_object_float, "sg"),
      ENTRY(nx_object_integer, "sg"),
      ENTRY(nx_object_floats, "sg"),
      ENTRY(nx_object_integers, "sg"),
      ENTRY(nx_object_floats_size, "sg"),
      ENTRY(nx_object_integers_size, "sg"),
      ENTRY(nx_set_object_memory_warning_on, ""),
      ENTRY(nx_set_object_memory_warning_off, ""),
      ENTRY(nxi_mAlloc, "gbbsk"),
      ENTRY(nxi_cAlloc, "gbbsk"),
      ENTRY(nxi_calloc, "gbbsk"),
      ENTRY(nxi_reAlloc, "gbbsk"),
      ENTRY(nxi_malloc, "gbsk"),
      ENTRY(nxi_realloc, "gkns"),
      ENTRY(nxi_mAlloc_new, "gbbs"),
      ENTRY(nxi_calloc_new, "gbbs"),
      ENTRY(nxi_malloc_new, "gbs"),
      ENTRY(nxi_cAlloc_new, "gbbsk"),
      ENTRY(nxi_free, "gk"),
      SPECIAL(nxi_add_memory_table, call_add_memory_table),
      ENTRY(nxi_get_memory_table, "g"),
      ENTRY(nxi_delete_memory_table, "g"),
      SPECIAL(nxi_delete_all_memory_tables, call_delete_all_memory_tables),
      ENTRY(nxi_purge_memory_table, "g"),
      ENTRY(nxi_protect_memory, "gk"),
      ENTRY(nxi_unprotect_memory, "gk"),
      SPECIAL(nxi_attach_pointer_to_object, call_attach_pointer_to_object),
      ENTRY(nxi_attach_associated_pointer, "gk"),
      ENTRY(nxi_unattach_associated_pointer, "gk"),
      ENTRY(nxi_get_attached_pointer, "gs"),
      ENTRY(nxi_get_pointer_by_name, "sg"),
      ENTRY(nxi_set_pnt_name, "gks"),
      ENTRY(nxi_mem_alloc_to, "gk"),
      ENTRY(nxi_mem_used_by, "gk"),
      ENTRY(nxi_mem_total, "g"),
      ENTRY(nxi_total_object_memory_allocated, ""),
      ENTRY(nxi_set_memory_padding, "gi"),
      ENTRY(nxi_set_auto_bndcheck, "gi"),
      SPECIAL(nxi_set_memstrict, call_set_memstrict),
      ENTRY(nxi_set_memprn, "gi"),
      ENTRY(nxi_boundscheck_pnt, "gk"),
      ENTRY(nxi_boundscheck_all, "g"),
      ENTRY(nxi_boundscheck_all_s, "g"),
      ENTRY(nxi_write_memory_table, "Wg"),
      ENTRY(nxi_read_memory_table, "Tg"),
      ENTRY(nxi_copy_memory_table, "gg"),
      ENTRY(nxi_print_mem_alloc, "g"),
      ENTRY(nxi_print_mem_alloc_ordered, "g"),
      ENTRY(nxi_filter_print_mem_alloc, "gs"),
      ENTRY(nxi_print_mem_alloc_to, "gk"),
      ENTRY(nxi_print_initial_pnt_status, "gk"),
      ENTRY(nxi_print_all_allocated_memory, ""),
      ENTRY(nxi_monitor_delete, ""),
  };
}

}  // namespace driver
