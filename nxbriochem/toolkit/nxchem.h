// The toolkit's molecule model: molecules with atoms, bonds, residues and conformers. C++ only.
//
// Indices of atoms and bonds are 0-based, stable while the atom or bond lives, and never given twice by the same
// molecule until it is cleared; the index bound (GetMaxAtomIdx, GetMaxBondIdx) is one more than the highest index ever
// given and exceeds the count once something was deleted. Coordinates are float triples in angstrom.
#ifndef NXBRIOCHEM_TOOLKIT_NXCHEM_H
#define NXBRIOCHEM_TOOLKIT_NXCHEM_H

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <nxbriochem/export.h>
#include <nxbriochem/toolkit/nxelements.h>
#include <nxbriochem/toolkit/nxsystem.h>

namespace NxChem {

class NxAtomBase;
class NxBondBase;
class NxConfBase;
class NxMolBase;
class NxMCMolBase;

// What a PDB atom record says of an atom beyond its name and position. A residue record belongs to one atom: atoms of
// the same residue carry equal records. Setters keep what they are given, whether it fits into a file or not.
class NX_API NxResidue {
 public:
  // The residue's name, such as "ALA"; empty when not set. The string is the record's.
  const std::string& GetName() const { return name_; }
  void SetName(std::string_view name) { name_ = name; }
  // The number that a PDB file shows (resSeq, the author's numbering); 0 when not set.
  int GetResidueNumber() const { return residue_number_; }
  void SetResidueNumber(int number) { residue_number_ = number; }
  // The residue's position in its chain's sequence, counted by the caller (mmCIF's label_seq_id); 0 when not known.
  int GetSequenceNumber() const { return sequence_number_; }
  void SetSequenceNumber(int number) { sequence_number_ = number; }
  // The chain's letter; a blank when not set.
  char GetChainID() const { return chain_; }
  void SetChainID(char chain) { chain_ = chain; }
  // The insertion code behind the number; a blank for none.
  char GetInsertCode() const { return insert_code_; }
  void SetInsertCode(char code) { insert_code_ = code; }
  // The letter of the alternate location; a blank for none.
  char GetAlternateLocation() const { return alternate_location_; }
  void SetAlternateLocation(char location) { alternate_location_ = location; }
  // The fraction of the time that the atom is there; 1 when not set.
  float GetOccupancy() const { return occupancy_; }
  void SetOccupancy(float occupancy) { occupancy_ = occupancy; }
  // Temperature factor in square angstrom; 0 when not set.
  float GetBFactor() const { return b_factor_; }
  void SetBFactor(float b_factor) { b_factor_ = b_factor; }
  // True writes the atom as HETATM, false, the default, as ATOM.
  bool IsHetAtom() const { return het_atom_; }
  void SetHetAtom(bool het_atom) { het_atom_ = het_atom; }

 private:
  std::string name_;
  int residue_number_ = 0;
  int sequence_number_ = 0;
  float occupancy_ = 1.0F;
  float b_factor_ = 0.0F;
  char chain_ = ' ';
  char insert_code_ = ' ';
  char alternate_location_ = ' ';
  bool het_atom_ = false;
};

// An atom. Made and owned by its molecule.
class NX_API NxAtomBase {
 public:
  NxAtomBase& operator=(const NxAtomBase&) = delete;

  // The atom's index in its molecule.
  unsigned GetIdx() const { return idx_; }
  // The molecule that owns the atom.
  NxMolBase& GetParent() const { return *parent_; }

  // The atomic number; 0 is a dummy atom. Any number is kept.
  unsigned GetAtomicNum() const { return atomic_num_; }
  void SetAtomicNum(unsigned atomic_num);
  // The atom's name as a PDB file has it, blanks and all; empty when not set. The string is the atom's.
  const std::string& GetName() const { return name_; }
  void SetName(std::string_view name) { name_ = name; }
  // The radius in angstrom; 0 when not set.
  float GetRadius() const { return radius_; }
  void SetRadius(float radius) { radius_ = radius; }
  // The partial charge in elementary charges; 0 when not set.
  float GetPartialCharge() const { return partial_charge_; }
  void SetPartialCharge(float charge) { partial_charge_ = charge; }
  // The formal charge in elementary charges; 0 when not set. Nothing is perceived from it or checked against it.
  int GetFormalCharge() const { return formal_charge_; }
  void SetFormalCharge(int charge) { formal_charge_ = charge; }
  // The caller's own number for the atom; 0 when not set.
  int GetIntType() const { return int_type_; }
  void SetIntType(int type) { int_type_ = type; }

  // Whether the atom is in a ring; perceived when asked and kept until the molecule's atoms or bonds change.
  bool IsInRing() const;
  // Size of the smallest ring through the atom, 0 outside rings.
  unsigned GetSmallestRingSize() const;

  // The bonds that have the atom as an end, in the order in which they were attached; a bond of the atom with itself is
  // listed once.
  const std::vector<NxBondBase*>& GetBonds() const { return bonds_; }
  // Bonded neighbours that are neither hydrogen nor dummy. A neighbour counts once, however many bonds lead to it, and
  // an atom is not its own neighbour.
  unsigned GetHeavyDegree() const;

 private:
  friend class NxMolBase;
  friend class NxBondBase;
  friend NX_API bool NxHasResidue(const NxAtomBase& atom);
  friend NX_API const NxResidue& NxAtomGetResidue(const NxAtomBase& atom);
  friend NX_API void NxAtomSetResidue(NxAtomBase& atom, const NxResidue& residue);
  NxAtomBase(NxMolBase* parent, unsigned idx, unsigned atomic_num)
      : parent_(parent), idx_(idx), atomic_num_(atomic_num) {}
  // For the molecule's own copy, which gives the new atom its parent and bonds.
  NxAtomBase(const NxAtomBase&) = default;

  NX_LOCAL void Attach(NxBondBase* bond);
  NX_LOCAL void Detach(const NxBondBase* bond);

  NxMolBase* parent_;
  unsigned idx_;
  unsigned atomic_num_;
  float radius_ = 0.0F;
  float partial_charge_ = 0.0F;
  int formal_charge_ = 0;
  int int_type_ = 0;
  unsigned smallest_ring_ = 0;
  bool has_residue_ = false;
  std::string name_;
  NxResidue residue_;
  std::vector<NxBondBase*> bonds_;
};

// A bond. Made and owned by its molecule. A placeholder has no ends and order 0 until it is wired.
class NX_API NxBondBase {
 public:
  NxBondBase& operator=(const NxBondBase&) = delete;

  // The bond's index in its molecule.
  unsigned GetIdx() const { return idx_; }
  // The molecule that owns the bond.
  NxMolBase& GetParent() const { return *parent_; }

  // The first end, an atom of the molecule; null for a placeholder.
  NxAtomBase* GetBgn() const { return bgn_; }
  // The second end, likewise.
  NxAtomBase* GetEnd() const { return end_; }
  // The index of the first end; -1 for a placeholder.
  int GetBgnIdx() const { return bgn_ != nullptr ? static_cast<int>(bgn_->GetIdx()) : -1; }
  // The index of the second end, likewise.
  int GetEndIdx() const { return end_ != nullptr ? static_cast<int>(end_->GetIdx()) : -1; }
  // The end that is not the atom: null when it is not wired, and null for what is not an end of the bond.
  NxAtomBase* GetNbr(const NxAtomBase& atom) const { return &atom == bgn_ ? end_ : &atom == end_ ? bgn_ : nullptr; }
  // Sets the first end. The atom must belong to the bond's molecule or be null, which takes the end off; an atom of
  // another molecule is refused with a warning.
  void SetBgn(NxAtomBase* atom);
  // Sets the second end, likewise.
  void SetEnd(NxAtomBase* atom);
  // The order: 1 single, 2 double, 3 triple, 4 quadruple; 0 not set. Other values are kept as they are given.
  int GetOrder() const { return order_; }
  void SetOrder(int order);

  // Whether the bond is in a ring, perceived as the atom's. A bond of an atom with itself is in no ring; bonds between
  // the same two atoms count as one and make no ring of two.
  bool IsInRing() const;
  // Size of the smallest ring through the bond, 0 outside rings.
  unsigned GetSmallestRingSize() const;
  // True for a single bond outside rings of which both ends have another heavy neighbour (not hydrogen, not a dummy).
  bool IsRotor() const;

 private:
  friend class NxMolBase;
  NxBondBase(NxMolBase* parent, unsigned idx) : parent_(parent), idx_(idx) {}
  NxBondBase(const NxBondBase&) = default;

  NX_LOCAL void Rewire(NxAtomBase*& slot, const NxAtomBase* other_end, NxAtomBase* atom);

  NxMolBase* parent_;
  unsigned idx_;
  NxAtomBase* bgn_ = nullptr;
  NxAtomBase* end_ = nullptr;
  int order_ = 0;
  unsigned smallest_ring_ = 0;
  bool rotor_ = false;
};

// Walks the items of an index table in index order, passing over deleted ones. Usable as `for (auto& atom :
// mol.GetAtoms())` and, as a cursor, `for (auto a = mol.GetAtoms(); a; ++a) a->...`; moving or reading past the end, or
// reading an item that was deleted under the cursor, is a fatal assertion. Items may be made and deleted during a walk.
template <class T>
class NxIter {
 public:
  // What is walked: a slot per index, null where the item was deleted. The molecule owns it; an iterator is good as
  // long as the molecule.
  using Table = std::vector<std::unique_ptr<T>>;

  // Stands at the first item that is there, or at the end.
  explicit NxIter(const Table& table) : NxIter(table, 0) {}

  // False at the end.
  explicit operator bool() const { return at_ < table_->size(); }
  // The item, which the molecule owns.
  T& operator*() const {
    Require(at_ < table_->size() && (*table_)[at_] != nullptr);
    return *(*table_)[at_];
  }
  // The item's member, likewise.
  T* operator->() const { return &**this; }
  // Moves on to the next item that is there, or to the end.
  NxIter& operator++() {
    Require(at_ < table_->size());
    ++at_;
    SkipDeleted();
    return *this;
  }
  // Whether both stand at the same index; only of iterators of one molecule does that mean anything.
  bool operator==(const NxIter& other) const { return at_ == other.at_; }
  // The opposite.
  bool operator!=(const NxIter& other) const { return !(*this == other); }

  // Where a range-based for begins: here.
  NxIter begin() const { return *this; }
  // Where it ends: behind the last index there is now.
  NxIter end() const { return NxIter(*table_, table_->size()); }

 private:
  NxIter(const Table& table, std::size_t at) : table_(&table), at_(at) { SkipDeleted(); }

  void SkipDeleted() {
    while (at_ < table_->size() && !(*table_)[at_]) {
      ++at_;
    }
  }
  static void Require(bool holds) {
    if (!holds) {
      NxSystem::NxAssertionFailed(__LINE__, "nxchem");
    }
  }

  const Table* table_;
  std::size_t at_;
};

// A molecule: title, atoms, bonds, one set of coordinates, and generic data.
class NX_API NxMolBase : public NxSystem::NxBase {
 public:
  // An empty molecule, with one set of coordinates and without conformers.
  NxMolBase();
  // Deep copies: atoms, bonds, conformers, title and generic data, with the same indices.
  NxMolBase(const NxMolBase& other);
  // A part of the other molecule: the atoms whose entry in `mask` is not 0, one entry per atom index (null: all atoms),
  // and the bonds of which both ends are such atoms, both in their order and numbered anew from 0. Placeholder bonds
  // are left out. Title and generic data are copied whole.
  NxMolBase(const NxMolBase& other, const int* mask);
  NxMolBase& operator=(const NxMolBase& other) = delete;
  // Destroys its atoms, bonds and data. Handles are not looked after: release them first (memmgr.h).
  ~NxMolBase() override;

  // The title, which files bear; empty when not set. The string is the molecule's.
  const std::string& GetTitle() const { return title_; }
  void SetTitle(std::string_view title) { title_ = title; }

  // The atoms that are there.
  unsigned NumAtoms() const { return num_atoms_; }
  // The bonds that are there, placeholders among them.
  unsigned NumBonds() const { return num_bonds_; }
  // The index bound of the atoms: one more than the highest index ever given.
  unsigned GetMaxAtomIdx() const { return static_cast<unsigned>(atoms_.size()); }
  // The index bound of the bonds.
  unsigned GetMaxBondIdx() const { return static_cast<unsigned>(bonds_.size()); }

  // Walks the atoms in index order.
  NxIter<NxAtomBase> GetAtoms() const { return NxIter<NxAtomBase>(atoms_); }
  // Walks the bonds in index order.
  NxIter<NxBondBase> GetBonds() const { return NxIter<NxBondBase>(bonds_); }

  // Makes an atom, with the next index, which stands at the origin in every conformer. The molecule owns it.
  NxAtomBase* NewAtom(unsigned atomic_num);
  // Makes room for so many atoms and bonds in all; speed only.
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
  // The bond of this index, likewise.
  NxBondBase* GetBond(int idx) const;

  // All coordinates in index order: 3 * GetMaxAtomIdx() floats, angstrom, of the active conformer where there are
  // conformers; a multi-conformer molecule that has none reads as zero and keeps nothing. The places of deleted atoms
  // are neither written nor read. A null array is passed over.
  void GetCoords(float* xyz) const;
  void SetCoords(const float* xyz);
  // One atom's coordinates, 3 floats, likewise. An atom of another molecule is refused with a warning and reads as
  // zero.
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
  friend class NxBondBase;
  friend class NxConfBase;

  // Whether the atom is this molecule's; warns when it is not.
  NX_LOCAL bool Owns(const NxAtomBase& atom) const;
  // From one full coordinate array into another, the places of deleted atoms left as they are.
  NX_LOCAL void CopyLiveCoords(const float* from, float* to) const;
  void TopologyChanged() { rings_known_ = false; }

  std::string title_;
  std::vector<std::unique_ptr<NxAtomBase>> atoms_;
  std::vector<std::unique_ptr<NxBondBase>> bonds_;
  unsigned num_atoms_ = 0;
  unsigned num_bonds_ = 0;
  std::vector<float> coords_;
  mutable bool rings_known_ = true;
};

// One conformer: an index, stable while it lives, the coordinates of every atom, and generic data.
class NX_API NxConfBase : public NxSystem::NxBase {
 public:
  NxConfBase(const NxConfBase&) = delete;
  NxConfBase& operator=(const NxConfBase&) = delete;
  // The molecule's to call: NxMCMolBase::DeleteConf.
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

// A molecule with an ordered list of conformers, of which one is active; the molecule's coordinates are the active
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

  // The conformers that are there.
  unsigned NumConfs() const { return num_confs_; }
  // One more than the highest conformer index ever given.
  unsigned GetMaxConfIdx() const { return static_cast<unsigned>(confs_.size()); }
  // Walks the conformers in index order.
  NxIter<NxConfBase> GetConfs() const { return NxIter<NxConfBase>(confs_); }
  // The active conformer, which the molecule owns; null when there is none.
  NxConfBase* GetActive() const { return active_; }
  // Makes the conformer the active one. False, with nothing changed, for null and when it is not one of this
  // molecule's.
  bool SetActive(NxConfBase* conf);
  // The conformer of this index, which the molecule owns; null when there is none.
  NxConfBase* GetConf(int idx) const;

  // Saves the active conformer on a stack and makes another active, for code that works on one for a while. False, with
  // nothing changed, for null and when the conformer is not one of this molecule's. SetActive leaves the stack alone;
  // a conformer that is deleted is taken off it.
  bool PushActive(NxConfBase* conf);
  // Makes the conformer that was saved last active again. False, with nothing changed, when none is saved.
  bool PopActive();
  // Forgets the saved conformers; the active one stays.
  void ClearActiveStack() { saved_active_.clear(); }

  // Makes a new last conformer, which the molecule owns, with the coordinates of the active one, all zero when there is
  // none; the first becomes active.
  NxConfBase* NewConf();
  // Deletes the conformer; when it was the active one the first that remains becomes it. False, with nothing changed,
  // for null and for a conformer of another molecule.
  bool DeleteConf(NxConfBase* conf);

  // Gives back storage of the conformers, too.
  void Sweep() override;
  // Back to an empty molecule with one conformer if it had any, which is active.
  void Clear() override;

 protected:
  float* ActiveCoords() override;
  void ResizeCoords(unsigned n) override;

 private:
  NX_LOCAL void CopyConfs(const NxMCMolBase& other);

  std::vector<std::unique_ptr<NxConfBase>> confs_;
  unsigned num_confs_ = 0;
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
