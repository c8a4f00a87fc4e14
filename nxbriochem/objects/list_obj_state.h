// State of the lists, for their source and their tests.
#ifndef NXBRIOCHEM_OBJECTS_LIST_OBJ_STATE_H
#define NXBRIOCHEM_OBJECTS_LIST_OBJ_STATE_H

#include <cstddef>
#include <cstdint>

namespace list_obj {

// The fields and their order are part of the interface; `handle` fills a gap between them.
struct List {
  char name[80];
  int32_t name_set;
  int32_t* members;  // the list's block "list"
  int32_t length;
  int32_t capacity;
  int32_t current;
  int32_t handle;     // the list's own, which its memory is found by: an alias (see nxi_translate_handle) has no memory
  int32_t* unrolled;  // the list's block "ulist"
};
static_assert(sizeof(List) == 120, "the size of a list record is part of the interface");
static_assert(offsetof(List, name) == 0 && sizeof(List::name) == 80 && offsetof(List, name_set) == 80 &&
              offsetof(List, members) == 88 && offsetof(List, length) == 96 && offsetof(List, capacity) == 100 &&
              offsetof(List, current) == 104 && offsetof(List, unrolled) == 112);

extern List* list;  // all lists; the registry's array
extern int32_t obj_register;

}  // namespace list_obj

#endif
