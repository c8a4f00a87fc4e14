// State of the tracked allocator, for its tests.
#ifndef NXBRIOCHEM_OBJECTS_MEMORY_STATE_H
#define NXBRIOCHEM_OBJECTS_MEMORY_STATE_H

#include <cstdint>

namespace memory {

extern void** pnt_list;
extern uint64_t* pnt_size;
extern int64_t* freed_list;
extern int32_t pnt_num;
extern int32_t last_freed;
extern int32_t pnt_list_size;
extern int nx_strict_memory;
extern int64_t check_size;

}  // namespace memory

#endif
