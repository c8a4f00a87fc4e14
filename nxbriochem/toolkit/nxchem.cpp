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
  if (atomic_num != GetAtomicNum()) {
    NxMolBase& mol = GetParent();
    mol.store_.SetAtomicNum(GetIdx(), atomic_num);
    // Rotor flags depend on which neighbours are heavy.
    mol.TopologyChanged();
  }
}

void NxAtomBase::SetName(std::string_view name) { GetParent().store_.SetName(GetIdx(), name); }

bool NxAtomBase::IsInRing() const { return GetSmallestRingSize() != 0; }

unsigned NxAtomBase::GetSmallestRingSize() const {
  const NxMolBase& mol = GetParent();
  mol.PerceiveRings();
  return GetIdx() < mol.atom_rings_.size() ? mol.atom_rings_[GetIdx()] : 0;
}

unsigned NxAtomBase::GetHeavyDegree() const {
  std::vector<const NxAtomBase*> heavy;
  for (const NxBondBase* bond : GetBonds()) {
    const NxAtomBase* other = bond->GetNbr(*this);
    if (other != nullptr && other != this && other->GetAtomicNum() > 1) {
      heavy.push_back(other);
    }
  }
  std::sort(heavy.begin(), heavy.end());
  return static_cast<unsigned>(std::unique(heavy.begin(), heavy.end()) - heavy.begin());
}

NxAtomBase* NxBondBase::GetNbr(const NxAtomBase& atom) const {
  if (&atom.GetParent() != &GetParent()) {
    return nullptr;
  }
  const auto idx = static_cast<int>(atom.GetIdx());
  return idx == GetBgnIdx() ? GetEnd() : idx == GetEndIdx() ? GetBgn() : nullptr;
}

void NxBondBase::SetBgn(NxAtomBase* atom) { GetParent().Rewire(*this, 0, atom); }

void NxBondBase::SetEnd(NxAtomBase* atom) { GetParent().Rewire(*this, 1, atom); }

int NxBondBase::GetOrder() const {
  const std::int8_t order = Chunk().orders[place_];
  return order != NxChunk<NxBondBase>::kOddOrder ? order : GetParent().odd_orders_.find(GetIdx())->second;
}

void NxBondBase::SetOrder(int order) {
  if (order == GetOrder()) {
    return;
  }
  NxMolBase& mol = GetParent();
  std::int8_t& stored = Chunk().orders[place_];
  if (order > INT8_MIN && order <= INT8_MAX) {
    if (stored == NxChunk<NxBondBase>::kOddOrder) {
      mol.odd_orders_.erase(GetIdx());
    }
    stored = static_cast<std::int8_t>(order);
  } else {
    mol.odd_orders_[GetIdx()] = order;
    stored = NxChunk<NxBondBase>::kOddOrder;
  }
  mol.TopologyChanged();
}

bool NxBondBase::IsInRing() const { return GetSmallestRingSize() != 0; }

unsigned NxBondBase::GetSmallestRingSize() const {
  const NxMolBase& mol = GetParent();
  mol.PerceiveRings();
  return GetIdx() < mol.bond_rings_.size() ? mol.bond_rings_[GetIdx()] / 2 : 0;
}

bool NxBondBase::IsRotor() const {
  const NxMolBase& mol = GetParent();
  mol.PerceiveRings();
  return GetIdx() < mol.bond_rings_.size() && mol.bond_rings_[GetIdx()] % 2 != 0;
}

NxMolBase::NxMolBase() = default;

NxMolBase::NxMolBase(const NxMolBase& other)
    : NxBase(other),
      title_(other.title_),
      store_(other.store_),
      odd_orders_(other.odd_orders_),
      atom_rings_(other.atom_rings_),
      bond_rings_(other.bond_rings_),
      rings_known_(other.rings_known_) {
  atoms_.CopyFrom(other.atoms_, [this](const NxChunk<NxAtomBase>& chunk) {
    auto copy = std::make_unique<NxChunk<NxAtomBase>>();
    copy->head = chunk.head;
    copy->head.parent = this;
    return copy;
  });
  bonds_.CopyFrom(other.bonds_, [this](const NxChunk<NxBondBase>& chunk) {
    auto copy = std::make_unique<NxChunk<NxBondBase>>();
    copy->head = chunk.head;
    copy->head.parent = this;
    std::copy(std::begin(chunk.orders), std::end(chunk.orders), copy->orders);
    for (std::size_t end = 0; end < 2; ++end) {
      std::copy(std::begin(chunk.ends[end]), std::end(chunk.ends[end]), copy->ends[end]);
      std::copy(std::begin(chunk.next[end]), std::end(chunk.next[end]), copy->next[end]);
    }
    return copy;
  });
  coords_.resize(std::size_t{3} * GetMaxAtomIdx());
  if (const float* xyz = other.CoordData()) {
    std::copy_n(xyz, coords_.size(), coords_.begin());
  }
}

NxMolBase::NxMolBase(const NxMolBase& other, const int* mask)
    : NxBase(other), title_(other.title_), rings_known_(false) {
  constexpr unsigned kNone = ~0U;
  std::vector<unsigned> places(other.GetMaxAtomIdx(), kNone);
  unsigned n = 0;
  for (const NxAtomBase& atom : other.GetAtoms()) {
    if (Selects(mask, atom)) {
      places[atom.GetIdx()] = n++;
    }
  }
  AddAtoms(n, 0);
  for (unsigned from = 0; from < places.size(); ++from) {
    if (places[from] != kNone) {
      CopyAtom(other, from, places[from]);
    }
  }
  for (const NxBondBase& bond : other.GetBonds()) {
    const NxAtomBase* bgn = bond.GetBgn();
    const NxAtomBase* end = bond.GetEnd();
    if (bgn != nullptr && end != nullptr && places[bgn->GetIdx()] != kNone && places[end->GetIdx()] != kNone) {
      NewBond(atoms_.Get(places[bgn->GetIdx()]), atoms_.Get(places[end->GetIdx()]), bond.GetOrder());
    }
  }
  if (const float* xyz = other.CoordData()) {
    coords_ = other.SelectCoords(xyz, mask);
  }
}

NxMolBase::~NxMolBase() = default;

void NxMolBase::CopyAtom(const NxMolBase& other, unsigned from, unsigned to) {
  const NxAtomStore& its = other.store_;
  store_.Radii()[to] = its.Radii()[from];
  store_.PartialCharges()[to] = its.PartialCharges()[from];
  store_.FormalCharges()[to] = its.FormalCharges()[from];
  store_.IntTypes()[to] = its.IntTypes()[from];
  store_.SetAtomicNum(to, its.AtomicNums()[from]);
  store_.SetName(to, its.Name(its.NameIds()[from]));
  if (its.ResidueIds()[from] != 0) {
    store_.SetResidue(to, its.Residue(its.ResidueIds()[from]));
  }
}

void NxMolBase::AddAtoms(unsigned n, unsigned atomic_num) {
  const unsigned bound = GetMaxAtomIdx() + n;
  ResizeCoords(bound);
  store_.Reserve(bound);
  atoms_.Reserve(bound);
  while (n > 0) {
    atoms_.Open(this);
    constexpr unsigned kSize = NxChunk<NxAtomBase>::kSize;
    const unsigned here = std::min(n, kSize - GetMaxAtomIdx() % kSize);
    store_.Extend(here, atomic_num);
    atoms_.Add(here);
    n -= here;
  }
}

NxAtomBase* NxMolBase::NewAtom(unsigned atomic_num) {
  AddAtoms(1, atomic_num);
  return atoms_.Get(GetMaxAtomIdx() - 1);
}

void NxMolBase::Reserve(unsigned n_atoms, unsigned n_bonds) {
  store_.Reserve(n_atoms);
  atoms_.Reserve(n_atoms);
  bonds_.Reserve(n_bonds);
}

bool NxMolBase::DeleteAtom(NxAtomBase* atom) {
  if (atom == nullptr || &atom->GetParent() != this) {
    return false;
  }
  const unsigned idx = atom->GetIdx();
  // From the front, where removing a bond from an atom is fastest.
  while (store_.LastBonds()[idx] != 0) {
    DeleteBond(atom->GetBonds().front());
  }
  store_.Erase(idx);
  atoms_.Remove(idx);
  return true;
}

NxBondBase* NxMolBase::NewBond(NxAtomBase* bgn, NxAtomBase* end, int order) {
  if ((bgn != nullptr && &bgn->GetParent() != this) || (end != nullptr && &end->GetParent() != this)) {
    NxSystem::NxThrow.Warning("Attempt to bond an atom of another molecule");
    return nullptr;
  }
  using Chunk = NxChunk<NxBondBase>;
  const unsigned place = GetMaxBondIdx() % Chunk::kSize;
  Chunk& chunk = bonds_.Open(this);
  chunk.orders[place] = 0;
  chunk.ends[0][place] = Chunk::kNoAtom;
  chunk.ends[1][place] = Chunk::kNoAtom;
  chunk.At(place)->SetOrder(order);
  NxBondBase* bond = bonds_.Add();
  Rewire(*bond, 0, bgn);
  Rewire(*bond, 1, end);
  return bond;
}

bool NxMolBase::DeleteBond(NxBondBase* bond) {
  if (bond == nullptr || &bond->GetParent() != this) {
    return false;
  }
  Rewire(*bond, 0, nullptr);
  Rewire(*bond, 1, nullptr);
  bond->SetOrder(0);
  bonds_.Remove(bond->GetIdx());
  return true;
}

void NxMolBase::Attach(unsigned atom, unsigned link) {
  unsigned& last = store_.LastBonds()[atom];
  NextLink(link) = last != 0 ? NextLink(last) : link;
  if (last != 0) {
    NextLink(last) = link;
  }
  last = link;
}

void NxMolBase::Detach(unsigned atom, unsigned link) {
  unsigned& last = store_.LastBonds()[atom];
  unsigned before = last;
  while (NextLink(before) != link) {
    before = NextLink(before);
  }
  if (before == link) {
    last = 0;
    return;
  }
  NextLink(before) = NextLink(link);
  if (last == link) {
    last = before;
  }
}

// Replaces one link of an atom by another. Does nothing when the atom has no such link.
void NxMolBase::ReplaceLink(unsigned atom, unsigned from, unsigned to) {
  unsigned& last = store_.LastBonds()[atom];
  unsigned before = last;
  while (NextLink(before) != from) {
    before = NextLink(before);
    if (before == last) {
      return;
    }
  }
  NextLink(to) = before != from ? NextLink(from) : to;
  NextLink(before != from ? before : to) = to;
  if (last == from) {
    last = to;
  }
}

void NxMolBase::Rewire(NxBondBase& bond, unsigned end, const NxAtomBase* atom) {
  using Chunk = NxChunk<NxBondBase>;
  if (atom != nullptr && &atom->GetParent() != this) {
    NxSystem::NxThrow.Warning("Attempt to bond an atom of another molecule");
    return;
  }
  Chunk& chunk = bond.Chunk();
  unsigned& slot = chunk.ends[end][bond.place_];
  const unsigned other = chunk.ends[1 - end][bond.place_];
  const unsigned wanted = atom != nullptr ? atom->GetIdx() : Chunk::kNoAtom;
  if (wanted == slot) {
    return;
  }
  const unsigned link = 2 * bond.GetIdx() + end + 1;
  const unsigned link_of_other = 2 * bond.GetIdx() + 2 - end;
  if (slot == other) {
    if (slot != Chunk::kNoAtom) {
      ReplaceLink(slot, link, link_of_other);  // an atom bonded to itself has the bond once, by either end
    }
  } else if (slot != Chunk::kNoAtom) {
    Detach(slot, link);
  }
  if (wanted != Chunk::kNoAtom && wanted != other) {
    Attach(wanted, link);
  }
  slot = wanted;
  TopologyChanged();
}

NxAtomBase* NxMolBase::GetAtom(int idx) const { return atoms_.Get(static_cast<unsigned>(idx)); }

NxBondBase* NxMolBase::GetBond(int idx) const { return bonds_.Get(static_cast<unsigned>(idx)); }

bool NxMolBase::Owns(const NxAtomBase& atom) const {
  if (&atom.GetParent() != this) {
    NxSystem::NxThrow.Warning("Attempt to use coordinates of an atom of another molecule");
    return false;
  }
  return true;
}

void NxMolBase::CopyLiveCoords(const float* from, float* to) const {
  atoms_.Stretches([from, to](unsigned begin, unsigned end) {
    const std::size_t at = std::size_t{3} * begin;
    std::copy_n(from + at, std::size_t{3} * (end - begin), to + at);
  });
}

std::vector<float> NxMolBase::SelectCoords(const float* from, const int* mask) const {
  std::vector<float> selected;
  selected.reserve(std::size_t{3} * NumAtoms());
  for (const NxAtomBase& atom : GetAtoms()) {
    if (Selects(mask, atom)) {
      const float* at = from + std::size_t{3} * atom.GetIdx();
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
  atoms_.Sweep();
  bonds_.Sweep();
  store_.Sweep();
  ReleaseSpare(coords_);
}

void NxMolBase::Clear() {
  NxBase::Clear();
  title_.clear();
  bonds_.Clear();
  atoms_.Clear();
  store_.Clear();
  odd_orders_.clear();
  atom_rings_ = {};
  bond_rings_ = {};
  rings_known_ = true;
  ResizeCoords(0);
}

float* NxMolBase::ActiveCoords() { return coords_.data(); }

void NxMolBase::ResizeCoords(unsigned n) { coords_.resize(std::size_t{3} * n); }

bool NxHasResidue(const NxAtomBase& atom) { return atom.GetParent().store_.ResidueIds()[atom.GetIdx()] != 0; }

const NxResidue& NxAtomGetResidue(const NxAtomBase& atom) {
  const NxAtomStore& store = atom.GetParent().store_;
  return store.Residue(store.ResidueIds()[atom.GetIdx()]);
}

void NxAtomSetResidue(NxAtomBase& atom, const NxResidue& residue) {
  atom.GetParent().store_.SetResidue(atom.GetIdx(), residue);
}

}  // namespace NxChem
