// The toolkit's system layer: the error handler that the molecule layer reports through, the tags that name generic
// data, and NxBase, the owner of such data. C++ only.
#ifndef NXBRIOCHEM_TOOLKIT_NXSYSTEM_H
#define NXBRIOCHEM_TOOLKIT_NXSYSTEM_H

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include <nxbriochem/export.h>

namespace NxSystem {

// Reports of the molecule layer, one line each on standard error: "Warning: ", "Error: " or "Fatal: " and the text,
// with a newline added where the text has none. Texts are of any length; they are never cut.
class NX_API NxErrorHandler {
 public:
  // Reports that something was passed over or refused, and returns. The format and what follows are printf's.
  void Warning(const char* format, ...) NX_PRINTF(2, 3);
  // Reports that something failed, and returns; otherwise as Warning.
  void Error(const char* format, ...) NX_PRINTF(2, 3);
  // Does not return: flushes standard output, reports, and ends the process with exit status 1.
  [[noreturn]] void Fatal(const char* format, ...) NX_PRINTF(2, 3);
};

// The process-wide error handler.
extern NX_API NxErrorHandler NxThrow;

// Fatal report of a broken invariant: "Assertion failed at line %d of %s.\n" with the source line and the source unit.
[[noreturn]] NX_API void NxAssertionFailed(int line, const char* unit);

// The tag of a name: the same positive number for the same name throughout the process. A null name has tag 0, under
// which nothing can be stored.
NX_API int NxGetTag(const char* name);

// The kinds of value that generic data can hold.
enum class NxDataType { Int, Float, Double, Char, String };

// The kind of a C++ type; there is none for the types that generic data cannot hold.
template <class T>
struct NxDataTypeOf;
template <>
struct NxDataTypeOf<int> {
  static constexpr NxDataType value = NxDataType::Int;  // of int
};
template <>
struct NxDataTypeOf<float> {
  static constexpr NxDataType value = NxDataType::Float;  // of float
};
template <>
struct NxDataTypeOf<double> {
  static constexpr NxDataType value = NxDataType::Double;  // of double
};
template <>
struct NxDataTypeOf<char> {
  static constexpr NxDataType value = NxDataType::Char;  // of char
};

// Generic data: items under integer tags, each a typed value, a typed array with its length, or a string. Storing
// under a tag that holds an item replaces it. The stored item is the owner's own copy; a pointer to it stays valid
// until the item is replaced or deleted, or the owner is cleared or destroyed.
class NX_API NxBase {
 public:
  // No data.
  NxBase();
  // Copies of every item.
  NxBase(const NxBase& other);
  // Replaces every item by copies of the other's; assigning to itself changes nothing.
  NxBase& operator=(const NxBase& other);
  // Destroys every item.
  virtual ~NxBase();

  // Stores one value; an array of one reads back the same. Texts go to the overload below.
  template <class T, NxDataType kType = NxDataTypeOf<T>::value>
  void SetData(int tag, const T& value) {
    Store(tag, kType, &value, 1, sizeof(T));
  }
  // Stores a copy of n values and returns it. A null array or n of 0 stores an empty item, whose pointer is not
  // null. Tags below 1 and lengths whose size in bytes overflows store nothing and give null.
  template <class T>
  T* SetData(int tag, const T* values, std::size_t n) {
    return static_cast<T*>(Store(tag, NxDataTypeOf<T>::value, values, n, sizeof(T)));
  }
  // Stores a copy of a text, which GetStringData reads back up to its first NUL; nothing under a tag below 1.
  void SetData(int tag, std::string_view text);

  // The stored item and, through n when given, its length. Null when the tag holds nothing; null with a type warning
  // when it holds values of another type.
  template <class T>
  const T* GetData(int tag, std::size_t* n = nullptr) const {
    return static_cast<const T*>(Find(tag, NxDataTypeOf<T>::value, n));
  }
  // GetData under its other name.
  template <class T>
  const T* FindData(int tag, std::size_t* n = nullptr) const {
    return GetData<T>(tag, n);
  }
  // The stored string, NUL-terminated, or null as above.
  const char* GetStringData(int tag) const;

  // Whether the tag holds an item of any type.
  bool HasData(int tag) const;
  // Deletes the item. False when the tag holds nothing.
  bool DeleteData(int tag);
  // Deletes every item.
  void Clear();

 private:
  struct Item;

  void* Store(int tag, NxDataType type, const void* values, std::size_t n, std::size_t size);
  const void* Find(int tag, NxDataType type, std::size_t* n) const;

  std::map<int, std::unique_ptr<Item>> items_;
};

// A grid. The library only hands out handles for grids; what a grid holds is the caller's generic data.
class NX_API NxBrioGrid : public NxBase {
 public:
  // A grid without data.
  NxBrioGrid();
  // Destroys its data. Handles are not looked after: release them first (memmgr.h).
  ~NxBrioGrid() override;
};

}  // namespace NxSystem

#endif
