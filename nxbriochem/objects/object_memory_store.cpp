// Look-ups are defined as scans: of the tables by handle, of a table's entries by pointer or by name, first to last.
// Indexes give the same answers.
//
// A removed entry leaves a gap in its table's array, and gaps are closed when there are more of them than entries, so
// that removing a block does not move the others each time. A table of few entries has no index. That of a larger one
// is made at its first look-up and dropped when gaps are closed.
#include <nxbriochem/objects/object_memory_store_internal.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <string>
#include <unordered_map>
#include <vector>

#include <nxbriochem/objects/codes_internal.h>
#include <nxbriochem/objects/memory_owners_internal.h>
#include <nxbriochem/objects/plain_heap_internal.h>
#include <nxbriochem/util/never_destroyed_internal.h>
#include <nxbriochem/util/slot_index_internal.h>

namespace object_memory {

Table** memtab = nullptr;
int32_t MemTabNum = 0;
int32_t MemTabAll = 0;

namespace {

template <class T>
using Slots = std::vector<T, objects::PlainHeap<T>>;
using Name = std::basic_string<char, std::char_traits<char>, objects::PlainHeap<char>>;

struct NameHash {
  std::size_t operator()(const Name& name) const { return std::hash<std::string_view>()(name); }
};

Name name_of(const char* text) { return {text, strnlen(text, kNameSize)}; }

}  // namespace

// The index of a table's entries. Slots are places in its array.
struct Index {
  util::SlotIndex<const void*, objects::PlainHeap> pointers;

  // For each name a heap of slots, lowest on top. A slot whose entry was removed or renamed is dropped when it comes to
  // the top. Made at the first search for a name.
  std::unordered_map<Name, Slots<int32_t>, NameHash, std::equal_to<>,
                     objects::PlainHeap<std::pair<const Name, Slots<int32_t>>>>
      names;
  bool has_names = false;
  int32_t pushes = 0;

  void push(const char* name, int32_t slot) {
    Slots<int32_t>& heap = names[name_of(name)];
    heap.push_back(slot);
    std::push_heap(heap.begin(), heap.end(), std::greater<>());
    ++pushes;
  }
};

namespace {

constexpr int32_t kTablesIncrement = 10;
constexpr int32_t kEntriesIncrement = 100;
constexpr int32_t kScannedEntries = 24;  // up to here a scan is as fast as an index

// The number of tables for which memtab has room. The documented capacity grows by ten; the real room doubles, like
// that of the entries.
int32_t tables_room = 0;

constinit util::NeverDestroyed<util::SlotIndex<int32_t, objects::PlainHeap>> table_index_storage;
constinit auto& table_index = *table_index_storage;

template <class T>
bool grow(T*& list, int32_t room) {
  void* grown = std::realloc(list, sizeof(T) * static_cast<std::size_t>(room));
  if (grown != nullptr) {
    list = static_cast<T*>(grown);
  }
  return grown != nullptr;
}

int32_t slot_of(const Table& table, const Entry& entry) { return static_cast<int32_t>(&entry - table.entries); }

void drop_index(Table& table) {
  if (table.index != nullptr) {
    table.index->~Index();
    std::free(table.index);
    table.index = nullptr;
  }
}

// The table's index, made if need be; null for a table that is scanned.
Index* index_of_entries(Table& table) {
  if (table.index == nullptr && table.slots > kScannedEntries) {
    auto* index = new (objects::PlainHeap<Index>().allocate(1)) Index;
    index->pointers.reset(static_cast<std::size_t>(table.count));
    each_entry(table, [&table, index](const Entry& entry, int32_t) {
      if (entry.pointer != nullptr) {
        index->pointers.insert(entry.pointer, slot_of(table, entry));
      }
    });
    table.index = index;
  }
  return table.index;
}

bool has_name(const Entry& entry, const char* name) { return std::strncmp(entry.name, name, kNameSize) == 0; }

void make_names(Table& table, Index& index) {
  index.names.clear();
  index.pushes = 0;
  each_entry(table, [&](const Entry& entry, int32_t) { index.push(entry.name, slot_of(table, entry)); });
  index.has_names = true;
}

}  // namespace

// ---- Tables ----

int32_t index_of_table(int32_t handle) { return table_index.find_highest(handle); }

Table& append_table(int32_t handle, int32_t owner) {
  const char* const exhausted = "out of memory mallocing the memory table!\n";
  if (MemTabNum == MemTabAll) {
    MemTabAll += kTablesIncrement;
    if (MemTabAll > tables_room) {
      const int32_t room = std::max(MemTabAll, 2 * tables_room);
      if (!grow(memtab, room)) {
        exit_out_of_memory(exhausted);
      }
      tables_room = room;
    }
  }
  auto* table = static_cast<Table*>(std::calloc(1, sizeof(Table)));
  if (table == nullptr) {
    exit_out_of_memory(exhausted);
  }
  table->handle = handle;
  table->owner = owner;
  table_index.insert(handle, MemTabNum);
  memtab[MemTabNum++] = table;
  return *table;
}

void remove_table(int32_t index) {
  const int32_t handle = memtab[index]->handle;
  std::free(memtab[index]);
  std::move(memtab + index + 1, memtab + MemTabNum, memtab + index);
  MemTabNum -= 1;
  table_index.close_gap(handle, index, MemTabNum, [](int32_t i) { return memtab[i]->handle; });
}

void set_table_handle(Table& table, int32_t handle) {
  const auto index = static_cast<int32_t>(std::find(memtab, memtab + MemTabNum, &table) - memtab);
  table_index.erase(table.handle, index);
  table.handle = handle;
  table_index.insert(handle, index);
}

void free_contents(Table& table) {
  each_entry(table, [](const Entry& entry, int32_t) { std::free(entry.block); });
  drop_index(table);
  std::free(table.entries);
  std::free(table.pack);
  table.entries = nullptr;
  table.pack = nullptr;
  table.pack_room = 0;
  table.count = 0;
  table.capacity = 0;
  table.slots = 0;
  table.room = 0;
}

// ---- Entries ----

Entry& append_entry(Table& table, int owner) {
  if (table.count >= table.capacity) {
    table.capacity += kEntriesIncrement;
  }
  if (table.slots == table.room) {
    const int32_t room = std::max(kEntriesIncrement, 2 * table.room);
    if (!grow(table.entries, room)) {
      exit_out_of_memory("out of memory mallocing the memory table entries!\n");
    }
    table.room = room;
  }
  Entry& entry = table.entries[table.slots++];
  table.count += 1;
  entry = Entry{};
  entry.owner = owner;
  return entry;
}

void remove_entry(Table& table, Entry& entry) {
  set_pointer(table, entry, nullptr);
  entry.gone = true;
  table.count -= 1;
  while (table.slots > 0 && table.entries[table.slots - 1].gone) {
    --table.slots;
  }
}

void close_gaps(Table& table) {
  if (table.slots - table.count <= std::max(table.count, kScannedEntries)) {
    return;
  }
  drop_index(table);
  Entry* const end = std::remove_if(table.entries, table.entries + table.slots, [](const Entry& e) { return e.gone; });
  table.slots = static_cast<int32_t>(end - table.entries);
}

void set_pointer(Table& table, Entry& entry, void* pointer) {
  if (table.index != nullptr && pointer != entry.pointer) {
    if (entry.pointer != nullptr) {
      table.index->pointers.erase(entry.pointer, slot_of(table, entry));
    }
    if (pointer != nullptr) {
      table.index->pointers.insert(pointer, slot_of(table, entry));
    }
  }
  entry.pointer = pointer;
}

void set_name(Table& table, Entry& entry, const char* name) {
  // The field is filled with zeros after the name, because all of it goes into a saved table.
  char field[kNameSize] = {};
  std::strncpy(field, name == nullptr ? "" : name, kNameSize);
  const bool same = std::memcmp(entry.name, field, kNameSize) == 0;
  std::memcpy(entry.name, field, kNameSize);
  // A new entry has an empty name that was never entered.
  if (table.index != nullptr && table.index->has_names && (!same || entry.name[0] == '\0')) {
    table.index->push(entry.name, slot_of(table, entry));
  }
}

Found find_pointer(Table& table, const void* pointer) {
  Found found{nullptr, nullptr};
  if (pointer == nullptr) {
    return found;
  }
  if (const Index* index = index_of_entries(table)) {
    int32_t first = table.slots;
    int32_t second = table.slots;
    index->pointers.each(pointer, [&first, &second](int32_t slot) {
      second = slot < first ? first : std::min(second, slot);
      first = std::min(first, slot);
    });
    found.first = first < table.slots ? &table.entries[first] : nullptr;
    found.second = second < table.slots ? &table.entries[second] : nullptr;
    return found;
  }
  each_entry(table, [&found, pointer](Entry& entry, int32_t) {
    if (entry.pointer == pointer) {
      Entry*& place = found.first == nullptr ? found.first : found.second;
      place = place == nullptr ? &entry : place;
    }
  });
  return found;
}

Entry* find_name(Table& table, const char* name) {
  Index* index = index_of_entries(table);
  if (index == nullptr) {
    Entry* found = nullptr;
    each_entry(table, [&found, name](Entry& entry, int32_t) {
      if (found == nullptr && has_name(entry, name)) {
        found = &entry;
      }
    });
    return found;
  }
  if (!index->has_names || index->pushes > 2 * table.slots + kEntriesIncrement) {
    make_names(table, *index);  // slots that were dropped from no top yet are left behind
  }
  const auto known = index->names.find(name_of(name));
  if (known == index->names.end()) {
    return nullptr;
  }
  Slots<int32_t>& heap = known->second;
  while (!heap.empty()) {
    const int32_t slot = heap.front();
    if (slot < table.slots && !table.entries[slot].gone && has_name(table.entries[slot], name)) {
      return &table.entries[slot];
    }
    std::pop_heap(heap.begin(), heap.end(), std::greater<>());
    heap.pop_back();
  }
  return nullptr;
}

void exit_out_of_memory(const char* text) { memory::end_exhausted(objects::kObjectMemoryExhausted, text, "*******\n"); }

}  // namespace object_memory
