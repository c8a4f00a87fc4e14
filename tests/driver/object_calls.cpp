// Calls of the error queues, files, lists, the registry and the printing function.
#include <nxbriochem/nxbriochem.h>

#include "tests/driver/calls.h"

namespace driver {
namespace {

void call_error(Arguments& arguments, const char*) { nxi_error("%s\n", arguments.one_in(2) ? "a" : "b %d"); }
void call_warning(Arguments& arguments, const char*) { nxi_warning("%d %s\n", arguments.integer('i'), "w"); }
void call_error_print(Arguments& arguments, const char*) { nxi_error_print("%300d\n", arguments.integer('i')); }
void call_warning_print(Arguments& arguments, const char*) { nxi_warning_print("%f\n", arguments.number()); }
void call_printf(Arguments& arguments, const char*) { nx_printf(arguments.integer('h'), "%d %s\n", 1, "x"); }

template <auto Open>
void open(Arguments& arguments) {
  static constexpr const char* kModes[] = {"r", "w", "a", "no mode"};
  const char* const path = arguments.text('p');
  arguments.keep_stream(Open(path, arguments.one_in(40) ? nullptr : kModes[arguments.below(4)]));
}
void call_fopen(Arguments& arguments, const char*) { open<nxi_fopen>(arguments); }
void call_open_file(Arguments& arguments, const char*) { open<nxi_open_file>(arguments); }

void call_delete(Arguments& arguments, const char*) {
  int handle = arguments.integer('g');
  nx_delete(arguments.one_in(40) ? nullptr : &handle);
}

// Types of the driver's own: another may not take the lists'.
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

}  // namespace

std::vector<Entry> object_calls() {
  return {
      // error.h
      ENTRY(nx_new_errors, ""),
      ENTRY(nx_new_warnings, ""),
      ENTRY(nx_number_of_errors, ""),
      ENTRY(nx_number_of_warnings, ""),
      ENTRY(nx_error_queue_memory, ""),
      ENTRY(nx_warning_queue_memory, ""),
      ENTRY(nx_number_of_errors_with_tag, "s"),
      ENTRY(nx_number_of_warnings_with_tag, "s"),
      ENTRY(nx_error_with_tag, "si"),
      ENTRY(nx_warning_with_tag, "si"),
      ENTRY(nx_print_all_errors, ""),
      ENTRY(nx_print_all_warnings, ""),
      ENTRY(nx_print_all_errors_warnings, ""),
      ENTRY(nx_print_all_warnings_errors, ""),
      ENTRY(nx_print_new_errors, ""),
      ENTRY(nx_print_new_warnings, ""),
      ENTRY(nx_print_error, "i"),
      ENTRY(nx_print_warning, "i"),
      ENTRY(nx_print_last_error, ""),
      ENTRY(nx_print_last_warning, ""),
      ENTRY(nx_error_debug_on, ""),
      ENTRY(nx_error_debug_off, ""),
      ENTRY(nx_suppress_error_printing, ""),
      ENTRY(nx_write_errors_to_file, "p"),
      ENDS(nx_exit, ""),
      ENTRY(nx_time_dependent_seed, ""),
      ENTRY(nxi_err, "s"),
      ENTRY(nxi_warn, "s"),
      SPECIAL(nxi_error, call_error),
      SPECIAL(nxi_warning, call_warning),
      SPECIAL(nxi_error_print, call_error_print),
      SPECIAL(nxi_warning_print, call_warning_print),
      // files.h
      SPECIAL(nxi_fopen, call_fopen),
      SPECIAL(nxi_open_file, call_open_file),
      ENTRY(nxi_fclose, "F"),
      ENTRY(nxi_close_file, "p"),
      ENTRY(nxi_fclose_all, ""),
      ENTRY(nxi_list_open_files, ""),
      ENTRY(nxi_list_files, ""),
      ENTRY(nxi_is_fopen, "F"),
      ENTRY(nxi_is_file_open, "p"),
      // list_obj.h
      ENTRY(nx_make_list, ":l"),
      ENTRY(nx_delete_list, "l"),
      ENTRY(nx_set_list_name, "sl"),
      ENTRY(nx_is_list_name_set, "l"),
      ENTRY(nx_get_list_name, "*l"),
      ENTRY(nx_get_list_length, "l"),
      ENTRY(nx_list_length, "l"),
      ENTRY(nx_get_list_length_of_type, "li"),
      ENTRY(nx_get_list_length_recurse, "l"),
      ENTRY(nx_is_handle_in_list, "hl"),
      ENTRY(nx_is_handle_in_list_recurse, "hl"),
      ENTRY(nx_add_to_list, "hl"),
      ENTRY(nx_delete_from_list, "hl"),
      ENTRY(nx_delete_current_from_list, "l"),
      ENTRY(nx_get_list_current_object, "*l"),
      ENTRY(nx_increment_list, "l"),
      ENTRY(nx_decrement_list, "l"),
      ENTRY(nx_go_to_list_start, "l"),
      ENTRY(nx_go_to_list_end, "l"),
      ENTRY(nx_go_to_list_object, "hl"),
      ENTRY(nx_make_urolled_list, "l"),
      SPECIAL(nxi_unroll_list, call_unroll_list),
      // obj_man.h
      SPECIAL(nx_delete, call_delete),
      ENTRY(nx_set_print_status, "wg"),
      ENTRY(nx_get_print_status, "g"),
      ENTRY(obj_sys_init, ""),
      SPECIAL(nxi_register_object, call_register_object),
      ENTRY(register_handles, ""),
      SPECIAL(nxi_make_object, call_make_object),
      ENTRY(nxi_translate_handle, "g"),
      ENTRY(nxi_return_type_of_handle, "g"),
      ENTRY(nxi_object_type_name, "g"),
      ENTRY(nxi_get_memory_handle, "g"),
      ENTRY(nxi_get_number_of_objects_of_type, "i"),
      ENTRY(nxi_get_allocated_space_for_objects_of_type, "i"),
      ENTRY(nxi_delete_object, "g"),
      ENTRY(nxi_monitor_make, ""),
      ENTRY(print_handle_list, ""),
      ENDS(nxi_error_handler, "i"),
      // print.h
      SPECIAL(nx_printf, call_printf),
      ENTRY(nx_print_everything, ""),
      ENTRY(nx_print_nothing, ""),
      ENTRY(nx_print_by_handle, ""),
  };
}

}  // namespace driver
