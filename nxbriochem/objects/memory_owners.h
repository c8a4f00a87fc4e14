// For modules of the library that keep their own state in tracked blocks: a program may free every tracked block at
// once, and the lenient path of nx_realloc may drop any block from the books.
#ifndef NXBRIOCHEM_OBJECTS_MEMORY_OWNERS_H
#define NXBRIOCHEM_OBJECTS_MEMORY_OWNERS_H

#include <cstdint>

namespace memory {

// Has `forget` called whenever nx_free_all_memory has freed all blocks, so that the module drops its pointers and
// starts anew at its next use. Naming the same function again changes nothing.
void when_all_freed(void (*forget)());

// Keeps the text that `*text` points to when all tracked memory is freed: the block leaves the books, but lives on.
// Naming the same variable again changes nothing.
void keep_text(char* const* text);

// nx_realloc for a module's own block: when the block dropped from the books, it is grown without a word and goes back
// on them. The message queues could not grow otherwise: the warning of an unknown block needs room in them.
__attribute__((returns_nonnull)) void* grow_own(void* block, int64_t size);

// Queues and prints a text, prints the memory report with this last line (null: no report), and ends the process with
// the status. Called again from within, when the report itself finds no memory, it ends as the first call says.
[[noreturn]] void end_exhausted(int status, const char* text, const char* last_line);

}  // namespace memory

#endif
