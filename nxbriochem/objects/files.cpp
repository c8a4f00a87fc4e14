// Entries are never removed or reused. A file closed by name keeps its tracked copy of the name; one closed by stream
// frees it. Since later listings still show the entry, its name then moves to plain memory.
//
// Finding an open entry is defined as a scan of the entries. Two indexes of the open ones give the same answer: by
// name, which no two open entries share, and by stream, for which the last entry counts.
#include <nxbriochem/objects/files.h>

#include <cstring>
#include <vector>

#include <nxbriochem/objects/files_state.h>
#include <nxbriochem/objects/memory.h>
#include <nxbriochem/objects/memory_owners_internal.h>
#include <nxbriochem/objects/plain_heap_internal.h>
#include <nxbriochem/objects/print.h>
#include <nxbriochem/util/never_destroyed_internal.h>
#include <nxbriochem/util/slot_index_internal.h>
#include <nxbriochem/util/text_hash_internal.h>

namespace files {

FileList filelist{0, 0, 0, nullptr};
int file_list_init = 0;

namespace {

constexpr uint32_t kIncrement = 10;
constexpr int32_t kNone = -1;

// The names, in plain memory, of files that were closed by stream.
constinit util::NeverDestroyed<std::vector<char*, objects::PlainHeap<char*>>> kept_names;

constinit util::NeverDestroyed<util::SlotIndex<uint64_t, objects::PlainHeap>> open_names_storage;  // by hash
constinit auto& open_names = *open_names_storage;
constinit util::NeverDestroyed<util::SlotIndex<const void*, objects::PlainHeap>> open_streams_storage;
constinit auto& open_streams = *open_streams_storage;

int64_t bytes_for(uint32_t entries) { return static_cast<int64_t>(entries) * static_cast<int64_t>(sizeof(Entry)); }

// The list outlives a release of all tracked memory: its files stay open, and nxi_fclose_all has to find them.
void save_list() {
  for (uint32_t i = 0; i < filelist.count; ++i) {
    memory::take_off_record(filelist.entries[i].name);
  }
  memory::take_off_record(filelist.entries);
}

void set_up() {
  if (file_list_init == 0) {
    filelist = {0, 0, kIncrement, static_cast<Entry*>(nx_malloc(bytes_for(kIncrement)))};
    file_list_init = 1;
    memory::before_all_freed(save_list);
  }
}

bool has_name(int32_t entry, const char* path) { return std::strcmp(filelist.entries[entry].name, path) == 0; }

// The open entry of a name, or kNone.
int32_t find_name(const char* path) {
  if (path == nullptr) {
    return kNone;
  }
  const int32_t found = open_names.find_highest(util::text_hash(path));
  if (found == kNone || has_name(found, path)) {
    return found;
  }
  // Another name has the same hash.
  for (uint32_t i = 0; i < filelist.count; ++i) {
    if (filelist.entries[i].open != 0 && has_name(static_cast<int32_t>(i), path)) {
      return static_cast<int32_t>(i);
    }
  }
  return kNone;
}

// The last open entry of a stream, or kNone.
int32_t find_stream(const std::FILE* stream) { return open_streams.find_highest(stream); }

void close_entry(int32_t at) {
  Entry& entry = filelist.entries[at];
  open_streams.erase(entry.stream, at);
  open_names.erase(util::text_hash(entry.name), at);
  std::fclose(entry.stream);
  gettimeofday(&entry.closed_at, nullptr);
  entry.open = 0;
  filelist.open_count -= 1;
}

void append(std::FILE* stream, const char* path) {
  if (filelist.count == filelist.capacity) {
    filelist.capacity += kIncrement;
    filelist.entries = static_cast<Entry*>(memory::grow_own(filelist.entries, bytes_for(filelist.capacity)));
  }
  const std::size_t size = std::strlen(path) + 1;
  Entry& entry = filelist.entries[filelist.count];
  entry = {stream, static_cast<char*>(nx_malloc(static_cast<int64_t>(size))), 1, {}, {}};
  std::memcpy(entry.name, path, size);
  gettimeofday(&entry.opened_at, nullptr);
  const auto at = static_cast<int32_t>(filelist.count);
  open_streams.insert(stream, at);
  open_names.insert(util::text_hash(path), at);
  filelist.count += 1;
  filelist.open_count += 1;
}

// A copy of a text in plain memory.
char* kept_copy(const char* text) {
  const std::size_t size = std::strlen(text) + 1;
  char* copy = objects::PlainHeap<char>().allocate(size);
  std::memcpy(copy, text, size);
  (*kept_names).push_back(copy);
  return copy;
}

}  // namespace
}  // namespace files

using namespace files;

FILE* nxi_fopen(const char* path, const char* mode) {
  if (path == nullptr || mode == nullptr) {
    return nullptr;
  }
  set_up();
  const int32_t found = find_name(path);
  if (found != kNone) {
    return filelist.entries[found].stream;
  }
  std::FILE* stream = std::fopen(path, mode);
  if (stream == nullptr) {
    nx_printf(0, "Failed to open file %s\n", path);
    return nullptr;
  }
  append(stream, path);
  return stream;
}

FILE* nxi_open_file(const char* path, const char* mode) { return nxi_fopen(path, mode); }

int nxi_fclose(FILE* stream) {
  const int32_t found = find_stream(stream);
  if (found == kNone) {
    return 0;
  }
  close_entry(found);
  Entry& entry = filelist.entries[found];
  char* tracked = entry.name;
  entry.name = kept_copy(tracked);
  memory::free_own(tracked);
  return 1;
}

int nxi_close_file(const char* path) {
  const int32_t found = find_name(path);
  if (found == kNone) {
    return 0;
  }
  close_entry(found);
  return 1;
}

int nxi_fclose_all(void) {
  if (file_list_init == 0) {
    return 0;
  }
  int closed = 0;
  for (uint32_t i = 0; i < filelist.count; ++i) {
    if (filelist.entries[i].open != 0) {
      close_entry(static_cast<int32_t>(i));
      nx_printf(0, "closing %s\n", filelist.entries[i].name);
      ++closed;
    }
  }
  if (closed > 1) {
    nx_printf(0, "closed %d files\n", closed);
  } else if (closed == 1) {
    nx_printf(0, "closed one file\n");
  }
  return 1;
}

int nxi_list_open_files(void) {
  for (uint32_t i = 0; i < filelist.count; ++i) {
    if (filelist.entries[i].open != 0) {
      nx_printf(0, "file %s is open\n", filelist.entries[i].name);
    }
  }
  return 1;
}

int nxi_list_files(void) {
  for (uint32_t i = 0; i < filelist.count; ++i) {
    const Entry& entry = filelist.entries[i];
    nx_printf(0, entry.open != 0 ? "file %s is open\n" : "file %s was opened\n", entry.name);
  }
  return 1;
}

int nxi_is_fopen(FILE* stream) { return static_cast<int>(find_stream(stream) != kNone); }

int nxi_is_file_open(const char* path) { return static_cast<int>(find_name(path) != kNone); }
