#include <nxbriochem/toolkit/nxsystem.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unordered_map>
#include <utility>
#include <vector>

namespace NxSystem {
namespace {

constexpr int kFatalStatus = 1;

// Writes prefix and formatted text as one line. Standard output is flushed first, so that what a caller sees on the two
// streams is in the order in which it happened. A reporter must not fail: when memory for a long text is refused, the
// text is cut instead.
void Report(std::string_view prefix, const char* format, std::va_list arguments) {
  std::fflush(stdout);
  char short_line[512];
  const std::size_t used = prefix.copy(short_line, prefix.size());

  std::va_list again;
  va_copy(again, arguments);
  // The analyser does not see that the callers have started the list.
  // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
  const int wanted = std::vsnprintf(short_line + used, sizeof short_line - used - 1, format, arguments);
  char* line = short_line;
  std::size_t length = used;
  if (wanted > 0) {
    length += static_cast<std::size_t>(wanted);
    if (length + 2 > sizeof short_line) {
      line = static_cast<char*>(std::malloc(length + 2));
      if (line != nullptr) {
        prefix.copy(line, used);
        std::vsnprintf(line + used, length - used + 1, format, again);
      } else {
        line = short_line;
        length = std::strlen(short_line);
      }
    }
  }
  va_end(again);

  if (line[length - 1] != '\n') {
    line[length++] = '\n';
  }
  std::fwrite(line, 1, length, stderr);
  std::fflush(stderr);
  if (line != short_line) {
    std::free(line);
  }
}

// The tags given out so far: tag t belongs to names[t - 1]. Made on first use, never destroyed, so that objects with
// static lifetime may use tags while the process ends.
struct TagTable {
  std::unordered_map<std::string, int> tags;
  std::vector<std::string> names;
};

TagTable& Tags() {
  static auto* const table = new TagTable;
  return *table;
}

const char* TagName(int tag) {
  const auto& names = Tags().names;
  return tag >= 1 && static_cast<std::size_t>(tag) <= names.size() ? names[static_cast<std::size_t>(tag) - 1].c_str()
                                                                   : "unnamed";
}

const char* TypeName(NxDataType type) {
  switch (type) {
    case NxDataType::Int:
      return "int";
    case NxDataType::Float:
      return "float";
    case NxDataType::Double:
      return "double";
    case NxDataType::Char:
      return "char";
    case NxDataType::String:
      return "string";
  }
  return "unknown";
}

}  // namespace

NxErrorHandler NxThrow;

void NxErrorHandler::Warning(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  Report("Warning: ", format, arguments);
  va_end(arguments);
}

void NxErrorHandler::Error(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  Report("Error: ", format, arguments);
  va_end(arguments);
}

void NxErrorHandler::Fatal(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  Report("Fatal: ", format, arguments);
  va_end(arguments);
  std::exit(kFatalStatus);
}

void NxAssertionFailed(int line, const char* unit) {
  NxThrow.Fatal("Assertion failed at line %d of %s.\n", line, unit);
}

int NxGetTag(const char* name) {
  if (name == nullptr) {
    return 0;
  }
  TagTable& table = Tags();
  const auto [at, is_new] = table.tags.try_emplace(name, static_cast<int>(table.names.size()) + 1);
  if (is_new) {
    table.names.emplace_back(name);
  }
  return at->second;
}

// The bytes carry one more, a NUL, than the values: a string is terminated and an empty item has an address.
struct NxBase::Item {
  Item(NxDataType item_type, const void* values, std::size_t n, std::size_t size)
      : type(item_type), length(n), n_bytes(n * size), bytes(new unsigned char[n_bytes + 1]) {
    if (n_bytes != 0) {
      std::memcpy(bytes.get(), values, n_bytes);
    }
    bytes[n_bytes] = 0;
  }
  Item(const Item& other) : Item(other.type, other.bytes.get(), other.n_bytes, 1) { length = other.length; }
  Item& operator=(const Item&) = delete;

  NxDataType type;
  std::size_t length;
  std::size_t n_bytes;
  std::unique_ptr<unsigned char[]> bytes;
};

NxBase::NxBase() = default;

NxBase::NxBase(const NxBase& other) {
  for (const auto& [tag, item] : other.items_) {
    items_.emplace(tag, std::make_unique<Item>(*item));
  }
}

NxBase& NxBase::operator=(const NxBase& other) {
  if (this != &other) {
    NxBase copy(other);
    items_.swap(copy.items_);
  }
  return *this;
}

NxBase::~NxBase() = default;

void NxBase::SetData(int tag, std::string_view text) {
  Store(tag, NxDataType::String, text.data(), text.size(), sizeof(char));
}

const char* NxBase::GetStringData(int tag) const {
  return static_cast<const char*>(Find(tag, NxDataType::String, nullptr));
}

bool NxBase::HasData(int tag) const { return items_.contains(tag); }

bool NxBase::DeleteData(int tag) { return items_.erase(tag) != 0; }

void NxBase::Clear() { items_.clear(); }

void* NxBase::Store(int tag, NxDataType type, const void* values, std::size_t n, std::size_t size) {
  if (tag < 1 || n > (SIZE_MAX - 1) / size) {
    return nullptr;
  }
  // The new item is made before the old one goes: the values may be the old item's own.
  auto item = std::make_unique<Item>(type, values, values == nullptr ? 0 : n, size);
  void* stored = item->bytes.get();
  items_[tag] = std::move(item);
  return stored;
}

const void* NxBase::Find(int tag, NxDataType type, std::size_t* n) const {
  const auto at = items_.find(tag);
  if (at == items_.end()) {
    return nullptr;
  }
  const Item& item = *at->second;
  if (item.type != type) {
    NxThrow.Warning("Data under tag %d (%s) is of type %s, asked for as %s", tag, TagName(tag), TypeName(item.type),
                    TypeName(type));
    return nullptr;
  }
  if (n != nullptr) {
    *n = item.length;
  }
  return item.bytes.get();
}

NxBrioGrid::NxBrioGrid() = default;
NxBrioGrid::~NxBrioGrid() = default;

}  // namespace NxSystem
