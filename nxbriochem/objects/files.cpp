// Entries are never removed or reused. A file closed by its stream gives its tracked name back, as closing by name does
// not; since later listings still show it, the entry keeps the name in plain memory from then on.
#include <nxbriochem/objects/files.h>

#include <cstring>
#include <forward_list>
#include <string>

#include <nxbriochem/objects/files_state.h>
#include <nxbriochem/objects/memory.h>
#include <nxbriochem/objects/memory_owners.h>
#include <nxbriochem/objects/plain_heap.h>
#include <nxbriochem/objects/print.h>

namespace files {

FileList filelist{0, 0, 0, nullptr};
int file_list_init = 0;

namespace {

constexpr uint32_t kIncrement = 10;

using Name = std::basic_string<char, std::char_traits<char>, objects::PlainHeap<char>>;

std::forward_list<Name, objects::PlainHeap<Name>> kept_names;

int64_t bytes_for(uint32_t entries) { return static_cast<int64_t>(entries) * static_cast<int64_t>(sizeof(Entry)); }

void forget_files() {
  filelist = {0, 0, 0, nullptr};
  file_list_init = 0;
}

void set_up() {
  if (file_list_init == 0) {
    filelist = {0, 0, kIncrement, static_cast<Entry*>(nx_malloc(bytes_for(kIncrement)))};
    file_list_init = 1;
    memory::when_all_freed(forget_files);
  }
}

template <class Match>
Entry* first_open(Match match) {
  for (uint32_t i = 0; i < filelist.count; ++i) {
    Entry& entry = filelist.entries[i];
    if (entry.open != 0 && match(entry)) {
      return &entry;
    }
  }
  return nullptr;
}

template <class Match>
Entry* last_open(Match match) {
  for (uint32_t i = filelist.count; i-- > 0;) {
    Entry& entry = filelist.entries[i];
    if (entry.open != 0 && match(entry)) {
      return &entry;
    }
  }
  return nullptr;
}

auto has_name(const char* path) {
  return [path](const Entry& entry) { return path != nullptr && std::strcmp(entry.name, path) == 0; };
}

auto has_stream(const std::FILE* stream) {
  return [stream](const Entry& entry) { return entry.stream == stream; };
}

void close(Entry& entry) {
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
  filelist.count += 1;
  filelist.open_count += 1;
}

}  // namespace
}  // namespace files

using namespace files;

FILE* nxi_fopen(const char* path, const char* mode) {
  if (path == nullptr || mode == nullptr) {
    return nullptr;
  }
  set_up();
  if (const Entry* entry = first_open(has_name(path))) {
    return entry->stream;
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
  Entry* entry = last_open(has_stream(stream));
  if (entry == nullptr) {
    return 0;
  }
  close(*entry);
  char* readable = kept_names.emplace_front(entry->name).data();
  nx_free(entry->name);
  entry->name = readable;
  return 1;
}

int nxi_close_file(const char* path) {
  Entry* entry = last_open(has_name(path));
  if (entry == nullptr) {
    return 0;
  }
  close(*entry);
  return 1;
}

int nxi_fclose_all(void) {
  if (file_list_init == 0) {
    return 0;
  }
  int closed = 0;
  while (Entry* entry = first_open([](const Entry&) { return true; })) {
    close(*entry);
    nx_printf(0, "closing %s\n", entry->name);
    ++closed;
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

int nxi_is_fopen(FILE* stream) { return static_cast<int>(first_open(has_stream(stream)) != nullptr); }

int nxi_is_file_open(const char* path) { return static_cast<int>(first_open(has_name(path)) != nullptr); }
