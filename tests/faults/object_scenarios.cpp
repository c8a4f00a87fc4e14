#include <cstdio>
#include <string>

#include <nxbriochem/nxbriochem.h>

#include "tests/faults/failing_heap.h"
#include "tests/faults/scenarios.h"

namespace faults {
namespace {

int object;
int list;
int number;
uint32_t handle;
void* block;
std::FILE* stream;
int* cursor;
int members[200];
float out[64];
int ints[64];

void tracked() { block = nx_malloc(8); }

void types() { nxi_register_object(14, "ECONSTRUCT", 16, 2); }

void objects() {
  list = nx_make_list();
  object = nx_make_list();
  nx_add_to_list(object, list);
  nx_add_to_list(5, object);
  cursor = members;
}

void padded() {
  objects();
  nxi_set_memory_padding(object, 1);
  block = nx_object_malloc(object, 100, 8, "padded", nullptr);
}

void large() {
  objects();
  for (int i = 0; i < 40; ++i) {
    nx_object_malloc_new(object, 1, 4, "many");
  }
}

void saved() {
  objects();
  stream = std::tmpfile();
  nx_attach_floats_to_object("values", 20, object);
  nxi_write_memory_table(stream, object);
}

// A report of what is held has an owner to look up while the registry is being made.
void owned_elsewhere() { nxi_add_memory_table(1); }

void many_objects() {
  for (int i = 0; i < 16383; ++i) {
    nx_make_list();
  }
}

void opened() { stream = nxi_fopen("/dev/null", "r"); }

std::FILE* rewound() {
  std::rewind(stream);
  return stream;
}

const char* lengthy() {
  static const std::string digits = (faults::Aside(), std::string(1999, '0'));
  return digits.c_str();
}

}  // namespace

std::vector<Scenario> object_scenarios() {
  return {
      // Tracked blocks.
      CALL(nx_malloc, kBlock | kBooks, nullptr, (100)),
      CALL(nx_calloc, kBlock | kBooks, nullptr, (3, 4)),
      CALL(nx_memory_allocated_to_pointer, kBlock | kBooks, nullptr, (nullptr)),
      CALL(nx_free, kBlock | kBooks, nullptr, (nullptr)),
      CALL(nx_realloc, kBlock, tracked, (block, 300)),
      // Messages.
      CALL(nxi_err, kBlock | kBooks, nullptr, ("an error\n")),
      CALL(nxi_warn, kBlock | kBooks, nullptr, ("a warning\n")),
      CALL(nxi_error, kBlock | kBooks, nullptr, ("%s %d\n", lengthy(), 1)),
      CALL(nxi_warning, kBlock | kBooks, nullptr, ("%s %d\n", lengthy(), 1)),
      CALL(nxi_error_print, kBlock | kBooks, nullptr, ("error %d\n", 1)),
      CALL(nxi_warning_print, kBlock | kBooks, nullptr, ("warning %d\n", 1)),
      CALL(nx_write_errors_to_file, kBlock | kBooks, nullptr, ("/dev/null")),
      // Registry.
      CALL(obj_sys_init, kBlock | kBooks | kTable, nullptr, ()),
      CALL(register_handles, kBlock | kBooks | kTable, nullptr, ()),
      CALL(nxi_register_object, kBlock | kBooks | kTable, nullptr, (14, "ECONSTRUCT", 16, 2)),
      CALL(nxi_delete_object, kBlock | kBooks, nullptr, (123456)),
      CALL(nx_make_list, kBlock | kBooks | kTable, nullptr, ()),
      CALL_AS("the first object beside a table", kBlock | kTable, owned_elsewhere, nx_make_list()),
      CALL_AS("objects that make the index grow", kBlock | kTable, many_objects, times<2>(nx_make_list)),
      CALL(nxi_make_object, kBlock | kTable, types, (14, &handle)),
      // Memory tables.
      CALL(nx_object_malloc, kTable, objects, (object, 10, 4, "block", nullptr)),
      CALL(nx_object_calloc, kTable, objects, (object, 10, 4, "block", nullptr)),
      CALL(nx_object_realloc, kTable, objects, (object, 10, 4, "block", nullptr)),
      CALL(nxi_mAlloc, kTable, objects, (object, 10, 4, "block", nullptr)),
      CALL(nxi_cAlloc, kTable, objects, (object, 10, 4, "block", nullptr)),
      CALL(nxi_calloc, kTable, objects, (object, 10, 4, "block", nullptr)),
      CALL(nxi_reAlloc, kTable, objects, (object, 10, 4, "block", nullptr)),
      CALL(nxi_cAlloc_new, kTable, objects, (object, 10, 4, "block", nullptr)),
      CALL(nx_object_malloc_new, kTable, objects, (object, 10, 4, "block")),
      CALL(nx_object_calloc_new, kTable, objects, (object, 10, 4, "block")),
      CALL(nxi_mAlloc_new, kTable, objects, (object, 10, 4, "block")),
      CALL(nxi_calloc_new, kTable, objects, (object, 10, 4, "block")),
      CALL(nxi_malloc, kTable, objects, (object, 10, "bytes", nullptr)),
      CALL(nxi_malloc_new, kTable, objects, (object, 10, "bytes")),
      CALL(nxi_realloc, kTable, objects, (object, nullptr, 10, "bytes")),
      CALL(nx_attach_float_to_object, kTable, objects, ("float", object)),
      CALL(nx_attach_floats_to_object, kTable, objects, ("floats", 3, object)),
      CALL(nx_attach_integer_to_object, kTable, objects, ("integer", object)),
      CALL(nx_attach_integers_to_object, kTable, objects, ("integers", 3, object)),
      CALL(nxi_copy_memory_table, kTable, objects, (object, list)),
      CALL(nxi_print_mem_alloc_ordered, kBlock, padded, (object)),
      CALL(nxi_read_memory_table, kTable | kFails, saved, (rewound(), list)),
      // In a table of many blocks the first look-up makes an index.
      CALL(nx_set_object_float, kBlock, large, ("none", object, 1)),
      CALL(nx_set_object_integer, kBlock, large, (1, "none", object)),
      CALL(nx_set_object_floats, kBlock, large, ("none", object, out)),
      CALL(nx_set_object_integers, kBlock, large, (ints, "none", object)),
      CALL(nx_object_float, kBlock, large, ("none", object)),
      CALL(nx_object_integer, kBlock, large, ("none", object)),
      CALL(nx_object_floats, kBlock, large, ("none", object)),
      CALL(nx_object_integers, kBlock, large, ("none", object)),
      CALL(nx_object_floats_size, kBlock, large, ("none", object)),
      CALL(nx_object_integers_size, kBlock, large, ("none", object)),
      CALL(nxi_protect_memory, kBlock, large, (object, &handle)),
      CALL(nxi_unprotect_memory, kBlock, large, (object, &handle)),
      CALL(nxi_attach_associated_pointer, kBlock, large, (object, &handle)),
      CALL(nxi_unattach_associated_pointer, kBlock, large, (object, &handle)),
      CALL(nxi_mem_alloc_to, kBlock, large, (object, &handle)),
      CALL(nxi_mem_used_by, kBlock, large, (object, &handle)),
      CALL(nxi_boundscheck_pnt, kBlock, large, (object, &handle)),
      CALL(nxi_print_mem_alloc_to, kBlock, large, (object, &handle)),
      CALL(nxi_print_initial_pnt_status, kBlock, large, (object, &handle)),
      CALL(nxi_free, kBlock, large, (object, &handle)),
      CALL(nx_free_object_memory, kBlock, large, (object, &handle)),
      CALL(nxi_purge_memory_table, kBlock, large, (object)),
      CALL(nxi_get_attached_pointer, kBlock, large, (object, "none")),
      CALL(nxi_get_pointer_by_name, kBlock, large, ("none", object)),
      CALL(nxi_set_pnt_name, kBlock, large, (object, &handle, "none")),
      CALL(nxi_delete_memory_table, kBlock, large, (object)),
      // Lists.
      CALL(nx_get_list_length_recurse, kBlock, objects, (list)),
      CALL(nx_is_handle_in_list_recurse, kBlock, objects, (-5000, list)),
      CALL(nx_make_urolled_list, kBlock | kTable, objects, (list)),
      CALL(nxi_unroll_list, kBlock, objects, (&(cursor = members), list)),
      CALL(nx_delete_list, kBlock | kBooks, nullptr, (123456)),
      // Files, sequences, expressions.
      CALL(nxi_fopen, kBlock | kBooks, nullptr, ("/dev/null", "r")),
      CALL(nxi_open_file, kBlock | kBooks, nullptr, ("/dev/null", "r")),
      CALL(nx_make_rseq, kBlock | kBooks, nullptr, ()),
      CALL(nx_make_rseq_with_prime, kBlock | kBooks, nullptr, (97)),
      CALL(nx_make_rseq_with_prime_and_seed, kBlock | kBooks, nullptr, (97, 3)),
      CALL(nxi_AddVariableToTable, kBlock | kBooks, nullptr, ("variable", 1)),
      CALL(nxi_FindVariable, kBlock | kBooks, nullptr, ("variable")),
      CALL_AS("nxi_Expression", kBlock, nullptr, (nxi_SetScanLine("((1+2)*(3-4))^2"), nxi_Expression())),
      CALL_AS("nxi_SimpleExpression", kBlock, nullptr, (nxi_SetScanLine("(2)*3"), nxi_SimpleExpression())),
      CALL_AS("nxi_SignedFactor", kBlock, nullptr, (nxi_SetScanLine("-(2)"), nxi_SignedFactor())),
      CALL_AS("nxi_Factor", kBlock, nullptr, (nxi_SetScanLine("(((2)))"), nxi_Factor())),
      CALL_AS("nxi_GetDataElement", kBlock | kBooks, nullptr,
              (nxi_SetScanLine("(fourth=5)"), nxi_GetDataElement("double"))),
      CALL(nxi_fclose, kBlock, opened, (stream)),
      // Growth.
      CALL_AS("many tracked blocks", kBlock | kBooks, nullptr, times<1100>([] { nx_malloc(8); })),
      CALL_AS("many messages", kBlock | kBooks, nullptr, times<130>([] {
                nxi_err(lengthy());
                nxi_warn("again\n");
              })),
      CALL_AS("many objects", kBlock | kBooks | kTable, nullptr, times<130>(nx_make_list)),
      CALL_AS("many files", kBlock | kBooks, nullptr, times<12>([] { nxi_open_file("/dev/zero", "r"); })),
      CALL_AS("many sequences", kBlock | kBooks, nullptr, times<20>([] { nx_make_rseq(); })),
      CALL_AS("many variables", kBlock | kBooks, nullptr,
              times<70>([] { nxi_AddVariableToTable(std::to_string(++number).c_str(), 1); })),
      CALL_AS("many blocks of an object", kTable, objects,
              times<210>([] { nx_object_malloc_new(object, 1, 4, "many"); })),
      CALL_AS("nx_add_to_list", kTable, objects, times<120>([] { nx_add_to_list(-1, list); })),
      CALL_AS("nxi_add_memory_table", kTable, objects, times<25>([] { nxi_add_memory_table(7000 + ++number); })),
      CALL_AS("nxi_attach_pointer_to_object", kTable, objects,
              times<210>([] { nxi_attach_pointer_to_object(object, 0, 4, "own", &members[++number % 200]); })),
      CALL_AS("plain blocks", kFails, objects, nx_object_realloc(-7, 20, 4, "plain", nullptr)),
      CALL_AS("a padded block that grows", kTable, padded,
              (block = nx_object_realloc(object, 1000, 8, "padded", block))),
  };
}

}  // namespace faults
