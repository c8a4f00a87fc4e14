// Reading: readers and their handles, and files read at once.
#include <nxbriochem/nxbriochem.h>
#include <nxbriochem/util/never_destroyed_internal.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "failure.h"
#include "molecule.h"
#include "nxbriofiles.h"
#include "records.h"
#include "reports.h"
#include "text.h"

namespace nxbrio::files {
namespace {

std::optional<Format> wanted_format(const std::string& name, const char* word) {
  if (word == nullptr || *word == '\0') {
    return std::nullopt;
  }
  const std::optional<Format> format = format_of_word(word);
  if (!format) {
    throw Failure(name, in_quotes(word) + " is no format word");
  }
  return format;
}

// A path, or bytes with a name.
struct Place {
  const char* name;
  const void* bytes;
  std::size_t size;
  bool in_memory;
};

Place file(const char* path) { return {path, nullptr, 0, false}; }
Place memory(const void* bytes, std::size_t size, const char* name) {
  return {name != nullptr ? name : "memory", bytes, size, true};
}

std::unique_ptr<Records> open(const Place& place, const char* format) {
  if (place.name == nullptr) {
    throw Failure("no path is given");
  }
  if (place.in_memory && place.bytes == nullptr && place.size > 0) {
    throw Failure(place.name, "no bytes are given");
  }
  const std::optional<Format> wanted = wanted_format(place.name, format);
  auto input = place.in_memory ? std::make_unique<Input>(
                                     place.name, std::string_view(static_cast<const char*>(place.bytes), place.size))
                               : std::make_unique<Input>(place.name);
  return std::make_unique<Records>(std::move(input), wanted);
}

// ---- At once ----

int read_first(const Place& place, const char* format) {
  return reported(place.name, 0, [&] {
    const auto records = open(place, format);
    if (!records->next()) {
      throw Failure(records->name(), "no atoms");
    }
    Structure structure = records->structure();
    std::size_t more = 1;
    while (records->next()) {
      records->check();
      ++more;
    }
    if (more > 1) {
      structure.notes.insert(structure.notes.begin(), formatted("the first of %zu models is read", more));
    }
    return make_molecule(std::move(structure), records->name());
  });
}

// Owns new molecules and deletes them unless they are kept.
class Handles {
 public:
  Handles() = default;
  Handles(const Handles&) = delete;
  Handles& operator=(const Handles&) = delete;
  ~Handles() {
    for (const int handle : handles_) {
      nx_delete_molecule(handle);
    }
  }
  void reserve_one() { handles_.reserve(handles_.size() + 1); }
  void add(int handle) { handles_.push_back(handle); }
  std::vector<int> keep() { return std::move(handles_); }

 private:
  std::vector<int> handles_;
};

int read_all(const Place& place, const char* format, int list) {
  constexpr int kListType = 2;
  return reported(place.name, 0, [&] {
    if (nxi_return_type_of_handle(list) != kListType) {
      throw Failure(formatted("%d is no list", list));
    }
    const auto records = open(place, format);
    Handles molecules;
    while (records->next()) {
      molecules.reserve_one();
      molecules.add(make_molecule(records->structure(), records->name()));
    }
    const std::vector<int> read = molecules.keep();
    if (read.empty()) {
      throw Failure(records->name(), "no atoms");
    }
    for (const int molecule : read) {
      nx_add_to_list(molecule, list);
    }
    return 1;
  });
}

// ---- Record by record ----

std::map<int, std::unique_ptr<Records>>& readers() {
  static util::NeverDestroyed<std::map<int, std::unique_ptr<Records>>> table;
  return *table;
}

int open_reader(const Place& place, const char* format) {
  return reported(place.name, 0, [&] {
    auto records = open(place, format);
    // The smallest number that is free.
    int number = 1;
    for (const auto& entry : readers()) {
      if (entry.first != number) {
        break;
      }
      ++number;
    }
    readers().emplace(number, std::move(records));
    return number;
  });
}

Records* find_reader(int reader) {
  const auto at = readers().find(reader);
  if (at == readers().end()) {
    char text[64];
    std::snprintf(text, sizeof text, "%d is no reader", reader);
    report(text);
    return nullptr;
  }
  return at->second.get();
}

}  // namespace
}  // namespace nxbrio::files

using namespace nxbrio;
using namespace nxbrio::files;

int nxf_read_molecule(const char* path, const char* format) { return read_first(file(path), format); }

int nxf_read_molecule_from_memory(const void* bytes, size_t size, const char* name, const char* format) {
  return read_first(memory(bytes, size, name), format);
}

int nxf_add_molecules_to_list(const char* path, const char* format, int list) {
  return read_all(file(path), format, list);
}

int nxf_add_molecules_to_list_from_memory(const void* bytes, size_t size, const char* name, const char* format,
                                          int list) {
  return read_all(memory(bytes, size, name), format, list);
}

int nxf_open_reader(const char* path, const char* format) { return open_reader(file(path), format); }

int nxf_open_memory_reader(const void* bytes, size_t size, const char* name, const char* format) {
  return open_reader(memory(bytes, size, name), format);
}

int nxf_read_record(int* mol, int reader) {
  if (mol == nullptr) {
    report("nxf_read_record: no place for the molecule is given");
    return 0;
  }
  *mol = 0;
  Records* const records = find_reader(reader);
  if (records == nullptr) {
    return 0;
  }
  const char* const name = records->name().c_str();
  const int found = reported(name, 0, [&] { return records->next() ? 1 : 0; });
  if (found == 1) {
    *mol = reported(name, 0, [&] { return make_molecule(records->structure(), records->name()); });
  }
  return found;
}

int nxf_skip_record(int reader) {
  Records* const records = find_reader(reader);
  if (records == nullptr) {
    return 0;
  }
  return reported(records->name().c_str(), 0, [&] {
    const int found = records->next() ? 1 : 0;
    if (records->failed()) {
      reported(records->name().c_str(), 0, [&] {
        records->check();
        return 0;
      });
    }
    return found;
  });
}

const char* nxf_record_text(size_t* size, int reader) {
  const Records* const records = find_reader(reader);
  const bool any = records != nullptr && records->number() > 0 && !records->failed();
  if (size != nullptr) {
    *size = any ? records->text().size() : 0;
  }
  return any ? records->text().c_str() : nullptr;
}

int nxf_record_number(int reader) {
  const Records* const records = find_reader(reader);
  return records != nullptr ? records->number() : 0;
}

size_t nxf_record_line(int reader) {
  const Records* const records = find_reader(reader);
  return records != nullptr ? records->line() : 0;
}

const char* nxf_reader_format(int reader) {
  const Records* const records = find_reader(reader);
  return records != nullptr ? format_word(records->format()) : nullptr;
}

int nxf_close_reader(int reader) {
  if (find_reader(reader) == nullptr) {
    return 0;
  }
  readers().erase(reader);
  return 1;
}
