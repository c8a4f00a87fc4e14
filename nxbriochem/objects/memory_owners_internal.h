// For modules of the library that keep state in tracked blocks. A program may free every tracked block at once, and the
// lenient path of nx_realloc may drop the record of any block. Not exported.
#ifndef NXBRIOCHEM_OBJECTS_MEMORY_OWNERS_INTERNAL_H
#define NXBRIOCHEM_OBJECTS_MEMORY_OWNERS_INTERNAL_H

#include <cstdint>

namespace memory {

// Registers a function that is called after nx_free_all_memory has freed all blocks: the module drops its pointers and
// starts over at its next use. Registering a function twice changes nothing.
void when_all_freed(void (*forget)());

// Registers a function that is called before nx_free_all_memory frees all blocks. It calls take_off_record for the
// module's blocks that must stay. Registering a function twice changes nothing.
void before_all_freed(void (*save)());
// Removes the record of a block without freeing it. Does nothing for null and for a block that is not on record.
void take_off_record(void* block);

// As nx_realloc, for a module's own block: a block that is not on record is grown without a warning and recorded again.
// The message queues need this, since a warning about an unknown block needs room in them.
__attribute__((returns_nonnull)) void* grow_own(void* block, int64_t size);
// As nx_free, for a module's own block, which may be off record.
void free_own(void* block);
// Frees a module's own block if it is off record; one that is on record stays.
void free_if_untracked(void* block);

// Queues and prints a text, prints the memory report with this last line (null: no report), and ends the process with
// the status. When the report itself runs out of memory, the first call's text and status decide.
[[noreturn]] void end_exhausted(int status, const char* text, const char* last_line);

}  // namespace memory

#endif
