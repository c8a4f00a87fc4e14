// Saving, reading and copying tables.
//
// A saved table is a sequence of 32-bit little-endian words: MEMTAB_REV, the table's fields from count to owner, pack
// capacity and pack used, then per entry MEMENT_REV, allocated, the name (40 bytes), the initial pointer (8 bytes),
// used, element size, high and low seed, low and high pad, state, reserved, owner, and the block's allocated bytes. The
// pack store itself is not saved, so pads do not survive; their fields do.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <nxbriochem/objects/obj_man_tables_internal.h>
#include <nxbriochem/objects/object_memory.h>
#include <nxbriochem/objects/object_memory_store_internal.h>
#include <nxbriochem/objects/object_memory_tables_internal.h>

namespace object_memory {
namespace {

// A block is read in pieces of this size, so that a file that lies about a size costs no more memory than it has bytes.
constexpr std::size_t kPieceSize = std::size_t{1} << 20;

constexpr int kWordSize = 4;
constexpr int kPointerSize = 8;

constexpr std::array kTableFields = {&Table::count,      &Table::capacity,   &Table::total,         &Table::print_flag,
                                     &Table::strictness, &Table::auto_check, &Table::in_check,      &Table::padding,
                                     &Table::handle,     &Table::owner,      &Table::pack_capacity, &Table::pack_used};

// The fields that follow the name and the initial pointer.
constexpr std::array kEntryFields = {&Entry::used,     &Entry::element_size, &Entry::high_seed,
                                     &Entry::low_seed, &Entry::low_pad,      &Entry::high_pad,
                                     &Entry::state,    &Entry::reserved,     &Entry::owner};

// Checks the layout above at compile time: the number of bytes before the first entry and before each block, and that
// the words are in the order of the records' fields.
template <class Record, std::size_t kCount>
constexpr bool counts_from_1(const Record& record, const std::array<int32_t Record::*, kCount>& fields) {
  for (std::size_t i = 0; i < kCount; ++i) {
    if (record.*fields[i] != static_cast<int32_t>(i) + 1) {
      return false;
    }
  }
  return true;
}
static_assert(kWordSize * (1 + kTableFields.size()) == 52);
static_assert(kWordSize * 2 + kNameSize + kPointerSize + kWordSize * kEntryFields.size() == 92);
static_assert(counts_from_1(Table{nullptr, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, nullptr, 11, 12, 0, 0, 0, 0, nullptr},
                            kTableFields));
static_assert(counts_from_1(Entry{nullptr, 0, "", nullptr, 1, 2, 3, 4, 5, 6, 7, 8, 9, nullptr, false, false},
                            kEntryFields));

class Writer {
 public:
  explicit Writer(std::FILE* stream) : stream_(stream) {}

  void bytes(const void* data, std::size_t size) {
    good_ = good_ && (size == 0 || std::fwrite(data, 1, size, stream_) == size);
  }
  void integer(uint64_t value, int size) {
    std::array<unsigned char, 8> little{};
    for (std::size_t i = 0; i < little.size(); ++i) {
      little[i] = static_cast<unsigned char>(value >> (8 * i));
    }
    bytes(little.data(), static_cast<std::size_t>(size));
  }
  void word(int32_t value) { integer(static_cast<uint32_t>(value), kWordSize); }
  bool good() const { return good_; }

 private:
  std::FILE* stream_;
  bool good_ = true;
};

class Reader {
 public:
  explicit Reader(std::FILE* stream) : stream_(stream) {}

  bool bytes(void* data, std::size_t size) {
    good_ = good_ && (size == 0 || std::fread(data, 1, size, stream_) == size);
    return good_;
  }
  uint64_t integer(int size) {
    std::array<unsigned char, 8> little{};
    bytes(little.data(), static_cast<std::size_t>(size));
    uint64_t value = 0;
    for (std::size_t i = little.size(); i-- > 0;) {
      value = (value << 8) | little[i];
    }
    return value;
  }
  int32_t word() { return static_cast<int32_t>(static_cast<uint32_t>(integer(kWordSize))); }
  bool good() const { return good_; }

 private:
  std::FILE* stream_;
  bool good_ = true;
};

void write_entry(Writer& out, const Entry& entry) {
  out.word(MEMENT_REV);
  out.word(entry.allocated);
  out.bytes(entry.name, kNameSize);
  out.integer(reinterpret_cast<uintptr_t>(entry.initial_pointer), kPointerSize);
  for (const auto field : kEntryFields) {
    out.word(entry.*field);
  }
  out.bytes(entry.pointer, static_cast<std::size_t>(entry.allocated));
}

// Only impossible sizes are refused. Every other word is kept as read and written back: totals, levels, pads, states
// and the size of the pack store.
bool is_plausible(const Entry& entry) { return entry.allocated >= 0 && entry.used >= 0 && entry.element_size >= 0; }

bool is_plausible(const Table& table) { return table.count >= 0 && table.capacity >= 0; }

// The block's bytes in plain memory; null when the stream ends before them.
void* read_block(Reader& in, int32_t size) {
  const auto wanted = static_cast<std::size_t>(size);
  unsigned char* block = nullptr;
  for (std::size_t have = 0; have < wanted || block == nullptr;) {
    const std::size_t piece = std::min(kPieceSize, wanted - have);
    auto* grown = static_cast<unsigned char*>(std::realloc(block, std::max<std::size_t>(have + piece, 1)));
    if (grown == nullptr || !in.bytes(grown + have, piece)) {
      std::free(grown == nullptr ? block : grown);
      return nullptr;
    }
    block = grown;
    have += piece;
  }
  return block;
}

bool read_entry(Reader& in, Entry& entry) {
  entry.allocated = in.word();
  in.bytes(entry.name, kNameSize);
  entry.name[kNameSize] = '\0';
  // The initial pointer is a value to be shown, never used as an address. NOLINTNEXTLINE(performance-no-int-to-ptr)
  entry.initial_pointer = reinterpret_cast<void*>(static_cast<uintptr_t>(in.integer(kPointerSize)));
  for (const auto field : kEntryFields) {
    entry.*field = in.word();
  }
  if (!in.good() || !is_plausible(entry)) {
    return false;
  }
  entry.block = read_block(in, entry.allocated);
  entry.pointer = entry.block;
  entry.pads_stand = false;
  return entry.block != nullptr;
}

// Reads the entries of `table`, whose fields are read already.
bool read_entries(Reader& in, Table& table) {
  const int32_t promised = table.count;
  const int32_t capacity = table.capacity;
  table.count = 0;
  for (int32_t i = 0; i < promised; ++i) {
    const int32_t revision = in.word();
    if (!in.good()) {
      return false;
    }
    Entry& entry = append_entry(table, table.owner);
    // An entry of another revision is skipped without reading it.
    if (revision == MEMENT_REV && !read_entry(in, entry)) {
      return false;
    }
  }
  table.capacity = capacity;
  return true;
}

// Replaces the contents of `to` by a table. Its pack store is still empty; see save_pad.
void replace(Table& to, Table& from, int table_handle) {
  free_contents(to);
  set_table_handle(to, table_handle);
  from.handle = table_handle;
  from.pack = nullptr;
  from.pack_room = 0;
  to = from;
}

// Entries and duplicated blocks of a table.
void copy_entries(const Table& from, Table& to) {
  each_entry(from, [&to](const Entry& original, int32_t) {
    Entry& entry = append_entry(to, 0);
    entry = original;
    entry.pads_stand = false;
    entry.block = nullptr;
    if (entry.pointer != nullptr) {
      entry.block = std::malloc(static_cast<std::size_t>(std::max(entry.allocated, 1)));
      if (entry.block == nullptr) {
        char text[128];
        std::snprintf(text, sizeof text, "out of memory mallocing %d for %s!\n", entry.allocated, entry.name);
        exit_out_of_memory(text);
      }
      std::memcpy(entry.block, entry.pointer, static_cast<std::size_t>(entry.allocated));
    }
    entry.pointer = entry.block;
  });
}

}  // namespace
}  // namespace object_memory

using namespace object_memory;

int nxi_write_memory_table(FILE* stream, int handle) {
  const Table* table = find_table(handle);
  if (table == nullptr || stream == nullptr) {
    return 0;
  }
  Writer out(stream);
  out.word(MEMTAB_REV);
  for (const auto field : kTableFields) {
    out.word(table->*field);
  }
  each_entry(*table, [&out](const Entry& entry, int32_t) { write_entry(out, entry); });
  return static_cast<int>(out.good());
}

int nxi_read_memory_table(FILE* stream, int handle) {
  const int index = nxi_get_memory_table(handle);
  if (index < 0 || stream == nullptr || obj_man::is_registry_table(memtab[index]->handle)) {
    return 0;
  }
  Reader in(stream);
  const int32_t revision = in.word();
  if (!in.good()) {
    return 0;
  }
  if (revision != MEMTAB_REV) {
    return 1;
  }
  Table table{};
  for (const auto field : kTableFields) {
    table.*field = in.word();
  }
  if (!in.good() || !is_plausible(table)) {
    return 0;
  }
  if (!read_entries(in, table)) {
    free_contents(table);
    return 0;
  }
  replace(*memtab[index], table, handle);
  return 1;
}

int nxi_copy_memory_table(int source, int destination) {
  const int from = nxi_get_memory_table(source);
  const int to = nxi_get_memory_table(destination);
  if (from < 0 || to < 0 || obj_man::is_registry_table(memtab[to]->handle)) {
    return 0;
  }
  if (from == to) {
    set_table_handle(*memtab[to], destination);
    return 1;
  }
  Table copy = *memtab[from];
  copy.entries = nullptr;
  copy.count = 0;
  copy.slots = 0;
  copy.room = 0;
  copy.index = nullptr;
  copy_entries(*memtab[from], copy);
  copy.capacity = memtab[from]->capacity;
  replace(*memtab[to], copy, destination);
  return 1;
}
