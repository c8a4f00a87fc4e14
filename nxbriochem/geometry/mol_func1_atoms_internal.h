// What the orientation and the superposition of molecules share: work arrays in a molecule's object memory, and which
// atoms take part. Private to the module; C++ only.
#ifndef NXBRIOCHEM_GEOMETRY_MOL_FUNC1_ATOMS_INTERNAL_H
#define NXBRIOCHEM_GEOMETRY_MOL_FUNC1_ATOMS_INTERNAL_H

#include <algorithm>
#include <cstddef>

#include <nxbriochem/objects/object_memory.h>

namespace mol_func1 {

// What a work array holds at first. Zeroing takes longer than a superposition of few atoms.
enum class Contents { zero, undefined };

// A work array of `count` times `width` elements in the object memory of a molecule, released at the end of its scope.
// False when memory ran out. It has room for one atom at least.
template <class T>
class WorkArray {
 public:
  WorkArray(int mol, int count, int width, const char* name, Contents contents = Contents::zero) : mol_(mol) {
    const auto allocate = contents == Contents::zero ? nx_object_calloc : nx_object_malloc;
    data_ = static_cast<T*>(allocate(mol, std::max(count, 1), static_cast<int>(sizeof(T)) * width, name, nullptr));
  }
  WorkArray(const WorkArray&) = delete;
  WorkArray& operator=(const WorkArray&) = delete;
  ~WorkArray() {
    if (data_ != nullptr) {
      nxi_free(mol_, data_);
    }
  }

  explicit operator bool() const { return data_ != nullptr; }
  T* data() const { return data_; }
  T& operator[](std::ptrdiff_t i) const { return data_[i]; }

 private:
  int mol_;
  T* data_;
};

// The number of places in a molecule's per-atom arrays: those of atoms and those that deleted atoms leave.
int index_bound(int mol);

// By atom index: 1 for hydrogens, else 0. The name decides; for an unnamed atom the element symbol does. Null when
// there are no hydrogens or the molecule has no names. The array belongs to the molecule.
const unsigned char* hydrogens_of(int mol);

// A mark for each place of a molecule's arrays. Places of deleted atoms are always kAbsent.
enum Mark : int { kAbsent = -1, kTakesPart = 0, kLeftOut = 1 };

// Marks all places, as many as the index bound; hydrogens are left out when that is asked for.
void mark_atoms(int mol, bool without_hydrogens, int* marks);

int count_taking_part(const int* marks, int length);

// Rounded to single precision, without negative zeros.
inline float rounded(double x) { return static_cast<float>(x) + 0.0F; }

}  // namespace mol_func1

#endif
