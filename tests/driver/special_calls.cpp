// Calls whose arguments depend on one another or need values that no letter stands for.
#include <nxbriochem/nxbriochem.h>

#include <array>
#include <cstdlib>
#include <string>

#include "tests/driver/calls.h"

namespace driver {
namespace {

template <auto Open>
void call_open(Arguments& arguments, const char*) {
  static constexpr const char* kModes[] = {"r", "w", "a", "no mode"};
  const char* const path = arguments.text('p');
  arguments.keep_stream(Open(path, arguments.one_in(40) ? nullptr : kModes[arguments.below(4)]));
}

void call_delete(Arguments& arguments, const char*) {
  int handle = arguments.integer('g');
  nx_delete(arguments.one_in(40) ? nullptr : &handle);
}

// Registers types of the driver's own, never the type of lists.
void call_register_object(Arguments& arguments, const char*) {
  static constexpr int kTags[] = {-1, 20, 21, 22, 255, 256};
  nxi_register_object(kTags[arguments.below(6)], arguments.text('s'), static_cast<unsigned>(arguments.integer('u')),
                      static_cast<unsigned>(arguments.integer('u')));
}

void call_make_object(Arguments& arguments, const char*) {
  static constexpr int kTypes[] = {20, 21, 22, 23, 255, 256, -1};
  uint32_t handle = 0;
  if (nxi_make_object(kTypes[arguments.below(7)], arguments.one_in(40) ? nullptr : &handle) != nullptr || handle != 0) {
    arguments.keep('g', static_cast<int>(handle));
  }
}

void call_unroll_list(Arguments& arguments, const char*) {
  const int list = arguments.integer('l');
  const int length = nx_get_list_length_recurse(list);
  std::vector<int> members(static_cast<std::size_t>(length) + 1, 0);
  int* cursor = arguments.one_in(40) ? nullptr : members.data();
  nxi_unroll_list(arguments.one_in(40) ? nullptr : &cursor, list);
}

// ---- Memory

// Sizes are small, since the process ends when memory runs out.
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
    // A protected block of no bytes still belongs to the caller. Each call uses another address, since a table with the
    // same pointer twice ends the process.
    static std::array<char, 4096> not_freed{};
    static std::size_t next = 0;
    void* const block = &not_freed[next++ % not_freed.size()];
    nxi_attach_pointer_to_object(handle, count, sizeof(double), arguments.text('s'), block);
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

// For a negative handle the block is a plain heap block.
void call_free_object_memory(Arguments& arguments, const char*) {
  if (arguments.one_in(4)) {
    void* const block = nx_object_calloc_new(-7, arguments.integer('n'), 4, "plain");
    nx_free_object_memory(-7, nx_object_realloc(-7, 9, 4, "plain", block));
    return;
  }
  const int handle = arguments.integer('g');
  nx_free_object_memory(handle, arguments.block());
}

// ---- The reader of values

void call_ScanLine(Arguments& arguments, const char*) {
  static constexpr const char* kText = "a + 1.5E3 \"text\" (2 ^ ~";
  char token[NXI_TOKEN_LENGTH + 1];
  const char* position = arguments.one_in(40) ? nullptr : kText + arguments.below(12);
  nxi_ScanLine(arguments.one_in(40) ? nullptr : &position, arguments.one_in(40) ? nullptr : token);
}

// ---- Growth

template <int times, auto Make>
void grow(Arguments& arguments, const char* kinds) {
  for (int i = 0; i < times; ++i) {
    Make(arguments, kinds);
  }
}

template <char kind, auto Make, auto... values>
void make(Arguments& arguments, const char*) {
  arguments.keep(kind, Make(values...));
}

// Adds members that are no lists, since lists nested at random may unroll to any length.
void fill_list(Arguments& arguments, const char*) {
  const int list = nx_make_list();
  arguments.keep('l', list);
  for (int i = 0; i < 350; ++i) {
    nx_add_to_list(-1 - arguments.below(300), list);
  }
}

void fill_table(Arguments& arguments, const char*) {
  const int handle = arguments.integer('g');
  for (int i = 0; i < 350; ++i) {
    arguments.keep_block(nx_object_calloc_new(handle, 1 + i % 3, 4, "grown"));
  }
}

void fill_function_list(Arguments& arguments, const char*) {
  const int list = nx_make_function_list();
  arguments.keep('f', list);
  for (int i = 0; i < 70; ++i) {
    nx_add_gradient_function_to_list_double(Callback<nx_gradient_term_double>::of(0), 0, list);
  }
}

void make_objects(Arguments& arguments, const char* kinds) {
  nxi_register_object(20, "grown", 8, 2);
  grow<60, call_make_object>(arguments, kinds);
}

void add_variables(Arguments& arguments, const char*) {
  for (int i = 0; i < 70; ++i) {
    nxi_AddVariableToTable(std::to_string(arguments.below(1000)).c_str(), i);
  }
}

void queue_messages(Arguments&, const char*) {
  for (int i = 0; i < 400; ++i) {
    nxi_err("an error that is told again and again\n");
    nxi_warn("and a warning\n");
  }
}

}  // namespace

std::vector<Entry> growing_calls() {
  return {
      {"nx_make_list", "", grow<1100, make<'l', nx_make_list>>},
      {"nx_add_to_list", "", grow<3, fill_list>},
      {"nx_malloc", "", grow<1100, call_malloc>},
      {"nx_object_calloc_new", "", grow<3, fill_table>},
      {"nx_make_molecule", "", grow<250, make<'m', nx_make_molecule>>},
      {"nxi_make_object", "", make_objects},
      {"nxi_open_file", "", grow<40, call_open<nxi_open_file>>},
      {"nx_make_function_list", "", grow<80, make<'f', nx_make_function_list>>},
      {"nx_add_gradient_function_to_list_double", "", fill_function_list},
      {"nx_init_opt", "", grow<80, make<'o', nx_init_opt, 3, nullptr>>},
      {"nx_make_rseq", "", grow<80, make<'r', nx_make_rseq>>},
      {"nxi_AddVariableToTable", "", add_variables},
      {"nxi_err", "", queue_messages},
  };
}

std::vector<Entry> special_calls() {
  return {
      {"nxi_error", "", [](Arguments& from, const char*) { nxi_error("%s\n", from.one_in(2) ? "a" : "b %d"); }},
      {"nxi_warning", "", [](Arguments& from, const char*) { nxi_warning("%d %s\n", from.integer('i'), "w"); }},
      {"nxi_error_print", "", [](Arguments& from, const char*) { nxi_error_print("%300d\n", from.integer('i')); }},
      {"nxi_warning_print", "", [](Arguments& from, const char*) { nxi_warning_print("%f\n", from.number()); }},
      {"nx_printf", "", [](Arguments& from, const char*) { nx_printf(from.integer('h'), "%d %s\n", 1, "x"); }},
      {"nxi_fopen", "", call_open<nxi_fopen>},
      {"nxi_open_file", "", call_open<nxi_open_file>},
      {"nxi_unroll_list", "", call_unroll_list},
      {"nx_delete", "", call_delete},
      {"nxi_register_object", "", call_register_object},
      {"nxi_make_object", "", call_make_object},
      {"nx_malloc", "", call_malloc},
      {"nx_calloc", "", call_calloc},
      {"nx_realloc", "", call_realloc},
      {"nx_free", "", call_free},
      {"nx_free_all_memory", "", call_free_all_memory},
      {"clear_memory_system", "", call_clear_memory_system},
      {"nx_free_object_memory", "", call_free_object_memory},
      {"nxi_add_memory_table", "", call_add_memory_table},
      {"nxi_delete_all_memory_tables", "", call_delete_all_memory_tables},
      {"nxi_attach_pointer_to_object", "", call_attach_pointer_to_object},
      {"nxi_set_memstrict", "", call_set_memstrict},
      {"nxi_ScanLine", "", call_ScanLine},
  };
}

}  // namespace driver
