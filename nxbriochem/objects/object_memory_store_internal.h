// The store of the memory tables: their records, entries and indexes. It returns pointers and codes and prints nothing;
// messages about tables and blocks are printed by the sources above it. It ends the process only when memory runs out.
// Not exported.
#ifndef NXBRIOCHEM_OBJECTS_OBJECT_MEMORY_STORE_INTERNAL_H
#define NXBRIOCHEM_OBJECTS_OBJECT_MEMORY_STORE_INTERNAL_H

#include <cstdint>

#include <nxbriochem/objects/object_memory_state.h>

namespace object_memory {

// ---- Tables ----

// The place in `memtab` of the table with exactly this handle, or -1.
int32_t index_of_table(int32_t handle);
// Makes an empty table at the end of `memtab`.
Table& append_table(int32_t handle, int32_t owner);
// Takes an emptied table out of `memtab`; those behind it move up.
void remove_table(int32_t index);
// Changes a table's handle.
void set_table_handle(Table& table, int32_t handle);
// Frees every block and the table's arrays, and leaves the table without entries.
void free_contents(Table& table);

// ---- Entries, in the order of their making ----

// A cleared entry at the table's end. Entries may move.
Entry& append_entry(Table& table, int owner);
// Takes an entry out. The others keep their order and their places until close_gaps.
void remove_entry(Table& table, Entry& entry);
// Closes the gaps that removed entries left, once there are more gaps than entries. Entries may move.
void close_gaps(Table& table);

// An entry's pointer and name must be changed by these functions only, since the index depends on them.
void set_pointer(Table& table, Entry& entry, void* pointer);
// Sets the name; only 40 characters count, and null is an empty name.
void set_name(Table& table, Entry& entry, const char* name);

// The first entry with a pointer, and the next one with the same pointer; null where there is none, and for a null
// pointer.
struct Found {
  Entry* first;
  Entry* second;
};
Found find_pointer(Table& table, const void* pointer);
// The first entry of a name, or null.
Entry* find_name(Table& table, const char* name);

// Calls visit(entry, number) for every entry in order, numbered from 0. The visit may remove the entry.
template <class Visit>
void each_entry(const Table& table, Visit visit) {
  int32_t number = 0;
  for (int32_t slot = 0; slot < table.slots; ++slot) {
    if (!table.entries[slot].gone) {
      visit(table.entries[slot], number++);
    }
  }
}

// Queues and prints a text, prints the memory report, and ends the process with exit status 7.
[[noreturn]] void exit_out_of_memory(const char* text);

}  // namespace object_memory

#endif
