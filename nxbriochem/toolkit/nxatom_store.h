// The properties of a molecule's atoms, as flat arrays by atom index. C++17; for the toolkit and the library's modules.
//
// One block holds a column for each property, so that the values of all atoms are contiguous. Places of deleted atoms
// hold zero. Names are kept in a pool that holds each different name once; residue records in a pool where neighbouring
// atoms with equal records share one. Names and records keep their addresses as long as an atom has them; columns move
// when atoms are made.
#ifndef NXBRIOCHEM_TOOLKIT_NXATOM_STORE_H
#define NXBRIOCHEM_TOOLKIT_NXATOM_STORE_H

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <nxbriochem/toolkit/nxresidue.h>

namespace NxChem {

// Texts by number. 0 is the empty text.
class NxNamePool {
 public:
  // A pool with only the empty text.
  NxNamePool() = default;
  // A copy, with every text under its number.
  NxNamePool(const NxNamePool& other);
  NxNamePool& operator=(const NxNamePool&) = delete;

  // The text of a number that Find or Add gave.
  const std::string& At(unsigned id) const { return id == 0 ? empty_ : blocks_[id / kBlock]->texts[id % kBlock]; }
  // The number of a text; 0 for the empty text and for one that is not there.
  unsigned Find(std::string_view text) const;
  // Adds a text that is not empty and not in the pool. Returns its number.
  unsigned Add(std::string_view text);
  // How many texts there are and how many of them the last KeepOnly left.
  unsigned Size() const { return size_; }
  unsigned Kept() const { return kept_; }
  // Drops every text that is not used. `used` has an entry per number.
  void KeepOnly(const std::vector<bool>& used);
  // One more than the highest number ever given.
  unsigned Bound() const { return bound_; }
  // Drops every text.
  void Clear();

 private:
  static constexpr unsigned kBlock = 16;
  struct Block {
    std::string texts[kBlock];
  };

  std::size_t Home(std::string_view text) const;
  void Index(unsigned id);
  void Rehash(std::size_t cells);

  std::string empty_;
  std::vector<std::unique_ptr<Block>> blocks_;
  std::vector<unsigned> cells_;  // a hash table of numbers, 0 where there is none; a power of two, at most half full
  std::vector<unsigned> free_;   // numbers that are no longer in use
  unsigned size_ = 0;
  unsigned kept_ = 0;
  unsigned bound_ = 1;
};

// Residue records by number, each with the count of atoms that have it. 0 is an empty record.
class NxResiduePool {
 public:
  // No records.
  NxResiduePool() = default;
  // A copy, with every record under its number.
  NxResiduePool(const NxResiduePool& other);
  NxResiduePool& operator=(const NxResiduePool&) = delete;

  // The record of a number.
  const NxResidue& At(unsigned id) const { return id == 0 ? none_ : blocks_[id / kBlock]->records[id % kBlock]; }
  // The record of a number other than 0, to be changed by the one atom that has it.
  NxResidue& At(unsigned id) { return id == 0 ? none_ : blocks_[id / kBlock]->records[id % kBlock]; }
  // How many atoms have it.
  unsigned& Uses(unsigned id) { return blocks_[id / kBlock]->uses[id % kBlock]; }

  // A free number, whose record may be filled. It stays free until Take, so that nothing is lost when filling fails.
  unsigned Spare();
  // Takes the number that Spare gave for one atom.
  void Take();
  // An atom gives the record up; the last one frees it.
  void Release(unsigned id);
  // Whether the records are equal to the last bit.
  static bool AreSame(const NxResidue& a, const NxResidue& b);
  // Drops every record.
  void Clear();

 private:
  static constexpr unsigned kBlock = 16;
  struct Block {
    NxResidue records[kBlock];
    unsigned uses[kBlock] = {};
  };

  NxResidue none_;
  std::vector<std::unique_ptr<Block>> blocks_;
  unsigned free_ = 0;  // the first of the free numbers, 0 for none; Uses of each holds the next one
  unsigned bound_ = 1;
};

// The columns and the pools. Atom indices are below Size().
class NxAtomStore {
 public:
  // No atoms.
  NxAtomStore() = default;
  // A copy of everything, without spare room.
  NxAtomStore(const NxAtomStore& other);
  NxAtomStore& operator=(const NxAtomStore&) = delete;

  // The number of places.
  unsigned Size() const { return size_; }
  // Makes room for n places in all, exactly n when nothing was made so far.
  void Reserve(unsigned n);
  // Adds n places, for which there is room, of this atomic number and otherwise zero.
  void Extend(unsigned n, unsigned atomic_num);
  // Zeroes the place of a deleted atom.
  void Erase(unsigned idx);
  // Frees unused room where more than half is unused.
  void Sweep();
  // No places.
  void Clear();

  // The columns, each of Size() values: radii in angstrom, partial charges in elementary charges, formal charges, the
  // callers' own integer types, atomic numbers, and the last bond of each atom (NxMolBase).
  float* Radii() const { return Column<float>(0); }
  float* PartialCharges() const { return Column<float>(1); }
  int* FormalCharges() const { return Column<int>(2); }
  int* IntTypes() const { return Column<int>(3); }
  unsigned* LastBonds() const { return Column<unsigned>(4); }
  // To be changed by SetAtomicNum alone.
  const unsigned* AtomicNums() const { return Column<unsigned>(5); }
  // Numbers of names and of residue records; 0 for none. To be changed by SetName and by the functions for residues.
  const unsigned* NameIds() const { return Column<unsigned>(6); }
  const unsigned* ResidueIds() const { return Column<unsigned>(7); }
  // 1 where the name of the atom, its element symbol when it has none, begins with H or h; else 0.
  const unsigned char* Hydrogens() const { return Bytes(); }

  // How many atoms have a name.
  unsigned NumNamed() const { return num_named_; }
  // How many entries of Hydrogens are 1.
  unsigned NumHydrogens() const { return num_hydrogens_; }

  // Sets the atomic number.
  void SetAtomicNum(unsigned idx, unsigned atomic_num);
  // Sets the name, which is empty for none.
  void SetName(unsigned idx, std::string_view name);
  // Takes the name away.
  void DropName(unsigned idx) { PutName(idx, 0); }
  // The name of a number.
  const std::string& Name(unsigned id) const { return names_.At(id); }

  // The record of a number.
  const NxResidue& Residue(unsigned id) const { return residues_.At(id); }
  // Gives the atom a copy of the record.
  void SetResidue(unsigned idx, const NxResidue& residue);

  // Changes the records of atoms one after the other.
  class ResidueChanges {
   public:
    // For the atoms of this store.
    explicit ResidueChanges(NxAtomStore& store) : store_(&store) {}
    // Changes one atom's record by change(record), after which is_changed(record) must be true. An atom without record
    // first gets an empty one named "UNL". Neighbouring atoms that shared a record share one afterwards.
    template <class IsChanged, class Change>
    void Apply(unsigned idx, IsChanged is_changed, Change change) {
      const unsigned own = store_->ResidueIds()[idx];
      if (record_ == nullptr || idx != next_ || own != before_ || !is_changed(*record_)) {
        before_ = own;
        after_ = store_->Changed(idx, change);
        record_ = &std::as_const(store_->residues_).At(after_);
        uses_ = &store_->residues_.Uses(after_);
      } else if (own != after_) {
        ++*uses_;
        store_->ReplaceResidue(idx, after_);
      }
      next_ = idx + 1;
    }

   private:
    NxAtomStore* store_;
    unsigned before_ = 0;  // the old record of the atom before
    unsigned after_ = 0;   // and its new record
    const NxResidue* record_ = nullptr;
    unsigned* uses_ = nullptr;
    unsigned next_ = 0;
  };

 private:
  static constexpr std::size_t kWords = 8;
  static constexpr std::size_t kBytes = kWords * sizeof(unsigned) + 1;  // of a place

  template <class T>
  T* Column(std::size_t k) const {
    return reinterpret_cast<T*>(block_.get() + k * capacity_ * sizeof(unsigned));
  }
  unsigned char* Bytes() const { return Column<unsigned char>(kWords); }
  void Move(unsigned capacity);
  void PutName(unsigned idx, unsigned id);
  void DropUnusedNames();
  void ReplaceResidue(unsigned idx, unsigned id) {
    unsigned& own = Column<unsigned>(7)[idx];
    if (own != 0) {
      residues_.Release(own);
    }
    own = id;
  }
  // The number of the atom's record or of the one before it, when that is the same.
  unsigned Share(unsigned idx);

  template <class Change>
  unsigned Changed(unsigned idx, Change change) {
    const unsigned own = ResidueIds()[idx];
    if (own != 0 && residues_.Uses(own) == 1) {
      change(residues_.At(own));
    } else {
      const unsigned id = residues_.Spare();
      NxResidue& record = residues_.At(id);
      record = std::as_const(residues_).At(own);
      if (own == 0) {
        record.SetName("UNL");
      }
      change(record);
      residues_.Take();
      ReplaceResidue(idx, id);
    }
    return Share(idx);
  }

  std::unique_ptr<std::byte[]> block_;
  std::size_t capacity_ = 0;
  unsigned size_ = 0;
  unsigned num_named_ = 0;
  unsigned num_hydrogens_ = 0;
  NxNamePool names_;
  NxResiduePool residues_;
};

}  // namespace NxChem

#endif
