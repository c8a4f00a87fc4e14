// State of the object registry, for its tests.
#ifndef NXBRIOCHEM_OBJECTS_OBJ_MAN_STATE_H
#define NXBRIOCHEM_OBJECTS_OBJ_MAN_STATE_H

#include <cstddef>
#include <cstdint>

namespace obj_man {

struct Handle {
  int32_t handle;
  int32_t index;
  int32_t memory_table;
  int32_t type;
  int32_t print_status;
};
static_assert(sizeof(Handle) == 20, "the size of a handle record is part of the interface");
static_assert(offsetof(Handle, handle) == 0 && offsetof(Handle, index) == 4 && offsetof(Handle, memory_table) == 8 &&
              offsetof(Handle, type) == 12 && offsetof(Handle, print_status) == 16);

struct Type {
  void* objects;
  uint32_t size;
  uint32_t count;
  uint32_t allocated;
  uint32_t increment;
  char name[40];
  uint32_t registered;
};
static_assert(sizeof(Type) == 72 && offsetof(Type, objects) == 0 && offsetof(Type, size) == 8 &&
              offsetof(Type, count) == 12 && offsetof(Type, allocated) == 16 && offsetof(Type, increment) == 20 &&
              offsetof(Type, name) == 24 && offsetof(Type, registered) == 64);

extern Type ObjProp[256];
extern Handle* Handles;
extern int32_t HandlesNum;
extern int32_t HandlesAll;
extern int32_t OBJ_TABLE;
extern int32_t HashBitNum;
extern uint32_t HashBlank;
extern int32_t* HandleHash;
extern int32_t* HandleHashOcc;
extern int32_t obj_sys_init_status;
extern int random_sequence_handle;
extern uint32_t random_sequence_handle_set;
extern int32_t handle_overflow;
extern int32_t NX_MONITOR_MAKE;

}  // namespace obj_man

#endif
