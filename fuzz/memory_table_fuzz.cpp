// Saved object memory tables. The input's first line holds what is done with each table that was read, a character
// each; the rest is a stream of saved tables, which are read in turn into the tables of two objects.
#include <nxbriochem/objects/list_obj.h>
#include <nxbriochem/objects/object_memory.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "fuzz/check.h"
#include "fuzz/exit_trap.h"

namespace {

using fuzz::check;

constexpr const char* kNames[] = {"coord", "names", "a", ""};

// A table, saved.
std::string saved(int handle) {
  char* bytes = nullptr;
  std::size_t size = 0;
  std::FILE* stream = open_memstream(&bytes, &size);
  check(nxi_write_memory_table(stream, handle) == 1, "a table can be saved");
  std::fclose(stream);
  std::string text(bytes, size);
  std::free(bytes);
  return text;
}

int read_from(std::string bytes, int handle) {
  std::FILE* stream = fmemopen(bytes.data(), bytes.size(), "r");
  const int status = nxi_read_memory_table(stream, handle);
  std::fclose(stream);
  return status;
}

// Every byte of a block can be read and written.
void touch(int handle, void* block) {
  const int used = nxi_mem_used_by(handle, block);
  check(used >= 0 && used <= nxi_mem_alloc_to(handle, block), "a block is at least as large as what is used");
  auto* bytes = static_cast<unsigned char*>(block);
  for (int i = 0; i < used; ++i) {
    bytes[i] = static_cast<unsigned char>(bytes[i] ^ 1U);
  }
}

void use(char what, int handle, int other) {
  const char* const name = kNames[static_cast<unsigned char>(what) / 16 % 4];
  void* const block = nxi_get_pointer_by_name(name, handle);
  switch (what % 16) {
    case 0:
      if (block != nullptr) {
        touch(handle, block);
        nxi_boundscheck_pnt(handle, block);
      }
      break;
    case 1:
      nx_object_realloc(handle, 5, 12, name, block);
      break;
    case 2:
      nx_object_calloc(handle, 3, 4, name, block);
      break;
    case 3:
      nx_free_object_memory(handle, block);
      break;
    case 4:
      check(nxi_boundscheck_all(handle) == 0, "what was read has no pads to damage");
      break;
    case 5:
      nxi_purge_memory_table(handle);
      break;
    case 6:
      check(nxi_copy_memory_table(handle, other) == 1, "a table can be copied");
      check(saved(handle).size() == saved(other).size(), "a copy is as large");
      break;
    case 7:
      nxi_set_memory_padding(handle, 1);
      check(nx_object_malloc_new(handle, 4, 4, name) != nullptr, "a padded block can be had");
      break;
    case 8:
      nxi_protect_memory(handle, block);
      nxi_attach_associated_pointer(handle, block);
      break;
    case 9:
      nxi_unprotect_memory(handle, block);
      nxi_unattach_associated_pointer(handle, block);
      break;
    case 10:
      nxi_print_all_allocated_memory();
      nxi_print_mem_alloc_ordered(handle);
      nxi_filter_print_mem_alloc(handle, name);
      break;
    case 11:
      nxi_mem_total(handle);
      nxi_set_auto_bndcheck(handle, 3);
      break;
    case 12:
      nxi_set_pnt_name(handle, block, "coord");
      break;
    case 13:
      nx_set_object_float("coord", handle, 1.0F);
      nx_set_object_integers(nx_object_integers(name, handle), name, handle);
      break;
    case 14:
      nx_object_malloc(handle, 2, 4, name, &handle);  // a pointer that no table knows
      break;
    default:
      check(read_from(saved(handle), other) == 1, "a table that was saved can be read");
  }
}

void read_and_use(std::string_view uses, std::string& stream_bytes, int one, int two) {
  std::FILE* stream = fmemopen(stream_bytes.data(), stream_bytes.size(), "r");
  int status = 1;
  // A call that wants to end the process ends the input, and what then stands on the stack is not destroyed.
  static std::string before;
  fuzz::returns([&] {
    for (int reads = 0; status == 1 && reads < 8 && std::feof(stream) == 0; ++reads) {
      before = saved(one);
      status = nxi_read_memory_table(stream, one);
      check(status == 1 || saved(one) == before, "a stream that is refused changes nothing");
      for (const char what : uses) {
        use(what, one, two);
      }
      std::swap(one, two);
    }
  });
  std::fclose(stream);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // What is printed goes nowhere.
  return std::freopen("/dev/null", "w", stdout) == nullptr ? 1 : 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  constexpr std::size_t kMostUses = 64;
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::size_t uses_end = std::min(input.find('\n'), size);
  std::string stream_bytes(input.substr(std::min(uses_end + 1, size)));
  if (stream_bytes.empty()) {
    return 0;
  }
  const uint32_t total = nxi_total_object_memory_allocated();
  const int one = nx_make_list();
  const int two = nx_make_list();
  read_and_use(input.substr(0, std::min(uses_end, kMostUses)), stream_bytes, one, two);
  check(nx_delete_list(one) == 1 && nx_delete_list(two) == 1, "the objects can be deleted");
  static bool warm = false;  // the registry's own arrays are made once
  check(!warm || nxi_total_object_memory_allocated() == total, "all blocks went with the objects");
  warm = true;
  return 0;
}
