// The toolkit's molecule model: molecules with atoms, bonds, residues and conformers. C++ only.
//
// Indices of atoms and bonds are 0-based, stable while the atom or bond lives, and never given twice by the same
// molecule until it is cleared; the index bound (GetMaxAtomIdx, GetMaxBondIdx) is one more than the highest index ever
// given and exceeds the count once something was deleted. Coordinates are float triples in angstrom.
//
// Storage: the molecule owns everything. Atoms and bonds are handles of one byte in chunks (nxtable.h); a handle keeps
// its address from its creation to its deletion. The properties of atoms are in columns by atom index (nxatom_store.h),
// coordinates in one array per conformer, and the properties of a bond in the chunk of its handle. Columns and
// coordinate arrays move when atoms are made. References to names and residue records are valid until the atom gets
// another one or is deleted.
#ifndef NXBRIOCHEM_TOOLKIT_NXCHEM_H
#define NXBRIOCHEM_TOOLKIT_NXCHEM_H

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <nxbriochem/export.h>
#include <nxbriochem/toolkit/nxatom_store.h>
#include <nxbriochem/toolkit/nxelements.h>
#include <nxbriochem/toolkit/nxresidue.h>
#include <nxbriochem/toolkit/nxsystem.h>
#include <nxbriochem/toolkit/nxtable.h>

namespace NxChem {

class NxAtomBase;
class NxBondBase;
class NxConfBase;
class NxMolBase;
class NxMCMolBase;

// The bonds of an atom, in the order in which they were attached. It is a view of the molecule's own list, valid until
// the atom's bonds change.
class NX_API NxAtomBonds {
 public:
  // Iterates over the bonds; its value points to a bond and is never null.
  class Iterator {
   public:
    // The types that standard algorithms need.
    using iterator_category = std::forward_iterator_tag;
    using value_type = NxBondBase*;          // what dereferencing returns
    using difference_type = std::ptrdiff_t;  // a standard name
    using pointer = const value_type*;       // a standard name
    using reference = value_type;            // a standard name

    // Behind the last bond.
    Iterator() = default;
    // The current bond.
    NxBondBase* operator*() const;
    // Moves to the next bond.
    Iterator& operator++();
    // Moves to the next bond and returns the former position.
    Iterator operator++(int) {
      Iterator before = *this;
      ++*this;
      return before;
    }
    // Whether both stand at the same bond of one atom.
    bool operator==(const Iterator& other) const { return link_ == other.link_; }
    // Whether the two differ.
    bool operator!=(const Iterator& other) const { return !(*this == other); }

   private:
    friend class NxAtomBonds;
    Iterator(const NxMolBase* mol, unsigned link, unsigned last) : mol_(mol), link_(link), last_(last) {}

    const NxMolBase* mol_ = nullptr;
    unsigned link_ = 0;
    unsigned last_ = 0;
  };
  // The iterator under its standard name.
  using const_iterator = Iterator;
  // The type of the elements.
  using value_type = NxBondBase*;

  // The first bond.
  Iterator begin() const;
  // Behind the last one.
  Iterator end() const { return {}; }
  // Whether there are none.
  bool empty() const { return last_ == 0; }
  // The number of bonds, counted at each call.
  std::size_t size() const { return static_cast<std::size_t>(std::distance(begin(), end())); }
  // The first bond; the list must not be empty.
  NxBondBase* front() const { return *begin(); }
  // The last bond; the list must not be empty.
  NxBondBase* back() const { return *Iterator(mol_, last_, last_); }
  // Bond number i, below size(), counted from the first at each call.
  NxBondBase* operator[](std::size_t at) const { return *std::next(begin(), static_cast<std::ptrdiff_t>(at)); }
  // A copy of the list.
  operator std::vector<NxBondBase*>() const { return {begin(), end()}; }

 private:
  friend class NxAtomBase;
  NxAtomBonds(const NxMolBase* mol, unsigned last) : mol_(mol), last_(last) {}

  const NxMolBase* mol_;
  unsigned last_;
};

// An atom. It is made and owned by its molecule, which stores its properties; the atom itself is a handle, which keeps
// its address while it lives.
class NX_API NxAtomBase {
 public:
  NxAtomBase(const NxAtomBase&) = delete;
  NxAtomBase& operator=(const NxAtomBase&) = delete;

  // The atom's index in its molecule.
  unsigned GetIdx() const { return Head().first + place_; }
  // The molecule that owns the atom.
  NxMolBase& GetParent() const { return *Head().parent; }

  // The atomic number; 0 is a dummy atom. Any number is kept.
  unsigned GetAtomicNum() const;
  void SetAtomicNum(unsigned atomic_num);
  // The atom's name as a PDB file has it, blanks and all; empty when not set. The string is the molecule's and valid
  // until the name is set again or the atom dies.
  const std::string& GetName() const;
  void SetName(std::string_view name);
  // The radius in angstrom; 0 when not set.
  float GetRadius() const;
  void SetRadius(float radius);
  // The partial charge in elementary charges; 0 when not set.
  float GetPartialCharge() const;
  void SetPartialCharge(float charge);
  // The formal charge in elementary charges; 0 when not set. Nothing is perceived from it or checked against it.
  int GetFormalCharge() const;
  void SetFormalCharge(int charge);
  // The caller's own number for the atom; 0 when not set.
  int GetIntType() const;
  void SetIntType(int type);

  // Whether the atom is in a ring. Computed at the first call and kept until the molecule's atoms or bonds change.
  bool IsInRing() const;
  // Size of the smallest ring through the atom, 0 outside rings.
  unsigned GetSmallestRingSize() const;

  // The bonds that have the atom as an end, in the order in which they were attached; a bond of the atom with itself is
  // listed once.
  NxAtomBonds GetBonds() const;
  // Bonded neighbours that are neither hydrogen nor dummy. A neighbour counts once, however many bonds lead to it, and
  // an atom is not its own neighbour.
  unsigned GetHeavyDegree() const;

 private:
  friend struct NxChunk<NxAtomBase>;
  NxAtomBase() = default;

  const NxChunkHead& Head() const;

  std::uint8_t place_ = 0;  // in its chunk
};

// A bond. Made and owned by its molecule; a handle like an atom. A placeholder has no ends and order 0 until it is
// wired.
class NX_API NxBondBase {
 public:
  NxBondBase(const NxBondBase&) = delete;
  NxBondBase& operator=(const NxBondBase&) = delete;

  // The bond's index in its molecule.
  unsigned GetIdx() const;
  // The molecule that owns the bond.
  NxMolBase& GetParent() const;

  // The first end, an atom of the molecule; null for a placeholder.
  NxAtomBase* GetBgn() const;
  // The second end; null for a placeholder.
  NxAtomBase* GetEnd() const;
  // The index of the first end; -1 for a placeholder.
  int GetBgnIdx() const { return EndIdx(0); }
  // The index of the second end; -1 for a placeholder.
  int GetEndIdx() const { return EndIdx(1); }
  // The end that is not the atom: null when it is not wired, and null for what is not an end of the bond.
  NxAtomBase* GetNbr(const NxAtomBase& atom) const;
  // Sets the first end. The atom must belong to the bond's molecule or be null, which takes the end off; an atom of
  // another molecule is refused with a warning.
  void SetBgn(NxAtomBase* atom);
  // Sets the second end, as SetBgn sets the first.
  void SetEnd(NxAtomBase* atom);
  // The order: 1 single, 2 double, 3 triple, 4 quadruple; 0 not set. Other values are kept as they are given.
  int GetOrder() const;
  void SetOrder(int order);

  // Whether the bond is in a ring, perceived as the atom's. A bond of an atom with itself is in no ring; bonds between
  // the same two atoms count as one and make no ring of two.
  bool IsInRing() const;
  // Size of the smallest ring through the bond, 0 outside rings.
  unsigned GetSmallestRingSize() const;
  // True for a single bond outside rings whose ends both have another heavy neighbour (not hydrogen, not a dummy).
  bool IsRotor() const;

 private:
  friend struct NxChunk<NxBondBase>;
  friend class NxMolBase;
  NxBondBase() = default;

  NxChunk<NxBondBase>& Chunk() const;
  int EndIdx(int end) const;

  std::uint8_t place_ = 0;  // in its chunk
};

// A chunk of atoms holds only their handles.
template <>
struct NxChunk<NxAtomBase> {
  // How many.
  static constexpr unsigned kSize = 64;

  // Numbers the handles by their places.
  NxChunk();
  // The handle of a place.
  NxAtomBase* At(unsigned place) { return atoms + place; }
  // Called when a handle is deleted; there is nothing to do.
  void Drop(unsigned) {}

  NxChunkHead head;         // the chunk's place
  NxAtomBase atoms[kSize];  // by place
};

inline NxChunk<NxAtomBase>::NxChunk() {
  for (unsigned k = 0; k < kSize; ++k) {
    atoms[k].place_ = static_cast<std::uint8_t>(k);
  }
}

// A chunk of bonds holds their handles and properties. The bonds of an atom make a ring of links: a link is 2 * bond
// index + end + 1, and `next` of an end leads to the next bond of the atom there.
template <>
struct NxChunk<NxBondBase> {
  // How many.
  static constexpr unsigned kSize = 32;
  // An end that is not there.
  static constexpr unsigned kNoAtom = ~0U;
  // An order that does not fit here and is kept by the molecule.
  static constexpr std::int8_t kOddOrder = -128;

  // Numbers the handles by their places.
  NxChunk();
  // The handle of a place.
  NxBondBase* At(unsigned place) { return bonds + place; }
  // Called when a handle is deleted; there is nothing to do.
  void Drop(unsigned) {}

  NxChunkHead head;           // the chunk's place
  NxBondBase bonds[kSize];    // by place
  std::int8_t orders[kSize];  // by place
  unsigned ends[2][kSize];    // indices of the first and the second atoms
  unsigned next[2][kSize];    // links
};

inline NxChunk<NxBondBase>::NxChunk() {
  for (unsigned k = 0; k < kSize; ++k) {
    bonds[k].place_ = static_cast<std::uint8_t>(k);
  }
}

// Walks the items of an index table in index order, passing over deleted ones. Usable as `for (auto& atom :
// mol.GetAtoms())` and, as a cursor, `for (auto a = mol.GetAtoms(); a; ++a) a->...`; moving or reading past the end, or
// reading an item that was deleted under the cursor, is a fatal assertion. Items may be made and deleted during a walk:
// the cursor comes to those that are made, the range-based for does not.
template <class T>
class NxIter {
 public:
  // The items belong to the molecule; an iterator is valid as long as the molecule.
  using Table = NxTable<T>;

  // Starts at the first item, or at the end when there is none.
  explicit NxIter(const Table& table) : NxIter(table, table.Next(0)) {}

  // False at the end.
  explicit operator bool() const { return at_ < table_->Bound(); }
  // The item, which the molecule owns.
  T& operator*() const {
    T* item = table_->Get(at_);
    Require(item != nullptr);
    return *item;
  }
  // Access to the item's members.
  T* operator->() const { return &**this; }
  // Moves to the next item, or to the end.
  NxIter& operator++() {
    Require(at_ < table_->Bound());
    at_ = table_->Next(at_ + 1);
    return *this;
  }
  // Whether both stand at the same index. Only iterators of one molecule can be compared.
  bool operator==(const NxIter& other) const { return at_ == other.at_; }
  // Whether the two stand at different places.
  bool operator!=(const NxIter& other) const { return !(*this == other); }

  // Where a range-based for ends: behind the last index that there was when it began.
  struct End {
    unsigned bound;  // one more than that index
  };
  // Whether the end is not reached. Deletions of items made since may have taken the iterator past it.
  bool operator!=(End end) const { return at_ < end.bound; }
  // The start of a range-based for: this iterator.
  NxIter begin() const { return *this; }
  // Its end.
  End end() const { return {table_->Bound()}; }

 private:
  NxIter(const Table& table, unsigned at) : table_(&table), at_(at) {}

  static void Require(bool holds) {
    if (!holds) {
      NxSystem::NxAssertionFailed(__LINE__, "nxchem");
    }
  }

  const Table* table_;
  unsigned at_;
};

// A molecule: title, atoms, bonds, one set of coordinates, and generic data.
class NX_API NxMolBase : public NxSystem::NxBase {
 public:
  // An empty molecule, with one set of coordinates and without conformers.
  NxMolBase();
  // Deep copies: atoms, bonds, conformers, title and generic data, with the same indices.
  NxMolBase(const NxMolBase& other);
  // A part of the other molecule: the atoms whose entry in `mask` is not 0, one entry per atom index (null: all atoms),
  // and the bonds between them, both in their order and numbered anew from 0. Placeholder bonds are left out. Title and
  // generic data are copied whole.
  NxMolBase(const NxMolBase& other, const int* mask);
  NxMolBase& operator=(const NxMolBase& other) = delete;
  // Destroys its atoms, bonds and data. Its handles are not released; release them first (memmgr.h).
  ~NxMolBase() override;

  // The title, as files show it; empty when not set. The string is the molecule's.
  const std::string& GetTitle() const { return title_; }
  void SetTitle(std::string_view title) { title_ = title; }

  // The number of atoms.
  unsigned NumAtoms() const { return atoms_.Count(); }
  // The number of bonds, placeholders included.
  unsigned NumBonds() const { return bonds_.Count(); }
  // The index bound of the atoms: one more than the highest index ever given.
  unsigned GetMaxAtomIdx() const { return atoms_.Bound(); }
  // The index bound of the bonds.
  unsigned GetMaxBondIdx() const { return bonds_.Bound(); }

  // Walks the atoms in index order.
  NxIter<NxAtomBase> GetAtoms() const { return NxIter<NxAtomBase>(atoms_); }
  // Walks the bonds in index order.
  NxIter<NxBondBase> GetBonds() const { return NxIter<NxBondBase>(bonds_); }

  // Makes an atom, with the next index, which stands at the origin in every conformer. The molecule owns it.
  NxAtomBase* NewAtom(unsigned atomic_num);
  // Makes room for this many atoms and bonds in all. It affects speed only.
  void Reserve(unsigned n_atoms, unsigned n_bonds);
  // Deletes the atom and its bonds. False, with nothing changed, for null and for an atom of another molecule.
  bool DeleteAtom(NxAtomBase* atom);
  // Makes a bond, with the next index, which the molecule owns. Null ends and order 0 make a placeholder, to be wired
  // later. Null, with a warning, for an atom of another molecule.
  NxBondBase* NewBond(NxAtomBase* bgn, NxAtomBase* end, int order);
  // Deletes the bond; its atoms stay. False, with nothing changed, for null and for a bond of another molecule.
  bool DeleteBond(NxBondBase* bond);

  // The atom of this index, which the molecule owns; null when there is none.
  NxAtomBase* GetAtom(int idx) const;
  // The bond of this index, which the molecule owns; null when there is none.
  NxBondBase* GetBond(int idx) const;

  // All coordinates in index order: 3 * GetMaxAtomIdx() floats, angstrom, of the active conformer where there are
  // conformers; a multi-conformer molecule that has none reads as zero and keeps nothing. The places of deleted atoms
  // are neither written nor read. A null array is ignored.
  void GetCoords(float* xyz) const;
  void SetCoords(const float* xyz);
  // One atom's coordinates, 3 floats. An atom of another molecule is refused with a warning and reads as zero.
  void GetCoords(const NxAtomBase& atom, float xyz[3]) const;
  void SetCoords(const NxAtomBase& atom, const float xyz[3]);
  // The storage itself, valid until an atom is made or the active conformer changes; null without conformers.
  const float* CoordData() const { return const_cast<NxMolBase*>(this)->ActiveCoords(); }

  // Gives back storage that deletions and reservations left over. Indices stay as they are.
  virtual void Sweep();
  // Back to an empty molecule: no atoms, bonds, title or data; index bounds 0.
  virtual void Clear();

  // Sets the ring and rotor flags and the smallest ring sizes now instead of at the next question about them.
  void PerceiveRings() const;

 protected:
  // Coordinates of the active conformer: 3 * GetMaxAtomIdx() floats.
  virtual float* ActiveCoords();
  // Called when the index bound has become n: new entries are zero.
  virtual void ResizeCoords(unsigned n);
  // The triples of the atoms that `mask` selects, one after the other, out of one full coordinate array.
  NX_LOCAL std::vector<float> SelectCoords(const float* from, const int* mask) const;

 private:
  friend class NxAtomBase;
  friend class NxAtomBonds;
  friend class NxBondBase;
  friend class NxConfBase;
  friend struct NxMolInternals;
  friend NX_API bool NxHasResidue(const NxAtomBase& atom);
  friend NX_API const NxResidue& NxAtomGetResidue(const NxAtomBase& atom);
  friend NX_API void NxAtomSetResidue(NxAtomBase& atom, const NxResidue& residue);

  // Whether the atom is this molecule's; warns when it is not.
  NX_LOCAL bool Owns(const NxAtomBase& atom) const;
  // Copies one full coordinate array into another, except the places of deleted atoms.
  NX_LOCAL void CopyLiveCoords(const float* from, float* to) const;
  // Makes n atoms, as NewAtom does.
  NX_LOCAL void AddAtoms(unsigned n, unsigned atomic_num);
  // Copies the properties of an atom of another molecule, except bonds and coordinates.
  NX_LOCAL void CopyAtom(const NxMolBase& other, unsigned from, unsigned to);
  void TopologyChanged() { rings_known_ = false; }

  // The link to the next bond of an atom after `link`.
  unsigned& NextLink(unsigned link) const {
    const unsigned bond = (link - 1) / 2;
    return bonds_.ChunkOf(bond)->next[(link - 1) % 2][bond % NxChunk<NxBondBase>::kSize];
  }
  NX_LOCAL void Attach(unsigned atom, unsigned link);
  NX_LOCAL void Detach(unsigned atom, unsigned link);
  NX_LOCAL void ReplaceLink(unsigned atom, unsigned from, unsigned to);
  // Gives an end of a bond to an atom of the molecule or to none.
  NX_LOCAL void Rewire(NxBondBase& bond, unsigned end, const NxAtomBase* atom);

  std::string title_;
  NxTable<NxAtomBase> atoms_;
  NxTable<NxBondBase> bonds_;
  NxAtomStore store_;
  std::map<unsigned, int> odd_orders_;  // by bond index
  std::vector<float> coords_;
  // What PerceiveRings found, by index: ring sizes, those of bonds times two, plus 1 for rotors. Atoms made since are
  // in no ring.
  mutable std::vector<unsigned> atom_rings_;
  mutable std::vector<unsigned> bond_rings_;
  mutable bool rings_known_ = true;
};

inline const NxChunkHead& NxAtomBase::Head() const {
  static_assert(sizeof(NxAtomBase) == 1);
  const auto* first = reinterpret_cast<const std::byte*>(this - place_);
  return *reinterpret_cast<const NxChunkHead*>(first - offsetof(NxChunk<NxAtomBase>, atoms));
}

inline unsigned NxAtomBase::GetAtomicNum() const { return GetParent().store_.AtomicNums()[GetIdx()]; }
inline const std::string& NxAtomBase::GetName() const {
  const NxAtomStore& store = GetParent().store_;
  return store.Name(store.NameIds()[GetIdx()]);
}
inline float NxAtomBase::GetRadius() const { return GetParent().store_.Radii()[GetIdx()]; }
inline void NxAtomBase::SetRadius(float radius) { GetParent().store_.Radii()[GetIdx()] = radius; }
inline float NxAtomBase::GetPartialCharge() const { return GetParent().store_.PartialCharges()[GetIdx()]; }
inline void NxAtomBase::SetPartialCharge(float charge) { GetParent().store_.PartialCharges()[GetIdx()] = charge; }
inline int NxAtomBase::GetFormalCharge() const { return GetParent().store_.FormalCharges()[GetIdx()]; }
inline void NxAtomBase::SetFormalCharge(int charge) { GetParent().store_.FormalCharges()[GetIdx()] = charge; }
inline int NxAtomBase::GetIntType() const { return GetParent().store_.IntTypes()[GetIdx()]; }
inline void NxAtomBase::SetIntType(int type) { GetParent().store_.IntTypes()[GetIdx()] = type; }
inline NxAtomBonds NxAtomBase::GetBonds() const {
  const NxMolBase& mol = GetParent();
  return {&mol, mol.store_.LastBonds()[GetIdx()]};
}

inline NxChunk<NxBondBase>& NxBondBase::Chunk() const {
  static_assert(sizeof(NxBondBase) == 1);
  auto* first = reinterpret_cast<std::byte*>(const_cast<NxBondBase*>(this - place_));
  return *reinterpret_cast<NxChunk<NxBondBase>*>(first - offsetof(NxChunk<NxBondBase>, bonds));
}

inline unsigned NxBondBase::GetIdx() const { return Chunk().head.first + place_; }
inline NxMolBase& NxBondBase::GetParent() const { return *Chunk().head.parent; }
inline int NxBondBase::EndIdx(int end) const { return static_cast<int>(Chunk().ends[end][place_]); }
inline NxAtomBase* NxBondBase::GetBgn() const { return GetParent().atoms_.Get(Chunk().ends[0][place_]); }
inline NxAtomBase* NxBondBase::GetEnd() const { return GetParent().atoms_.Get(Chunk().ends[1][place_]); }

inline NxBondBase* NxAtomBonds::Iterator::operator*() const {
  const unsigned bond = (link_ - 1) / 2;
  return mol_->bonds_.ChunkOf(bond)->At(bond % NxChunk<NxBondBase>::kSize);
}
inline NxAtomBonds::Iterator& NxAtomBonds::Iterator::operator++() {
  link_ = link_ != last_ ? mol_->NextLink(link_) : 0;
  return *this;
}
inline NxAtomBonds::Iterator NxAtomBonds::begin() const {
  return last_ != 0 ? Iterator(mol_, mol_->NextLink(last_), last_) : Iterator();
}

// One conformer: an index, stable while it lives, the coordinates of every atom, and generic data.
class NX_API NxConfBase : public NxSystem::NxBase {
 public:
  NxConfBase(const NxConfBase&) = delete;
  NxConfBase& operator=(const NxConfBase&) = delete;
  // Called by the molecule alone; callers use NxMCMolBase::DeleteConf.
  ~NxConfBase() override;

  // The conformer's index in its molecule.
  unsigned GetIdx() const { return idx_; }
  // The molecule that owns the conformer.
  NxMCMolBase& GetParent() const { return *parent_; }

  // All coordinates: 3 * GetMaxAtomIdx() floats of the molecule, angstrom, in atom index order; otherwise as the
  // molecule's.
  void GetCoords(float* xyz) const;
  void SetCoords(const float* xyz);
  // One atom's coordinates, 3 floats, as the molecule's.
  void GetCoords(const NxAtomBase& atom, float xyz[3]) const;
  void SetCoords(const NxAtomBase& atom, const float xyz[3]);

 private:
  friend class NxMCMolBase;
  NX_LOCAL NxConfBase(NxMCMolBase* parent, unsigned idx);

  NxMCMolBase* parent_;
  unsigned idx_;
  std::vector<float> coords_;
};

// A chunk of conformers.
template <>
struct NxChunk<NxConfBase> {
  // How many.
  static constexpr unsigned kSize = 8;

  // The conformer of a place.
  NxConfBase* At(unsigned place) { return confs[place].get(); }
  // Deletes the conformer of a place.
  void Drop(unsigned place) { confs[place].reset(); }

  NxChunkHead head;                          // the chunk's place
  std::unique_ptr<NxConfBase> confs[kSize];  // by place; null where one was deleted
};

// A molecule with an ordered list of conformers, one of them active; the molecule's coordinates are the active
// conformer's. A new one has no conformer; coordinates can be set once it has one.
class NX_API NxMCMolBase : public NxMolBase {
 public:
  // An empty molecule without conformers.
  NxMCMolBase();
  // The copy's conformers have the indices and the generic data of the originals; its stack of active ones is empty.
  NxMCMolBase(const NxMCMolBase& other);
  // A part, as the molecule's, with every conformer under its index and with its generic data.
  NxMCMolBase(const NxMCMolBase& other, const int* mask);
  // Destroys its conformers as well.
  ~NxMCMolBase() override;

  // The number of conformers.
  unsigned NumConfs() const { return confs_.Count(); }
  // One more than the highest conformer index ever given.
  unsigned GetMaxConfIdx() const { return confs_.Bound(); }
  // Walks the conformers in index order.
  NxIter<NxConfBase> GetConfs() const { return NxIter<NxConfBase>(confs_); }
  // The active conformer, which the molecule owns; null when there is none.
  NxConfBase* GetActive() const { return active_; }
  // Makes the conformer the active one. False, with nothing changed, for null and when it is not one of this
  // molecule's.
  bool SetActive(NxConfBase* conf);
  // The conformer of this index, which the molecule owns; null when there is none.
  NxConfBase* GetConf(int idx) const;

  // Saves the active conformer on a stack and makes another one active, for code that needs another one temporarily.
  // False, with nothing changed, for null and for a conformer of another molecule. SetActive does not change the stack;
  // a deleted conformer is removed from it.
  bool PushActive(NxConfBase* conf);
  // Makes the conformer that was saved last active again. False, with nothing changed, when none is saved.
  bool PopActive();
  // Forgets the saved conformers; the active one stays.
  void ClearActiveStack() { saved_active_.clear(); }

  // Appends a conformer, which the molecule owns, and returns it. It gets the coordinates of the active one, or zeros
  // when there is none. A molecule's first conformer becomes active.
  NxConfBase* NewConf();
  // Deletes the conformer. When it was active, the first that remains becomes active. False, with nothing changed, for
  // null and for a conformer of another molecule.
  bool DeleteConf(NxConfBase* conf);

  // Gives back storage of the conformers, too.
  void Sweep() override;
  // Back to an empty molecule with one conformer if it had any, which is active.
  void Clear() override;

 protected:
  float* ActiveCoords() override;
  void ResizeCoords(unsigned n) override;

 private:
  friend struct NxMolInternals;
  NX_LOCAL void CopyConfs(const NxMCMolBase& other);

  NxTable<NxConfBase> confs_;
  NxConfBase* active_ = nullptr;
  std::vector<NxConfBase*> saved_active_;
};

// The molecule that callers make: multi-conformer, with one conformer, which is active. A copy has the conformers of
// what it copies.
class NX_API NxMol : public NxMCMolBase {
 public:
  // An empty molecule with one conformer.
  NxMol();
  // A copy, with all conformers.
  NxMol(const NxMol& other);
  // A copy of any multi-conformer molecule, with the conformers that it has, which may be none.
  explicit NxMol(const NxMCMolBase& other);
  // A part, as the molecule's.
  NxMol(const NxMCMolBase& other, const int* mask);
  // Destroys it as NxMCMolBase does.
  ~NxMol() override;
};

// Whether a residue record was set for the atom.
NX_API bool NxHasResidue(const NxAtomBase& atom);
// The atom's residue record; an empty one when none is set. Valid until the atom's record is set again or the atom
// dies.
NX_API const NxResidue& NxAtomGetResidue(const NxAtomBase& atom);
// Gives the atom a copy of the record.
NX_API void NxAtomSetResidue(NxAtomBase& atom, const NxResidue& residue);

}  // namespace NxChem

#endif
