// What the sources of object_memory share. Not exported.
#ifndef NXBRIOCHEM_OBJECTS_OBJECT_MEMORY_TABLES_H
#define NXBRIOCHEM_OBJECTS_OBJECT_MEMORY_TABLES_H

#include <cstdint>

#include <nxbriochem/objects/object_memory_state.h>

namespace object_memory {

enum Mode { kMalloc = 1, kCalloc = 2, kRealloc = 3 };

inline constexpr int32_t kTablesIncrement = 10;
inline constexpr int32_t kEntriesIncrement = 100;
inline constexpr int32_t kPackUnit = 100;

inline constexpr int kDuplicatePointerStatus = 3;
inline constexpr int kUnknownPointerStatus = 4;
inline constexpr int kOutOfMemoryStatus = 7;
inline constexpr int kNoUniqueHandleStatus = 208;

// The one function behind every allocation; see object_memory.h for what it does.
void* malloc_Z(int handle, Mode mode, int element_size, void* old, int count, const char* name);

// The table of a handle, or null after the report of nxi_get_memory_table. Valid until a table is added or deleted.
Table* find_table(int handle);

// The table's entry of a pointer, or null. Ends the process when two entries have the pointer.
Entry* find_entry(Table& table, const void* pointer);
// The same for a handle; the message is printed when the table does not know the pointer.
Entry* find_entry_or_say(int handle, const void* pointer, const char* message);

// A cleared entry at the table's end, of the given owner.
Entry& append_entry(Table& table, int owner);
void remove_entry(Table& table, int32_t index);
void set_name(Entry& entry, const char* name);

// Frees every block and the table's arrays, and leaves the table without entries. Nothing is printed.
void free_contents(Table& table);

// Draws from the module's own sequence.
uint32_t draw();
// To be called after a table's handle was changed or a table was moved.
void tables_changed();

// Queues and prints a text, prints the memory report, and ends the process with exit status 7.
[[noreturn]] void exit_out_of_memory(const char* text);

// The number of damaged blocks; what is damaged is printed, the rest only outside a silent check.
int check_bounds(Table& table);
// check_bounds without headings.
int check_bounds_silently(Table& table);

}  // namespace object_memory

#endif
