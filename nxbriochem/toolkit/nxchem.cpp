#include <nxbriochem/toolkit/nxchem.h>

#include <algorithm>
#include <iterator>

namespace NxChem {
namespace {

// Storage is given back when more than half of it lies idle; a caller who adds an atom and sweeps, over and over, must
// not pay for moving the whole table each time.
template <class T>
void ReleaseSpare(std::vector<T>& table) {
  if (table.capacity() > 2 * table.size()) {
    table.shrink_to_fit();
  }
}

bool Selects(const int* mask, const NxAtomBase& atom) { return mask == nullptr || mask[atom.GetIdx()] != 0; }

}  // namespace

void NxAtomBase::SetAtomicNum(unsigned atomic_num) {
  if (atomic_num != atomic_num_) {
    atomic_num_ = atomic_num;
    // Rotor flags depend on which neighbours are heavy.
    parent_->TopologyChanged();
  }
}

bool NxAtomBase::IsInRing() const { return GetSmallestRingSize() != 0; }

unsigned NxAtomBase::GetSmallestRingSize() const {
  parent_->PerceiveRings();
  return smallest_ring_;
}

unsigned NxAtomBase::GetHeavyDegree() const {
  std::vector<const NxAtomBase*> heavy;
  heavy.reserve(bonds_.size());
  for (const NxBondBase* bond : bonds_) {
    const NxAtomBase* other = bond->GetNbr(*this);
    if (other != nullptr && other != this && other->atomic_num_ > 1) {
      heavy.push_back(other);
    }
  }
  std::sort(heavy.begin(), heavy.end());
  return static_cast<unsigned>(std::unique(heavy.begin(), heavy.end()) - heavy.begin());
}

void NxAtomBase::Attach(NxBondBase* bond) { bonds_.push_back(bond); }

void NxAtomBase::Detach(const NxBondBase* bond) {
  // From the back: that is where DeleteAtom takes from.
  const auto at = std::find(bonds_.rbegin(), bonds_.rend(), bond);
  if (at != bonds_.rend()) {
    bonds_.erase(std::next(at).base());
  }
}

void NxBondBase::SetBgn(NxAtomBase* atom) { Rewire(bgn_, end_, atom); }

void NxBondBase::SetEnd(NxAtomBase* atom) { Rewire(end_, bgn_, atom); }

void NxBondBase::Rewire(NxAtomBase*& slot, const NxAtomBase* other_end, NxAtomBase* atom) {
  if (atom != nullptr && &atom->GetParent() != parent_) {
    NxSystem::NxThrow.Warning("Attempt to bond an atom of another molecule");
    return;
  }
  if (atom == slot) {
    return;
  }
  if (slot != nullptr && slot != other_end) {
    slot->Detach(this);
  }
  if (atom != nullptr && atom != other_end) {
    atom->Attach(this);
  }
  slot = atom;
  parent_->TopologyChanged();
}

void NxBondBase::SetOrder(int order) {
  if (order != order_) {
    order_ = order;
    parent_->TopologyChanged();
  }
}

bool NxBondBase::IsInRing() const { return GetSmallestRingSize() != 0; }

unsigned NxBondBase::GetSmallestRingSize() const {
  parent_->PerceiveRings();
  return smallest_ring_;
}

bool NxBondBase::IsRotor() const {
  parent_->PerceiveRings();
  return rotor_;
}

NxMolBase::NxMolBase() = default;

NxMolBase::NxMolBase(const NxMolBase& other)
    : NxBase(other),
      title_(other.title_),
      num_atoms_(other.num_atoms_),
      num_bonds_(other.num_bonds_),
      rings_known_(other.rings_known_) {
  atoms_.resize(other.atoms_.size());
  bonds_.resize(other.bonds_.size());
  for (const NxBondBase& bond : other.GetBonds()) {
    bonds_[bond.idx_].reset(new NxBondBase(bond));
    bonds_[bond.idx_]->parent_ = this;
  }
  for (const NxAtomBase& atom : other.GetAtoms()) {
    auto* copy = new NxAtomBase(atom);
    atoms_[atom.idx_].reset(copy);
    copy->parent_ = this;
    for (NxBondBase*& bond : copy->bonds_) {
      bond = bonds_[bond->idx_].get();
      if (bond->bgn_ == &atom) {
        bond->bgn_ = copy;
      }
      if (bond->end_ == &atom) {
        bond->end_ = copy;
      }
    }
  }
  coords_.resize(3 * atoms_.size());
  if (const float* xyz = other.CoordData()) {
    std::copy_n(xyz, coords_.size(), coords_.begin());
  }
}

NxMolBase::NxMolBase(const NxMolBase& other, const int* mask)
    : NxBase(other), title_(other.title_), rings_known_(false) {
  std::vector<NxAtomBase*> copies(other.atoms_.size());
  for (const NxAtomBase& atom : other.GetAtoms()) {
    if (!Selects(mask, atom)) {
      continue;
    }
    atoms_.push_back(std::unique_ptr<NxAtomBase>(new NxAtomBase(atom)));
    NxAtomBase* copy = atoms_.back().get();
    copy->parent_ = this;
    copy->idx_ = num_atoms_++;
    copy->bonds_.clear();
    copies[atom.idx_] = copy;
  }
  for (const NxBondBase& bond : other.GetBonds()) {
    NxAtomBase* bgn = bond.bgn_ != nullptr ? copies[bond.bgn_->idx_] : nullptr;
    NxAtomBase* end = bond.end_ != nullptr ? copies[bond.end_->idx_] : nullptr;
    if (bgn != nullptr && end != nullptr) {
      NewBond(bgn, end, bond.order_);
    }
  }
  coords_.resize(3 * atoms_.size());
  if (const float* xyz = other.CoordData()) {
    coords_ = other.SelectCoords(xyz, mask);
  }
}

NxMolBase::~NxMolBase() = default;

NxAtomBase* NxMolBase::NewAtom(unsigned atomic_num) {
  const unsigned idx = GetMaxAtomIdx();
  ResizeCoords(idx + 1);
  atoms_.push_back(std::unique_ptr<NxAtomBase>(new NxAtomBase(this, idx, atomic_num)));
  ++num_atoms_;
  return atoms_.back().get();
}

void NxMolBase::Reserve(unsigned n_atoms, unsigned n_bonds) {
  atoms_.reserve(n_atoms);
  bonds_.reserve(n_bonds);
}

bool NxMolBase::DeleteAtom(NxAtomBase* atom) {
  if (atom == nullptr || atom->parent_ != this) {
    return false;
  }
  while (!atom->bonds_.empty()) {
    DeleteBond(atom->bonds_.back());
  }
  atoms_[atom->idx_].reset();
  --num_atoms_;
  return true;
}

NxBondBase* NxMolBase::NewBond(NxAtomBase* bgn, NxAtomBase* end, int order) {
  if ((bgn != nullptr && bgn->parent_ != this) || (end != nullptr && end->parent_ != this)) {
    NxSystem::NxThrow.Warning("Attempt to bond an atom of another molecule");
    return nullptr;
  }
  bonds_.push_back(std::unique_ptr<NxBondBase>(new NxBondBase(this, GetMaxBondIdx())));
  ++num_bonds_;
  NxBondBase* bond = bonds_.back().get();
  bond->SetBgn(bgn);
  bond->SetEnd(end);
  bond->SetOrder(order);
  return bond;
}

bool NxMolBase::DeleteBond(NxBondBase* bond) {
  if (bond == nullptr || bond->parent_ != this) {
    return false;
  }
  bond->SetBgn(nullptr);
  bond->SetEnd(nullptr);
  bonds_[bond->idx_].reset();
  --num_bonds_;
  return true;
}

NxAtomBase* NxMolBase::GetAtom(int idx) const {
  return idx >= 0 && static_cast<unsigned>(idx) < atoms_.size() ? atoms_[static_cast<unsigned>(idx)].get() : nullptr;
}

NxBondBase* NxMolBase::GetBond(int idx) const {
  return idx >= 0 && static_cast<unsigned>(idx) < bonds_.size() ? bonds_[static_cast<unsigned>(idx)].get() : nullptr;
}

bool NxMolBase::Owns(const NxAtomBase& atom) const {
  if (&atom.GetParent() != this) {
    NxSystem::NxThrow.Warning("Attempt to use coordinates of an atom of another molecule");
    return false;
  }
  return true;
}

void NxMolBase::CopyLiveCoords(const float* from, float* to) const {
  if (num_atoms_ == GetMaxAtomIdx()) {
    std::copy_n(from, std::size_t{3} * num_atoms_, to);
    return;
  }
  for (const NxAtomBase& atom : GetAtoms()) {
    const std::size_t at = std::size_t{3} * atom.idx_;
    std::copy_n(from + at, 3, to + at);
  }
}

std::vector<float> NxMolBase::SelectCoords(const float* from, const int* mask) const {
  std::vector<float> selected;
  selected.reserve(std::size_t{3} * num_atoms_);
  for (const NxAtomBase& atom : GetAtoms()) {
    if (Selects(mask, atom)) {
      const float* at = from + std::size_t{3} * atom.idx_;
      selected.insert(selected.end(), at, at + 3);
    }
  }
  return selected;
}

void NxMolBase::GetCoords(float* xyz) const {
  const float* stored = CoordData();
  if (xyz == nullptr) {
    return;
  }
  if (stored != nullptr) {
    CopyLiveCoords(stored, xyz);
  } else {
    std::fill_n(xyz, std::size_t{3} * GetMaxAtomIdx(), 0.0F);
  }
}

void NxMolBase::SetCoords(const float* xyz) {
  float* stored = ActiveCoords();
  if (xyz != nullptr && stored != nullptr) {
    CopyLiveCoords(xyz, stored);
  }
}

void NxMolBase::GetCoords(const NxAtomBase& atom, float xyz[3]) const {
  if (xyz == nullptr) {
    return;
  }
  const float* stored = Owns(atom) ? CoordData() : nullptr;
  if (stored != nullptr) {
    std::copy_n(stored + std::size_t{3} * atom.GetIdx(), 3, xyz);
  } else {
    std::fill_n(xyz, 3, 0.0F);
  }
}

void NxMolBase::SetCoords(const NxAtomBase& atom, const float xyz[3]) {
  float* stored = xyz != nullptr && Owns(atom) ? ActiveCoords() : nullptr;
  if (stored != nullptr) {
    std::copy_n(xyz, 3, stored + std::size_t{3} * atom.GetIdx());
  }
}

void NxMolBase::Sweep() {
  ReleaseSpare(atoms_);
  ReleaseSpare(bonds_);
  ReleaseSpare(coords_);
}

void NxMolBase::Clear() {
  NxBase::Clear();
  title_.clear();
  bonds_.clear();
  atoms_.clear();
  num_atoms_ = 0;
  num_bonds_ = 0;
  rings_known_ = true;
  ResizeCoords(0);
}

float* NxMolBase::ActiveCoords() { return coords_.data(); }

void NxMolBase::ResizeCoords(unsigned n) { coords_.resize(std::size_t{3} * n); }

bool NxHasResidue(const NxAtomBase& atom) { return atom.has_residue_; }

const NxResidue& NxAtomGetResidue(const NxAtomBase& atom) { return atom.residue_; }

void NxAtomSetResidue(NxAtomBase& atom, const NxResidue& residue) {
  atom.residue_ = residue;
  atom.has_residue_ = true;
}

}  // namespace NxChem
