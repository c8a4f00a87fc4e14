// Functions shared by the sources above the store of memory tables. Not exported.
#ifndef NXBRIOCHEM_OBJECTS_OBJECT_MEMORY_TABLES_INTERNAL_H
#define NXBRIOCHEM_OBJECTS_OBJECT_MEMORY_TABLES_INTERNAL_H

#include <cstdint>

#include <nxbriochem/objects/object_memory_state.h>

namespace object_memory {

enum Mode { kMalloc = 1, kCalloc = 2, kRealloc = 3 };

// The function behind every allocation; object_memory.h describes what it does.
void* malloc_Z(int handle, Mode mode, int element_size, void* old, int count, const char* name);

// The table of a handle, or null after the report of nxi_get_memory_table. Valid until the table is deleted.
Table* find_table(int handle);

// The table's entry of a pointer, or null. Ends the process when two entries have the pointer.
Entry* find_entry(Table& table, const void* pointer);
// As find_entry, by the table's handle. Prints the message when the table does not know the pointer.
Entry* find_entry_or_say(int handle, const void* pointer, const char* message);

// Frees an entry's block, prints the trace of the release, and removes the entry.
void release(Table& table, Entry& entry);
// The bounds check that the table's level asks for before a release.
void check_before_release(Table& table);

// Adds to the table's total of bytes.
void adjust_total(Table& table, int64_t difference);

// Draws from the module's own sequence.
uint32_t draw();

// Checks the pads of all blocks, prints the damaged ones with headings, and returns their number.
int check_bounds(Table& table);
// As check_bounds, without headings.
int check_bounds_silently(Table& table);

}  // namespace object_memory

#endif
