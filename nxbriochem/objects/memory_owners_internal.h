// For modules of the library that keep state in tracked blocks. A program may free every tracked block at once, and the
// lenient path of nx_realloc may drop any block from the books. Not exported.
#ifndef NXBRIOCHEM_OBJECTS_MEMORY_OWNERS_INTERNAL_H
#define NXBRIOCHEM_OBJECTS_MEMORY_OWNERS_INTERNAL_H

#include <cstdint>

namespace memory {

// Registers a function that is called after nx_free_all_memory has freed all blocks: the module drops its pointers and
// starts over at its next use. Registering a function twice changes nothing.
void when_all_freed(void (*forget)());

// Keeps the text that `*text` points to when all tracked memory is freed: the block leaves the books, but lives on.
// Registering a variable twice changes nothing.
void keep_text(char* const* text);
// Frees a kept text that was taken off the books; one that is on them stays.
void free_if_untracked(void* block);

// As nx_realloc, for a module's own block: a block that dropped from the books is grown without a warning and goes back
// on them. The message queues need this: a warning of an unknown block needs room in them.
__attribute__((returns_nonnull)) void* grow_own(void* block, int64_t size);

// Queues and prints a text, prints the memory report with this last line (null: no report), and ends the process with
// the status. When the report itself runs out of memory, the first call's text and status decide.
[[noreturn]] void end_exhausted(int status, const char* text, const char* last_line);

}  // namespace memory

#endif
