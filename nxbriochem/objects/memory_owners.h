// Modules of the library that keep their own state in tracked blocks, and what becomes of it when a program frees every
// tracked block at once.
#ifndef NXBRIOCHEM_OBJECTS_MEMORY_OWNERS_H
#define NXBRIOCHEM_OBJECTS_MEMORY_OWNERS_H

namespace memory {

// Has `forget` called whenever nx_free_all_memory has freed all blocks, so that the module drops its pointers and
// starts anew at its next use. Naming the same function again changes nothing.
void when_all_freed(void (*forget)());

}  // namespace memory

#endif
