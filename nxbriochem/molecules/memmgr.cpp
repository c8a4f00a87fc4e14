// The molecule and the grid table are made from one template, with a description of each. A handle is looked up by
// indexing. Finding the slot of an object is defined as a scan from the first slot; an index from objects to slots
// gives the same answer, since no object has two slots.
#include <nxbriochem/molecules/memmgr.h>

#include <algorithm>
#include <memory>

#include <nxbriochem/molecules/guarded_internal.h>
#include <nxbriochem/molecules/memmgr_state.h>
#include <nxbriochem/objects/codes_internal.h>
#include <nxbriochem/util/never_destroyed_internal.h>
#include <nxbriochem/util/slot_index_internal.h>

namespace memmgr {

MolEntry* MolHandle = nullptr;
int HandleCount = 0;
constinit util::NeverDestroyed<std::vector<int>> free_handles_storage;
constinit std::vector<int>& vFreeHandle = *free_handles_storage;
GridEntry* GridHandle = nullptr;
int GridHandleCount = 0;
constinit util::NeverDestroyed<std::vector<int>> free_grid_handles_storage;
constinit std::vector<int>& vFreeGridHandle = *free_grid_handles_storage;

namespace {

constexpr int kIncrement = 100;
constexpr int kNoHandle = 0;

// The report names the caller's line, as an assertion does.
void require(bool condition, int line = __builtin_LINE()) {
  if (!condition) {
    NxSystem::NxAssertionFailed(line, "memmgr");
  }
}

struct Molecules {
  using Object = NxChem::NxMolBase;
  using Entry = MolEntry;
  static constexpr int kLowest = objects::kLastMolecule;
  static constexpr const char* kExhausted = "Unable to get another molecule handle";
  static constexpr const char* kNotAllocated = "Unable to allocate NxBrio handle";
  static constexpr const char* kNotThere = "Attempt to release non-existent handle";

  static Entry*& entries() { return MolHandle; }
  static int& count() { return HandleCount; }
  static std::vector<int>& free_handles() { return vFreeHandle; }
  static int handle_of(int slot) { return -(slot + 1); }
  static int slot_of(int handle) { return -(handle + 1); }
  static bool in_range(int handle) { return handle < 0 && slot_of(handle) < HandleCount; }
};

struct Grids {
  using Object = NxSystem::NxBrioGrid;
  using Entry = GridEntry;
  static constexpr int kLowest = INT32_MIN;  // grids have no lower limit of their own
  static constexpr const char* kExhausted = "";
  static constexpr const char* kNotAllocated = "Unable to allocate NxBrio grid handle";
  static constexpr const char* kNotThere = "Attempt to release non-existent grid handle";

  static constexpr int kFirst = objects::kFirstGrid;

  static Entry*& entries() { return GridHandle; }
  static int& count() { return GridHandleCount; }
  static std::vector<int>& free_handles() { return vFreeGridHandle; }
  static int handle_of(int slot) { return kFirst - slot; }
  static int slot_of(int handle) { return kFirst - handle; }
  static bool in_range(int handle) { return handle <= kFirst && slot_of(handle) < GridHandleCount; }
};

template <class T>
class HandleTable {
 public:
  using Object = typename T::Object;
  using Entry = typename T::Entry;

  // The slot of an object, or -1.
  static int HasHandle(const Object& object) { return index_.find_highest(&object); }

  static Entry& entry(int handle) { return T::entries()[T::slot_of(handle)]; }

  // The object's handle, with one more reference. Tells whether the handle is new.
  static int acquire(Object& object, bool& is_new) {
    const int slot = HasHandle(object);
    is_new = slot < 0;
    if (!is_new) {
      T::entries()[slot].references += 1;
      return T::handle_of(slot);
    }
    const int handle = next_handle();
    if (handle == kNoHandle) {
      NxSystem::NxThrow.Warning("%s", T::kNotAllocated);
      return kNoHandle;
    }
    entry(handle) = Entry{};
    entry(handle).object = &object;
    entry(handle).references = 1;
    index_.insert(&object, T::slot_of(handle));
    return handle;
  }

  static bool release(const Object& object) {
    const int slot = HasHandle(object);
    if (slot < 0) {
      NxSystem::NxThrow.Warning("%s", T::kNotThere);
      return false;
    }
    return release_slot(slot);
  }

  static bool release(int handle) {
    require(T::in_range(handle));
    if (entry(handle).references == 0) {
      NxSystem::NxThrow.Warning("%s", T::kNotThere);
      return false;
    }
    return release_slot(T::slot_of(handle));
  }

  static bool release_all(const Object& object) {
    const int slot = HasHandle(object);
    if (slot < 0) {
      return false;
    }
    free_slot(slot);
    return true;
  }

  // Removes the object from a handle in use and drops one reference. The slot stays taken while there are other
  // references.
  static void release_destroyed(int handle) {
    Entry& left = entry(handle);
    index_.erase(left.object, T::slot_of(handle));
    const int32_t references = left.references;
    left = Entry{};
    left.references = references;
    release_slot(T::slot_of(handle));
  }

  static Object* dereference(int handle) {
    require(T::in_range(handle));
    require(entry(handle).object != nullptr);
    return entry(handle).object;
  }

 private:
  static bool release_slot(int slot) {
    Entry& entry = T::entries()[slot];
    entry.references -= 1;
    if (entry.references <= 0) {
      free_slot(slot);
    }
    return true;
  }

  static void free_slot(int slot) {
    Entry& entry = T::entries()[slot];
    if (entry.object != nullptr) {
      index_.erase(entry.object, slot);
    }
    entry = Entry{};
    T::free_handles().push_back(T::handle_of(slot));
  }

  // Adds the documented hundred slots. The memory behind them doubles, so that the cost of growing per handle does not
  // depend on their number.
  static void grow() {
    const int old = T::count();
    const int count = old + kIncrement;
    if (count > room_) {
      const int room = room_ > INT32_MAX / 2 ? count : std::max(count, 2 * room_);
      T::free_handles().reserve(static_cast<std::size_t>(room));  // so that releasing never needs memory
      auto* grown = new Entry[static_cast<std::size_t>(room)]();
      std::copy_n(T::entries(), old, grown);
      delete[] T::entries();
      T::entries() = grown;
      room_ = room;
    }
    for (int slot = count - 1; slot >= old; --slot) {
      T::free_handles().push_back(T::handle_of(slot));
    }
    T::count() = count;
  }

  // GetNextHandle: the handle released last, else one of a hundred new ones.
  static int next_handle() {
    std::vector<int>& free_handles = T::free_handles();
    if (free_handles.empty()) {
      grow();
    }
    const int handle = free_handles.back();
    if (handle < T::kLowest) {
      NxSystem::NxThrow.Warning("%s", T::kExhausted);
      return kNoHandle;  // the handle stays on the stack
    }
    free_handles.pop_back();
    return handle;
  }

  using Index = util::SlotIndex<const void*>;
  static inline constinit util::NeverDestroyed<Index> index_storage_;
  static inline constinit Index& index_ = *index_storage_;
  static inline int room_ = 0;  // allocated entries; those above the count are zero
};

using MolTable = HandleTable<Molecules>;
using GridTable = HandleTable<Grids>;

int acquire_molecule(NxChem::NxMolBase& mol, bool multi_conf) {
  bool is_new = false;
  const int handle = NxBrioChem::guarded([&] { return MolTable::acquire(mol, is_new); });
  if (is_new && handle != kNoHandle) {
    MolTable::entry(handle).multi_conf = multi_conf;
  }
  return handle;
}

}  // namespace

void release_destroyed(int handle) { MolTable::release_destroyed(handle); }

}  // namespace memmgr

using namespace memmgr;

namespace NxBrioChem {

int NxAcquireHandle(const NxChem::NxMolBase& mol) {
  return acquire_molecule(const_cast<NxChem::NxMolBase&>(mol), false);
}

int NxAcquireHandle(NxChem::NxMolBase& mol) { return NxAcquireHandle(static_cast<const NxChem::NxMolBase&>(mol)); }

int NxAcquireHandle(NxChem::NxMCMolBase& mol) { return acquire_molecule(mol, true); }

int NxAcquireHandle(NxChem::NxMol& mol) { return NxAcquireHandle(static_cast<NxChem::NxMCMolBase&>(mol)); }

int NxAcquireGridHandle(NxSystem::NxBrioGrid& grid) {
  bool is_new = false;
  return guarded([&] { return GridTable::acquire(grid, is_new); });
}

bool NxReleaseHandle(const NxChem::NxMolBase& mol) { return MolTable::release(mol); }
bool NxReleaseHandle(int handle) { return MolTable::release(handle); }
bool NxReleaseGridHandle(const NxSystem::NxBrioGrid& grid) { return GridTable::release(grid); }
bool NxReleaseGridHandle(int handle) { return GridTable::release(handle); }
bool NxReleaseAllHandles(const NxChem::NxMolBase& mol) { return MolTable::release_all(mol); }
bool NxReleaseAllGridHandles(const NxSystem::NxBrioGrid& grid) { return GridTable::release_all(grid); }

NxChem::NxMolBase* NxDerefMolHandle(int handle) { return MolTable::dereference(handle); }

NxChem::NxMCMolBase* NxDerefMCMolHandle(int handle) {
  require(Molecules::in_range(handle));
  require(MolTable::entry(handle).multi_conf);
  return static_cast<NxChem::NxMCMolBase*>(MolTable::entry(handle).object);
}

NxSystem::NxBrioGrid* NxDerefGridHandle(int handle) { return GridTable::dereference(handle); }

bool NxIsMultiConf(int handle) {
  require(Molecules::in_range(handle));
  return MolTable::entry(handle).multi_conf;
}

int NxGetNumHandles() { return HandleCount + GridHandleCount; }

NxPlatform::NxMutex& NxGetBrioChemLock() {
  static NxPlatform::NxMutex lock;
  return lock;
}

}  // namespace NxBrioChem
