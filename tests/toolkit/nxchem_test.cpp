#include <nxbriochem/toolkit/nxchem.h>

#include <gtest/gtest.h>

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

// What a molecule should hold, in the plainest form: everything by index.
struct Model {
  struct Bond {
    int bgn;
    int end;
    int order;
    bool operator==(const Bond&) const = default;
  };
  std::map<int, unsigned> atoms;
  std::map<int, Bond> bonds;
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
  for (const auto& [idx, z] : model.atoms) {
    ASSERT_TRUE(atom);
    ASSERT_EQ(static_cast<int>(atom->GetIdx()), idx);
    ASSERT_EQ(atom->GetAtomicNum(), z);
    ASSERT_EQ(&atom->GetParent(), &mol);
    ASSERT_EQ(mol.GetAtom(idx), &*atom);
    std::size_t ends = 0;
    for (const auto& [number, bond] : model.bonds) {
      ends += bond.bgn == idx || bond.end == idx ? 1 : 0;
    }
    ASSERT_EQ(atom->GetBonds().size(), ends);
    for (const NxBondBase* bond : atom->GetBonds()) {
      ASSERT_TRUE(bond->GetBgn() == &*atom || bond->GetEnd() == &*atom);
    }
    for (const auto& [number, coords] : model.confs) {
      Triple xyz{};
      mol.GetConf(number)->GetCoords(*atom, xyz.data());
      ASSERT_EQ(xyz, coords.at(idx));
    }
    ++atom;
  }
  ASSERT_FALSE(atom);
  // The whole array leaves deleted atoms' places alone.
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

  // The commoner operations stand more than once.
  void Step() {
    using Self = RandomOperations;
    static constexpr void (Self::*kOperations[])() = {
        &Self::AddAtom,    &Self::AddAtom,    &Self::AddAtom,  &Self::AddBond,    &Self::AddBond,   &Self::AddBond,
        &Self::DeleteAtom, &Self::DeleteBond, &Self::Rewire,   &Self::Rewire,     &Self::AddConf,   &Self::DeleteConf,
        &Self::Activate,   &Self::MoveAtom,   &Self::MoveAtom, &Self::PushActive, &Self::PopActive, &Self::Rarely};
    (this->*kOperations[random_() % std::size(kOperations)])();
  }
  void Check() const { ExpectSame(*mol_, model_); }

 private:
  template <class Map>
  int AnyOf(const Map& map) {
    return map.empty() ? -1 : std::next(map.begin(), static_cast<long>(random_() % map.size()))->first;
  }
  int AnyAtomOrNone() { return random_() % 5 == 0 ? -1 : AnyOf(model_.atoms); }
  float AnyFloat() { return static_cast<float>(random_() % 2000) / 10.0F; }

  void AddAtom() {
    const auto z = static_cast<unsigned>(random_() % 20);
    ASSERT_EQ(static_cast<int>(mol_->NewAtom(z)->GetIdx()), model_.next_atom);
    model_.atoms[model_.next_atom] = z;
    for (auto& [idx, coords] : model_.confs) {
      coords[model_.next_atom] = {0, 0, 0};
    }
    ++model_.next_atom;
  }
  void AddBond() {
    const Model::Bond bond{AnyAtomOrNone(), AnyAtomOrNone(), static_cast<int>(random_() % 4)};
    mol_->NewBond(mol_->GetAtom(bond.bgn), mol_->GetAtom(bond.end), bond.order);
    model_.bonds[model_.next_bond++] = bond;
  }
  void DeleteAtom() {
    const int idx = AnyOf(model_.atoms);
    ASSERT_EQ(mol_->DeleteAtom(mol_->GetAtom(idx)), idx >= 0);
    model_.atoms.erase(idx);
    if (idx >= 0) {
      std::erase_if(model_.bonds, [idx](const auto& item) { return item.second.bgn == idx || item.second.end == idx; });
      for (auto& [number, coords] : model_.confs) {
        coords.erase(idx);
      }
    }
  }
  void DeleteBond() {
    const int idx = AnyOf(model_.bonds);
    ASSERT_EQ(mol_->DeleteBond(mol_->GetBond(idx)), idx >= 0);
    model_.bonds.erase(idx);
  }
  void Rewire() {
    const int idx = AnyOf(model_.bonds);
    if (idx >= 0) {
      const bool at_begin = random_() % 2 == 0;
      const int atom = AnyAtomOrNone();
      NxBondBase& bond = *mol_->GetBond(idx);
      at_begin ? bond.SetBgn(mol_->GetAtom(atom)) : bond.SetEnd(mol_->GetAtom(atom));
      (at_begin ? model_.bonds[idx].bgn : model_.bonds[idx].end) = atom;
    }
  }
  void AddConf() {
    if (model_.confs.size() < 6) {
      mol_->NewConf();
      std::map<int, Triple> coords;
      for (const auto& [idx, z] : model_.atoms) {
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
  // Goes on with a part of the molecule: kept atoms and bonds count from 0, conformers keep their indices.
  void TakePart() {
    std::vector<int> mask(mol_->GetMaxAtomIdx());
    std::map<int, int> place;
    Model part;
    for (const auto& [idx, z] : model_.atoms) {
      if (random_() % 5 != 0) {
        mask[static_cast<std::size_t>(idx)] = static_cast<int>(random_() | 1U);
        place[idx] = part.next_atom;
        part.atoms[part.next_atom++] = z;
      }
    }
    for (const auto& [idx, bond] : model_.bonds) {
      if (place.contains(bond.bgn) && place.contains(bond.end)) {
        part.bonds[part.next_bond++] = {place[bond.bgn], place[bond.end], bond.order};
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
  // Goes on with a copy or a part, sweeps, moves everything at once, or clears.
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
}

}  // namespace
