#include <cstdio>
#include <cstdlib>

#include <nxbriochem/nxbriochem.h>

#include "tests/faults/failing_heap.h"
#include "tests/faults/scenarios.h"

namespace faults {
namespace {

int object;
int list;
int inner;
std::FILE* stream;

void make_object() {
  list = nx_make_list();  // registers the types
  object = nx_make_list();
}

void make_lists() {
  list = nx_make_list();
  inner = nx_make_list();
  nx_add_to_list(inner, list);
}

void make_stream() {
  make_object();
  stream = std::tmpfile();
  nx_attach_floats_to_object("values", 20, object);
  nxi_write_memory_table(stream, object);
}

// From the heap, past the library, and not counted.
void* foreign_block(std::size_t size) {
  const Aside aside;
  return std::malloc(size);
}

void tracked_blocks() {
  void* first = nx_malloc(100);
  first = nx_realloc(first, 300);
  void* second = nx_calloc(3, 4);
  void* third = nx_realloc(nullptr, 5);
  nx_free(first);
  nx_free(second);
  nx_free(third);
  nx_free(nullptr);
  nx_memory_allocated_to_pointer(nullptr);
  void* foreign = foreign_block(8);
  foreign = nx_realloc(foreign, 100);
  nx_free(foreign);
  nx_free_all_memory();
  clear_memory_system();
}

void many_blocks() {
  for (int i = 0; i < 1100; ++i) {
    nx_malloc(8);
  }
  nx_free_all_memory();
}

void messages() {
  char lengthy[2000];
  std::snprintf(lengthy, sizeof lengthy, "%01999d", 0);
  for (int i = 0; i < 3; ++i) {
    nxi_err("an error\n");
    nxi_warn("a warning\n");
    nxi_error("%s %d\n", lengthy, i);
    nxi_warning("%s %d\n", lengthy, i);
    nxi_error_print("error %d\n", i);
    nxi_warning_print("warning %d\n", i);
  }
  nx_print_all_errors_warnings();
}

void many_messages() {
  for (int i = 0; i < 130; ++i) {
    nxi_warn("again\n");
    nxi_err("and again\n");
  }
}

void error_log() {
  nx_write_errors_to_file("/dev/null");
  nxi_err("logged\n");
  nx_write_errors_to_file(nullptr);
}

void registry() {
  obj_sys_init();
  register_handles();
  nxi_register_object(14, "ECONSTRUCT", 16, 2);
  for (int i = 0; i < 3; ++i) {
    uint32_t handle = 0;
    nxi_make_object(14, &handle);
    int name = static_cast<int>(handle);
    nx_delete(&name);
  }
  uint32_t handles[5];
  for (uint32_t& handle : handles) {
    nxi_make_object(14, &handle);
  }
  for (const uint32_t handle : handles) {
    nxi_delete_object(static_cast<int>(handle));
  }
  nxi_get_memory_table(-5);
  nxi_get_memory_table(123456);
  nxi_delete_object(123456);
}

void many_objects() {
  int lists[130];
  for (int& each : lists) {
    each = nx_make_list();
  }
  for (const int each : lists) {
    nx_delete_list(each);
  }
}

void object_blocks() {
  void* block = nx_object_malloc(object, 10, 4, "malloc", nullptr);
  block = nx_object_malloc(object, 100, 4, "malloc", block);
  nx_free_object_memory(object, block);
  block = nx_object_calloc(object, 10, 4, "calloc", nullptr);
  block = nx_object_calloc(object, 100, 4, "calloc", block);
  nxi_free(object, block);
  block = nx_object_realloc(object, 10, 4, "realloc", nullptr);
  block = nx_object_realloc(object, 100, 4, "realloc", block);
  nxi_print_mem_alloc_ordered(object);
  nx_free_object_memory(object, block);
  nx_object_malloc_new(object, 3, 8, "a");
  nx_object_calloc_new(object, 3, 8, "b");
  nxi_mAlloc(object, 3, 8, "c", nullptr);
  nxi_cAlloc(object, 3, 8, "d", nullptr);
  nxi_calloc(object, 3, 8, "e", nullptr);
  nxi_reAlloc(object, 3, 8, "f", nullptr);
  block = nxi_malloc(object, 3, "g", nullptr);
  nxi_realloc(object, block, 300, "g");
  nxi_mAlloc_new(object, 3, 8, "h");
  nxi_calloc_new(object, 3, 8, "i");
  nxi_malloc_new(object, 3, "j");
  nxi_cAlloc_new(object, 3, 8, "k", nullptr);
  nxi_print_mem_alloc_ordered(object);
  nxi_purge_memory_table(object);
}

void padded_blocks() {
  nxi_set_memory_padding(object, 1);
  void* block = nx_object_malloc(object, 100, 8, "padded", nullptr);
  block = nx_object_realloc(object, 1000, 8, "padded", block);
  nxi_boundscheck_all(object);
  nx_free_object_memory(object, block);
  nxi_set_memory_padding(object, 0);
  nxi_purge_memory_table(object);
}

void many_object_blocks() {
  for (int i = 0; i < 210; ++i) {
    nx_object_malloc_new(object, 1, 4, "many");
  }
  nxi_purge_memory_table(object);
}

void unowned_blocks() {
  void* block = nx_object_malloc(-7, 10, 4, "plain", nullptr);
  block = nx_object_realloc(-7, 20, 4, "plain", block);
  nx_free_object_memory(-7, block);
  block = nx_object_calloc(-7, 10, 4, "plain", nullptr);
  nx_free_object_memory(-7, block);
}

void object_values() {
  const float reals[] = {1, 2, 3};
  const int whole[] = {1, 2, 3};
  nx_attach_float_to_object("float", object);
  nx_attach_floats_to_object("floats", 3, object);
  nx_attach_integer_to_object("integer", object);
  nx_attach_integers_to_object("integers", 3, object);
  nx_set_object_float("float", object, 1);
  nx_set_object_integer(1, "integer", object);
  nx_set_object_floats("floats", object, reals);
  nx_set_object_integers(whole, "integers", object);
  nxi_purge_memory_table(object);
  // Nothing of the name is there any more: each call has something to report.
  nx_set_object_float("float", object, 1);
  nx_set_object_integer(1, "integer", object);
  nx_set_object_floats("floats", object, reals);
  nx_set_object_integers(whole, "integers", object);
  nx_object_float("float", object);
  nx_object_integer("integer", object);
  nx_object_floats("floats", object);
  nx_object_integers("integers", object);
  nx_object_floats_size("floats", object);
  nx_object_integers_size("integers", object);
}

void table_calls_without_block() {
  int foreign = 0;
  const char* lengthy = "a name that is too long by far to be kept with a block";
  nx_object_malloc_new(object, 1, 4, lengthy);
  for (const int handle : {object, 123456}) {
    nxi_protect_memory(handle, &foreign);
    nxi_unprotect_memory(handle, &foreign);
    nxi_attach_associated_pointer(handle, &foreign);
    nxi_unattach_associated_pointer(handle, &foreign);
    nxi_get_attached_pointer(handle, "nothing");
    nxi_get_pointer_by_name("nothing", handle);
    nxi_set_pnt_name(handle, &foreign, "nothing");
    nxi_mem_alloc_to(handle, &foreign);
    nxi_mem_used_by(handle, &foreign);
    nxi_mem_total(handle);
    nxi_boundscheck_pnt(handle, &foreign);
    nxi_boundscheck_all(handle);
    nxi_boundscheck_all_s(handle);
    nxi_print_mem_alloc(handle);
    nxi_print_mem_alloc_ordered(handle);
    nxi_filter_print_mem_alloc(handle, "x");
    nxi_print_mem_alloc_to(handle, &foreign);
    nxi_print_initial_pnt_status(handle, &foreign);
    nxi_set_memory_padding(handle, 9);
    nxi_set_auto_bndcheck(handle, 9);
    nxi_set_memstrict(handle, 9);
    nxi_set_memprn(handle, 9);
    nxi_free(handle, &foreign);
    nx_free_object_memory(handle, &foreign);
  }
}

void tables() {
  for (int i = 0; i < 25; ++i) {
    nxi_add_memory_table(7000 + i);
  }
  for (int i = 0; i < 25; ++i) {
    nxi_delete_memory_table(7000 + i);
  }
  void* own = foreign_block(40);
  nxi_attach_pointer_to_object(object, 10, 4, "own", own);
  nxi_copy_memory_table(object, list);
  nxi_purge_memory_table(list);
  nxi_purge_memory_table(object);
}

void all_tables() {
  make_lists();
  nxi_delete_all_memory_tables();
  clear_memory_system();
}

void saved_table() {
  nxi_write_memory_table(stream, 123456);
  std::rewind(stream);
  nxi_read_memory_table(stream, list);
  nxi_purge_memory_table(list);
}

void lists() {
  const int outer = nx_make_list();
  nx_set_list_name("a name", outer);
  for (int i = 1; i < 120; ++i) {
    nx_add_to_list(-i, outer);
  }
  nx_add_to_list(list, outer);
  nx_get_list_length_recurse(outer);
  nx_is_handle_in_list_recurse(-5000, outer);
  const int flat = nx_make_urolled_list(outer);
  int* members = nullptr;
  nxi_unroll_list(&members, outer);
  nx_go_to_list_object(-3, outer);
  nx_delete_from_list(-3, outer);
  nx_delete_from_list(-3, outer);
  nx_delete_list(flat);
  nx_delete_list(outer);
}

void calls_without_list() {
  int member = 0;
  char name[64];
  for (const int handle : {0, 123456, -1}) {
    nx_decrement_list(handle);
    nx_delete_current_from_list(handle);
    nx_delete_from_list(1, handle);
    nx_get_list_current_object(&member, handle);
    nx_get_list_length(handle);
    nx_get_list_length_of_type(handle, 3);
    nx_get_list_name(name, handle);
    nx_go_to_list_end(handle);
    nx_go_to_list_object(1, handle);
    nx_go_to_list_start(handle);
    nx_increment_list(handle);
    nx_is_handle_in_list(1, handle);
    nx_is_list_name_set(handle);
    nx_list_length(handle);
    nx_set_list_name("name", handle);
    nx_add_to_list(1, handle);
    nx_delete_list(handle);
  }
}

void files() {
  std::FILE* first = nxi_fopen("/dev/null", "r");
  nxi_fclose(first);
  nxi_close_file("/dev/zero");
  for (int i = 0; i < 12; ++i) {
    nxi_open_file("/dev/zero", "r");
    nxi_close_file("/dev/zero");
  }
  nxi_list_files();
}

void sequences() {
  int handles[20];
  for (int& handle : handles) {
    handle = nx_make_rseq();
  }
  for (const int handle : handles) {
    nx_delete_rseq(handle);
  }
  nx_delete_rseq(nx_make_rseq_with_prime(97));
  nx_delete_rseq(nx_make_rseq_with_prime_and_seed(97, 3));
}

void expressions() {
  nxi_AddVariableToTable("first", 1);
  for (int i = 0; i < 70; ++i) {
    char name[16];
    std::snprintf(name, sizeof name, "variable%d", i);
    nxi_AddVariableToTable(name, i);
  }
  nxi_FindVariable("variable3");
  nxi_SetScanLine("((1+2)*(3-first))^2");
  nxi_Expression();
  nxi_SetScanLine("second=third=4");
  nxi_Expression();
  nxi_SetScanLine("(2)*3");
  nxi_SimpleExpression();
  nxi_SetScanLine("-(2)");
  nxi_SignedFactor();
  nxi_SetScanLine("(((2)))");
  nxi_Factor();
  nxi_SetScanLine("(fourth=5)");
  nxi_GetDataElement("double");
  nx_free_all_memory();
}

}  // namespace

std::vector<Scenario> object_scenarios() {
  return {
      {"tracked_blocks", kBlock | kBooks, nullptr, tracked_blocks},
      {"many_blocks", kBlock | kBooks, nullptr, many_blocks},
      {"messages", kBlock | kBooks, nullptr, messages},
      {"many_messages", kBlock | kBooks, nullptr, many_messages},
      {"error_log", kBlock | kBooks, nullptr, error_log},
      {"registry", kBlock | kBooks | kTable, nullptr, registry},
      {"many_objects", kBlock | kTable, make_object, many_objects},
      {"object_blocks", kBlock | kTable, make_object, object_blocks},
      {"padded_blocks", kTable, make_object, padded_blocks},
      {"many_object_blocks", kTable, make_object, many_object_blocks},
      {"unowned_blocks", kReturned, nullptr, unowned_blocks},
      {"object_values", kTable, make_object, object_values},
      {"table_calls_without_block", kBlock | kTable, make_object, table_calls_without_block},
      {"tables", kTable, make_object, tables},
      {"all_tables", kBlock | kBooks | kTable, nullptr, all_tables},
      {"saved_table", kTable | kReturned, make_stream, saved_table},
      {"lists", kBlock | kTable, make_lists, lists},
      {"calls_without_list", kBlock | kBooks, nullptr, calls_without_list},
      {"files", kBlock | kBooks, nullptr, files},
      {"sequences", kBlock | kBooks, nullptr, sequences},
      {"expressions", kBlock | kBooks, nullptr, expressions},
  };
}

}  // namespace faults
