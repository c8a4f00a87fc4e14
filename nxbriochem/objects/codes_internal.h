// Object type codes with their names, the ranges of handles, and the exit statuses of the library. Not exported.
#ifndef NXBRIOCHEM_OBJECTS_CODES_INTERNAL_H
#define NXBRIOCHEM_OBJECTS_CODES_INTERNAL_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace objects {

// The library registers 1 and 2 alone. 5 and up are for calling programs; 10 to 13 have no name.
enum TypeCode : int { kNoType = -1, kHandleType = 1, kListType = 2, kMoleculeType = 3, kGridType = 4 };

inline constexpr int kTypes = 256;  // codes are 0 to 255

inline constexpr const char* kUnknownTypeName = "UNKNOWN";
inline constexpr std::array kTypeNames = {
    kUnknownTypeName, "HANDLE",   "LIST",     "MOLECULE",       "GRID",           "SURFACE",        "LOOKUP",
    "MIRL",           "AREACALC", "OVERLAY",  kUnknownTypeName, kUnknownTypeName, kUnknownTypeName, kUnknownTypeName,
    "ECONSTRUCT",     "EMER",     "BINDCALC", "PCCALC",         "ETCALC"};
static_assert(kTypeNames.size() == 19);

constexpr const char* name_of_type(int type) {
  return type >= 0 && type < static_cast<int>(kTypeNames.size()) ? kTypeNames[static_cast<std::size_t>(type)]
                                                                 : kUnknownTypeName;
}

// Handles: positive ones are in the registry, molecules are -1 down to the last one, grids from the first one down.
inline constexpr int32_t kLastMolecule = -999999999;
inline constexpr int32_t kFirstGrid = -1000000001;

enum ExitStatus : int {
  kBooksExhausted = 0,         // no memory for the allocator's records. Kept: programs rely on 0
  kUndefined = 0,              // the reader of values met an undefined variable or an unknown type. Kept, as above
  kMemoryExhausted = 1,        // no memory for a tracked block or an index
  kEnded = 1,                  // nx_exit, the signal handler
  kNoAtoms = 1,                // a molecule without atoms is oriented
  kDuplicatePointer = 3,       // a pointer stands twice in a memory table
  kUnknownPointer = 4,         // an unknown pointer at the highest strictness
  kObjectMemoryExhausted = 7,  // no memory for an object's block, its table's entries or the tables
  kHashLimit = 107,            // the registry's index cannot grow
  kNoUniqueHandle = 108,       // no handle is free
  kNoUniqueTableHandle = 208,  // no handle of a memory table is free
};

}  // namespace objects

#endif
