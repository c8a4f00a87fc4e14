// State of the open-file registry, for its tests.
#ifndef NXBRIOCHEM_OBJECTS_FILES_STATE_H
#define NXBRIOCHEM_OBJECTS_FILES_STATE_H

#include <sys/time.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace files {

struct Entry {
  std::FILE* stream;
  char* name;
  int32_t open;
  timeval opened_at;
  timeval closed_at;
};
static_assert(offsetof(Entry, stream) == 0 && offsetof(Entry, name) == 8 && offsetof(Entry, open) == 16 &&
              offsetof(Entry, opened_at) == 24 && offsetof(Entry, closed_at) == 40 && sizeof(Entry) == 56);

struct FileList {
  uint32_t open_count;
  uint32_t count;
  uint32_t capacity;
  Entry* entries;
};

extern FileList filelist;
extern int file_list_init;

}  // namespace files

#endif
