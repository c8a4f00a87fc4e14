#include <nxbriochem/toolkit/nxchem.h>

#include <gtest/gtest.h>

#include <nxbriochem/toolkit/nxchem_internal.h>
#include <nxbriochem/toolkit/nxelements.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using namespace NxChem;

using Triple = std::array<float, 3>;

// A model of a molecule in the simplest form: everything by index.
struct Model {
  struct Bond {
    int bgn;
    int end;
    int order;
    bool operator==(const Bond&) const = default;
  };
  struct Atom {
    unsigned z = 0;
    std::string name;
    float charge = 0;
    bool has_residue = false;
    std::string residue_name;
    int residue_number = 0;
    float b_factor = 0;
    std::vector<int> bonds;  // in the order in which they were attached
    bool operator==(const Atom&) const = default;
    // By the name, or for an unnamed atom by the element's symbol.
    bool is_hydrogen() const { return (name.empty() ? NxGetAtomicSymbol(z)[0] : name[0] & ~32) == 'H'; }
  };
  std::map<int, Atom> atoms;
  std::map<int, Bond> bonds;

  // Gives an end of a bond to an atom or, with -1, to none. A bond of an atom with itself is attached once.
  void wire(int bond, bool begin, int atom) {
    int& end = begin ? bonds[bond].bgn : bonds[bond].end;
    const int other = begin ? bonds[bond].end : bonds[bond].bgn;
    if (end >= 0 && end != other && end != atom) {
      std::erase(atoms[end].bonds, bond);
    }
    if (atom >= 0 && atom != other && end != atom) {
      atoms[atom].bonds.push_back(bond);
    }
    end = atom;
  }
  std::map<int, std::map<int, Triple>> confs;
  int active = -1;
  std::vector<int> saved;  // the stack of active conformers
  int next_atom = 0;
  int next_bond = 0;
  int next_conf = 0;
};

void ExpectSame(const NxMCMolBase& mol, const Model& model) {
  ASSERT_EQ(mol.NumAtoms(), model.atoms.size());
  ASSERT_EQ(mol.NumBonds(), model.bonds.size());
  ASSERT_EQ(mol.NumConfs(), model.confs.size());
  ASSERT_EQ(mol.GetMaxAtomIdx(), static_cast<unsigned>(model.next_atom));
  ASSERT_EQ(mol.GetMaxBondIdx(), static_cast<unsigned>(model.next_bond));
  ASSERT_EQ(mol.GetMaxConfIdx(), static_cast<unsigned>(model.next_conf));
  ASSERT_EQ(mol.GetActive() != nullptr ? static_cast<int>(mol.GetActive()->GetIdx()) : -1, model.active);
  auto atom = mol.GetAtoms();
  std::map<int, std::vector<unsigned>> attached;
  for (const auto& [idx, bond] : model.bonds) {
    const NxBondBase* real = mol.GetBond(idx);
    ASSERT_NE(real, nullptr);
    ASSERT_EQ((Model::Bond{real->GetBgnIdx(), real->GetEndIdx(), real->GetOrder()}), bond);
    ASSERT_EQ(&real->GetParent(), &mol);
  }
  const NxAtomStore& store = NxMolInternals::Store(mol);
  unsigned n_named = 0;
  unsigned n_hydrogens = 0;
  for (const auto& [idx, expected] : model.atoms) {
    ASSERT_TRUE(atom);
    ASSERT_EQ(static_cast<int>(atom->GetIdx()), idx);
    ASSERT_EQ(&atom->GetParent(), &mol);
    ASSERT_EQ(mol.GetAtom(idx), &*atom);
    const NxResidue& residue = NxAtomGetResidue(*atom);
    Model::Atom real{atom->GetAtomicNum(),     atom->GetName(),
                     atom->GetPartialCharge(), NxHasResidue(*atom),
                     residue.GetName(),        residue.GetResidueNumber(),
                     residue.GetBFactor(),     {}};
    for (const NxBondBase* bond : atom->GetBonds()) {
      real.bonds.push_back(static_cast<int>(bond->GetIdx()));
    }
    ASSERT_EQ(real, expected);
    ASSERT_EQ(store.Hydrogens()[idx], expected.is_hydrogen());
    n_named += expected.name.empty() ? 0 : 1;
    n_hydrogens += expected.is_hydrogen() ? 1 : 0;
    for (const auto& [number, coords] : model.confs) {
      Triple xyz{};
      mol.GetConf(number)->GetCoords(*atom, xyz.data());
      ASSERT_EQ(xyz, coords.at(idx));
    }
    ++atom;
  }
  ASSERT_FALSE(atom);
  ASSERT_EQ(store.NumNamed(), n_named);
  ASSERT_EQ(store.NumHydrogens(), n_hydrogens);
  // GetCoords leaves the places of deleted atoms alone.
  std::vector<float> all(3 * mol.GetMaxAtomIdx(), -7.0F);
  mol.GetCoords(all.data());
  for (int idx = 0; idx < model.next_atom; ++idx) {
    const Triple expected = !model.atoms.contains(idx) ? Triple{-7, -7, -7}
                            : model.active < 0         ? Triple{0, 0, 0}
                                                       : model.confs.at(model.active).at(idx);
    // Without conformers the whole array reads as zero.
    if (model.atoms.contains(idx) || model.active >= 0) {
      const float* at = &all[static_cast<std::size_t>(3 * idx)];
      ASSERT_EQ((Triple{at[0], at[1], at[2]}), expected);
    }
  }
}

class RandomOperations {
 public:
  explicit RandomOperations(unsigned seed) : random_(seed), mol_(std::make_unique<NxMol>()) { StartConf(); }

  // Frequent operations have more than one case.
  void Step() {
    using Self = RandomOperations;
    static constexpr void (Self::*kOperations[])() = {
        &Self::AddAtom,    &Self::AddAtom,    &Self::AddAtom,  &Self::AddBond,    &Self::AddBond,   &Self::AddBond,
        &Self::DeleteAtom, &Self::DeleteBond, &Self::Rewire,   &Self::Rewire,     &Self::AddConf,   &Self::DeleteConf,
        &Self::Activate,   &Self::MoveAtom,   &Self::MoveAtom, &Self::PushActive, &Self::PopActive, &Self::Rarely,
        &Self::Describe,   &Self::Describe,   &Self::Describe, &Self::Order};
    (this->*kOperations[random_() % std::size(kOperations)])();
  }
  void Check() const { ExpectSame(*mol_, model_); }

 private:
  template <class Map>
  int AnyOf(const Map& map) {
    return map.empty() ? -1 : std::next(map.begin(), static_cast<long>(random_() % map.size()))->first;
  }
  int AnyAtomOrNone() { return random_() % 5 == 0 ? -1 : AnyOf(model_.atoms); }
  int AnyOrder() { return random_() % 8 == 0 ? static_cast<int>(random_()) : static_cast<int>(random_() % 4); }
  float AnyFloat() { return static_cast<float>(random_() % 2000) / 10.0F; }

  void AddAtom() {
    const auto z = static_cast<unsigned>(random_() % 20);
    ASSERT_EQ(static_cast<int>(mol_->NewAtom(z)->GetIdx()), model_.next_atom);
    model_.atoms[model_.next_atom].z = z;
    for (auto& [idx, coords] : model_.confs) {
      coords[model_.next_atom] = {0, 0, 0};
    }
    ++model_.next_atom;
  }
  void AddBond() {
    const Model::Bond bond{AnyAtomOrNone(), AnyAtomOrNone(), AnyOrder()};
    mol_->NewBond(mol_->GetAtom(bond.bgn), mol_->GetAtom(bond.end), bond.order);
    model_.bonds[model_.next_bond] = {-1, -1, bond.order};
    model_.wire(model_.next_bond, true, bond.bgn);
    model_.wire(model_.next_bond++, false, bond.end);
  }
  void DeleteAtom() {
    const int idx = AnyOf(model_.atoms);
    ASSERT_EQ(mol_->DeleteAtom(mol_->GetAtom(idx)), idx >= 0);
    if (idx >= 0) {
      for (const int bond : std::vector<int>(model_.atoms[idx].bonds)) {
        DropBond(bond);
      }
      model_.atoms.erase(idx);
      for (auto& [number, coords] : model_.confs) {
        coords.erase(idx);
      }
    }
  }
  void DeleteBond() {
    const int idx = AnyOf(model_.bonds);
    ASSERT_EQ(mol_->DeleteBond(mol_->GetBond(idx)), idx >= 0);
    if (idx >= 0) {
      DropBond(idx);
    }
  }
  void DropBond(int idx) {
    model_.wire(idx, true, -1);
    model_.wire(idx, false, -1);
    model_.bonds.erase(idx);
  }
  void Order() {
    const int idx = AnyOf(model_.bonds);
    if (idx >= 0) {
      mol_->GetBond(idx)->SetOrder(model_.bonds[idx].order = AnyOrder());
    }
  }
  // Sets names and residue records: shared by many atoms, or of a single atom.
  void Describe() {
    const int idx = AnyOf(model_.atoms);
    if (idx < 0) {
      return;
    }
    static const char* const kNames[] = {"CA", "hx", "", "HO5'", "a name of more letters than a string has inside"};
    NxAtomBase& atom = *mol_->GetAtom(idx);
    Model::Atom& expected = model_.atoms[idx];
    const auto pick = random_() % 4;
    if (pick == 0) {
      atom.SetAtomicNum(expected.z = static_cast<unsigned>(random_() % 3));
    } else if (pick == 1) {
      const auto which = random_() % 6;
      atom.SetName(expected.name =
                       which < 5 ? kNames[which] : std::string("N").append(std::to_string(random_() % 100000)));
    } else if (pick == 2) {
      atom.SetPartialCharge(expected.charge = AnyFloat());
    } else {
      NxResidue residue = NxAtomGetResidue(atom);
      residue.SetName(expected.residue_name = kNames[random_() % 5]);
      residue.SetResidueNumber(expected.residue_number = static_cast<int>(random_() % 2));
      residue.SetBFactor(expected.b_factor = random_() % 3 == 0 ? AnyFloat() : 0);
      NxAtomSetResidue(atom, residue);
      expected.has_residue = true;
    }
  }
  void Rewire() {
    const int idx = AnyOf(model_.bonds);
    if (idx >= 0) {
      const bool at_begin = random_() % 2 == 0;
      const int atom = AnyAtomOrNone();
      NxBondBase& bond = *mol_->GetBond(idx);
      at_begin ? bond.SetBgn(mol_->GetAtom(atom)) : bond.SetEnd(mol_->GetAtom(atom));
      model_.wire(idx, at_begin, atom);
    }
  }
  void AddConf() {
    if (model_.confs.size() < 6) {
      mol_->NewConf();
      std::map<int, Triple> coords;
      for (const auto& [idx, atom] : model_.atoms) {
        coords[idx] = model_.active >= 0 ? model_.confs[model_.active][idx] : Triple{0, 0, 0};
      }
      model_.confs[model_.next_conf] = coords;
      model_.active = model_.active >= 0 ? model_.active : model_.next_conf;
      ++model_.next_conf;
    }
  }
  void DeleteConf() {
    const int idx = AnyOf(model_.confs);
    ASSERT_EQ(mol_->DeleteConf(mol_->GetConf(idx)), idx >= 0);
    model_.confs.erase(idx);
    std::erase(model_.saved, idx);
    if (idx == model_.active) {
      model_.active = model_.confs.empty() ? -1 : model_.confs.begin()->first;
    }
  }
  void Activate() {
    const int idx = AnyOf(model_.confs);
    ASSERT_EQ(mol_->SetActive(mol_->GetConf(idx)), idx >= 0);
    model_.active = idx >= 0 ? idx : model_.active;
  }
  void PushActive() {
    const int idx = AnyOf(model_.confs);
    ASSERT_EQ(mol_->PushActive(mol_->GetConf(idx)), idx >= 0);
    if (idx >= 0) {
      model_.saved.push_back(model_.active);
      model_.active = idx;
    }
  }
  void PopActive() {
    ASSERT_EQ(mol_->PopActive(), !model_.saved.empty());
    if (!model_.saved.empty()) {
      model_.active = model_.saved.back();
      model_.saved.pop_back();
    }
  }
  // Continues with a part of the molecule: the kept atoms and bonds are renumbered from 0, conformers keep their
  // indices.
  void TakePart() {
    std::vector<int> mask(mol_->GetMaxAtomIdx());
    std::map<int, int> place;
    Model part;
    for (const auto& [idx, atom] : model_.atoms) {
      if (random_() % 5 != 0) {
        mask[static_cast<std::size_t>(idx)] = static_cast<int>(random_() | 1U);
        place[idx] = part.next_atom;
        part.atoms[part.next_atom] = atom;
        part.atoms[part.next_atom++].bonds.clear();
      }
    }
    for (const auto& [idx, bond] : model_.bonds) {
      if (place.contains(bond.bgn) && place.contains(bond.end)) {
        part.bonds[part.next_bond] = {-1, -1, bond.order};
        part.wire(part.next_bond, true, place[bond.bgn]);
        part.wire(part.next_bond++, false, place[bond.end]);
      }
    }
    for (const auto& [number, coords] : model_.confs) {
      part.confs[number];
      for (const auto& [idx, to] : place) {
        part.confs[number][to] = coords.at(idx);
      }
    }
    part.active = model_.active;
    part.next_conf = model_.next_conf;
    auto taken = std::make_unique<NxMol>(*mol_, mask.data());
    mol_->Clear();
    mol_ = std::move(taken);
    model_ = part;
  }
  void MoveAtom() {
    const int idx = AnyOf(model_.atoms);
    if (idx >= 0) {
      const Triple xyz = {AnyFloat(), AnyFloat(), AnyFloat()};
      mol_->SetCoords(*mol_->GetAtom(idx), xyz.data());
      if (model_.active >= 0) {
        model_.confs[model_.active][idx] = xyz;
      }
    }
  }
  void MoveAll() {
    std::vector<float> all(3 * mol_->GetMaxAtomIdx());
    std::generate(all.begin(), all.end(), [this] { return AnyFloat(); });
    mol_->SetCoords(all.data());
    if (model_.active >= 0) {
      for (auto& [idx, xyz] : model_.confs[model_.active]) {
        std::copy_n(&all[static_cast<std::size_t>(3 * idx)], 3, xyz.begin());
      }
    }
  }
  void Clear() {
    mol_->Clear();
    const bool had_conf = model_.active >= 0;
    model_ = Model();
    if (had_conf) {
      StartConf();
    }
  }
  void StartConf() {
    model_.confs[0];
    model_.active = 0;
    model_.next_conf = 1;
  }
  // Rare operations: continues with a copy or a part, sweeps, moves everything at once, or clears.
  void Rarely() {
    const auto pick = random_() % 100;
    if (pick < 30) {
      auto copy = std::make_unique<NxMol>(*mol_);
      mol_->Clear();
      mol_ = std::move(copy);
      model_.saved.clear();
    } else if (pick < 40) {
      mol_->Sweep();
    } else if (pick < 50) {
      mol_->Reserve(static_cast<unsigned>(random_() % 100), 10);
    } else if (pick < 60) {
      TakePart();
    } else if (pick < 70) {
      mol_->ClearActiveStack();
      model_.saved.clear();
    } else if (pick < 71) {
      Clear();
    } else {
      MoveAll();
    }
  }

  std::mt19937 random_;
  std::unique_ptr<NxMol> mol_;
  Model model_;
};

TEST(NxMol, RandomOperationsAgainstModel) {
  for (unsigned seed = 1; seed <= 12; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    RandomOperations operations(seed);
    for (int step = 0; step < 800; ++step) {
      operations.Step();
      operations.Check();
      if (HasFatalFailure()) {
        FAIL() << "step " << step;
      }
    }
  }
}

TEST(NxMol, CopyHasEverythingAndIsItsOwn) {
  const int tag = NxSystem::NxGetTag("copied");
  NxMol mol;
  mol.SetTitle("first");
  mol.SetData(tag, 5);
  mol.GetActive()->SetData(tag, 6);
  NxAtomBase* atom = mol.NewAtom(7);
  atom->SetName("NZ");
  atom->SetRadius(1.5F);
  atom->SetPartialCharge(-0.25F);
  atom->SetFormalCharge(1);
  atom->SetIntType(9);
  EXPECT_FALSE(NxHasResidue(*atom));
  EXPECT_EQ(NxAtomGetResidue(*atom).GetName(), "");
  NxResidue residue;
  residue.SetName("LYS");
  residue.SetResidueNumber(-3);
  NxAtomSetResidue(*atom, residue);
  const float xyz[3] = {1, 2, 3};
  mol.SetCoords(*atom, xyz);

  const NxMol copy(mol);
  const NxMolBase plain(mol);
  mol.Clear();
  EXPECT_EQ(mol.GetTitle(), "");
  EXPECT_FALSE(mol.HasData(tag));
  EXPECT_EQ(mol.NumConfs(), 1U);
  for (const NxMolBase* other : {static_cast<const NxMolBase*>(&copy), &plain}) {
    const NxAtomBase& same = *other->GetAtom(0);
    const NxResidue& its = NxAtomGetResidue(same);
    Triple read{};
    other->GetCoords(same, read.data());
    EXPECT_EQ(std::tuple(other->GetTitle(), *other->GetData<int>(tag), same.GetName(), same.GetRadius()),
              std::tuple("first", 5, "NZ", 1.5F));
    EXPECT_EQ(std::tuple(same.GetPartialCharge(), same.GetFormalCharge(), same.GetIntType()), std::tuple(-0.25F, 1, 9));
    EXPECT_EQ(std::tuple(NxHasResidue(same), its.GetName(), its.GetResidueNumber()), std::tuple(true, "LYS", -3));
    EXPECT_EQ(read, (Triple{1, 2, 3}));
  }
  EXPECT_EQ(*copy.GetActive()->GetData<int>(tag), 6);
}

TEST(NxMol, RefusesWhatIsNotItsOwn) {
  NxMol mol;
  NxMol other;
  NxAtomBase* atom = mol.NewAtom(6);
  NxAtomBase* stranger = other.NewAtom(6);
  NxBondBase* strange_bond = other.NewBond(stranger, nullptr, 1);
  NxBondBase* bond = mol.NewBond(nullptr, nullptr, 0);
  EXPECT_EQ(bond->GetBgnIdx(), -1);
  EXPECT_EQ(bond->GetEndIdx(), -1);

  testing::internal::CaptureStderr();
  EXPECT_EQ(mol.NewBond(atom, stranger, 1), nullptr);
  bond->SetBgn(stranger);
  const float moved[3] = {1, 1, 1};
  mol.SetCoords(*stranger, moved);
  float xyz[3] = {5, 5, 5};
  mol.GetActive()->GetCoords(*stranger, xyz);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Warning: Attempt to bond an atom of another molecule\n"
            "Warning: Attempt to bond an atom of another molecule\n"
            "Warning: Attempt to use coordinates of an atom of another molecule\n"
            "Warning: Attempt to use coordinates of an atom of another molecule\n");
  EXPECT_EQ(xyz[0], 0.0F);
  other.GetCoords(*stranger, xyz);
  EXPECT_EQ(xyz[0], 0.0F);
  EXPECT_FALSE(mol.DeleteAtom(stranger));
  EXPECT_FALSE(mol.DeleteAtom(nullptr));
  EXPECT_FALSE(mol.DeleteBond(strange_bond));
  EXPECT_FALSE(mol.DeleteBond(nullptr));
  EXPECT_FALSE(mol.SetActive(other.GetActive()));
  EXPECT_FALSE(mol.DeleteConf(other.GetActive()));
  EXPECT_FALSE(mol.DeleteConf(nullptr));
  EXPECT_FALSE(mol.PushActive(other.GetActive()));
  EXPECT_FALSE(mol.PushActive(nullptr));
  EXPECT_FALSE(mol.PopActive());
  mol.GetCoords(static_cast<float*>(nullptr));
  mol.SetCoords(static_cast<const float*>(nullptr));
  EXPECT_EQ(mol.NumBonds(), 1U);
  EXPECT_EQ(bond->GetBgn(), nullptr);
  EXPECT_TRUE(atom->GetBonds().empty());
  for (const int idx : {-1, 1, 2147483647, -2147483647}) {
    EXPECT_EQ(mol.GetAtom(idx), nullptr);
    EXPECT_EQ(mol.GetBond(idx), nullptr);
    EXPECT_EQ(mol.GetConf(idx), nullptr);
  }
}

TEST(NxIterDeathTest, PastTheEndIsFatal) {
  NxMol mol;
  mol.NewAtom(6);
  const char* report = "^Fatal: Assertion failed at line [0-9]+ of nxchem.\n$";
  auto atom = mol.GetAtoms();
  ++atom;
  EXPECT_FALSE(atom);
  EXPECT_EXIT(++atom, testing::ExitedWithCode(1), report);
  EXPECT_EXIT((void)atom->GetIdx(), testing::ExitedWithCode(1), report);
  EXPECT_EXIT((void)*mol.GetBonds(), testing::ExitedWithCode(1), report);
  auto first = mol.GetAtoms();
  mol.DeleteAtom(&*first);
  EXPECT_EXIT((void)*first, testing::ExitedWithCode(1), report);
}

TEST(NxIter, SurvivesDeletionAndGrowth) {
  NxMol mol;
  mol.NewAtom(6);
  for (auto atom = mol.GetAtoms(); atom; ++atom) {
    if (mol.GetMaxAtomIdx() < 500) {
      mol.NewAtom(1);
    }
    mol.DeleteAtom(&*atom);
  }
  EXPECT_EQ(mol.NumAtoms(), 0U);
  EXPECT_EQ(mol.GetMaxAtomIdx(), 500U);
  // A range-based for ends where it saw the end, also when the item made there was deleted again.
  mol.NewAtom(6);
  for (const NxAtomBase& atom : mol.GetAtoms()) {
    EXPECT_EQ(atom.GetIdx(), 500U);
    mol.DeleteAtom(mol.NewAtom(1));
    mol.NewAtom(1);
  }
  EXPECT_EQ(mol.NumAtoms(), 2U);
}

}  // namespace
