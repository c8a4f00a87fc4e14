#include <gtest/gtest.h>

#include <functional>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/memmgr.h>

#include "tests/support/warned.h"

namespace {

using test_support::warned;

NxChem::NxMCMolBase& toolkit(int mol) { return *NxBrioChem::NxDerefMCMolHandle(mol); }

int active_of(int mol) {
  int active = -1;
  EXPECT_EQ(nx_get_molecule_conformer(&active, mol), 1);
  return active;
}

// A model: conformers by index, each identified by the x coordinate of its single atom.
struct Model {
  std::map<int, float> conformers = {{0, 0.0F}};
  int active = 0;
  int next = 1;
  std::vector<int> saved;

  void remove(int idx) {
    conformers.erase(idx);
    std::erase(saved, idx);
    active = idx == active ? conformers.begin()->first : active;
  }
  void set_number(int n) {
    while (static_cast<int>(conformers.size()) > n) {
      remove(conformers.begin()->first);
    }
    while (static_cast<int>(conformers.size()) < n) {
      conformers[next++] = conformers[active];
    }
  }
  int step(int by) {
    for (int idx = active + by; idx >= 0 && idx < next; idx += by) {
      if (conformers.contains(idx)) {
        active = idx;
        saved.clear();
        return 1;
      }
    }
    return 0;
  }
};

TEST(Conformers, AgreeWithTheDescriptionUnderRandomCalls) {
  std::mt19937 random(5);
  const int mol = nx_make_molecule();
  nx_set_molecule_atom_number(1, mol);
  Model model;
  for (int step = 0; step < 20000; ++step) {
    const int any = static_cast<int>(random() % static_cast<unsigned>(model.next + 2)) - 1;
    const int there = model.conformers.contains(any) ? 1 : 0;
    switch (random() % 8) {
      case 0:
        ASSERT_EQ(nx_set_molecule_conformer(any, mol), there);
        model.active = there != 0 ? any : model.active;
        break;
      case 1:
        ASSERT_EQ(nx_increment_molecule_conformer(mol), model.step(1));
        break;
      case 2:
        ASSERT_EQ(nx_decrement_molecule_conformer(mol), model.step(-1));
        break;
      case 3: {
        const int n = static_cast<int>(random() % 12) - 1;
        ASSERT_EQ(nx_set_molecule_conformer_number(n, mol), n < 1 ? 0 : 1);
        if (n >= 1) {
          model.set_number(n);
        }
        break;
      }
      case 4:
        if (there != 0 && model.conformers.size() > 1) {
          toolkit(mol).DeleteConf(toolkit(mol).GetConf(any));
          model.remove(any);
        }
        break;
      case 5:
        if (there != 0) {
          toolkit(mol).PushActive(toolkit(mol).GetConf(any));
          model.saved.push_back(model.active);
          model.active = any;
        }
        break;
      case 6:
        ASSERT_EQ(toolkit(mol).PopActive(), !model.saved.empty());
        if (!model.saved.empty()) {
          model.active = model.saved.back();
          model.saved.pop_back();
        }
        break;
      default: {
        const auto x = static_cast<float>(step);
        nx_set_molecule_coordinates_element(x, 0, mol);
        model.conformers[model.active] = x;
      }
    }
    ASSERT_EQ(active_of(mol), model.active) << step;
    ASSERT_EQ(nx_get_molecule_conformer_number(mol), static_cast<int>(model.conformers.size()));
    for (const auto& [idx, x] : model.conformers) {
      ASSERT_NE(toolkit(mol).GetConf(idx), nullptr) << step;
      float xyz[3];
      toolkit(mol).GetConf(idx)->GetCoords(xyz);
      ASSERT_EQ(xyz[0], x);
    }
    if (model.next > 60) {
      nx_clear_molecule(mol);
      nx_set_molecule_atom_number(1, mol);
      model = Model();
    }
  }
}

TEST(Conformers, NeedAHandleAcquiredAsMultiConformer) {
  NxChem::NxMol object;
  const int mol = NxBrioChem::NxAcquireHandle(static_cast<const NxChem::NxMolBase&>(object));
  int conformer = -99;
  const std::pair<const char*, std::function<int()>> calls[] = {
      {"nx_get_molecule_conformer", [&] { return nx_get_molecule_conformer(&conformer, mol); }},
      {"nx_set_molecule_conformer", [&] { return nx_set_molecule_conformer(0, mol); }},
      {"nx_increment_molecule_conformer", [&] { return nx_increment_molecule_conformer(mol); }},
      {"nx_deccrement_molecule_conformer", [&] { return nx_decrement_molecule_conformer(mol); }},
      {"nx_get_molecule_conformer_number", [&] { return nx_get_molecule_conformer_number(mol); }},
      {"nx_set_molecule_conformer_number", [&] { return nx_set_molecule_conformer_number(0, mol); }},
      {"nx_is_molecule_conformer_number_set", [&] { return nx_is_molecule_conformer_number_set(mol); }},
  };
  for (const auto& [name, call] : calls) {
    EXPECT_EQ(warned(0, call), "Warning: called " + std::string(name) + " with NxMolBase\n");
  }
  EXPECT_EQ(conformer, -99);
  EXPECT_EQ(object.NumConfs(), 1U);
  EXPECT_EQ(nx_is_molecule_conformer_number_set(nx_make_molecule()), 1);
  // A handle that names no molecule is a fatal report, even in a free slot, which is not multi-conformer.
  EXPECT_EXIT(nx_get_molecule_conformer_number(-50), testing::ExitedWithCode(1), "Fatal: Assertion failed");
}

TEST(Conformers, StrangeArgumentsChangeNothing) {
  const int mol = nx_make_molecule();
  nx_set_molecule_atom_number(3, mol);
  nx_set_molecule_conformer_number(2, mol);
  EXPECT_EQ(nx_set_molecule_conformer(INT32_MIN, mol), 0);
  EXPECT_EQ(nx_get_molecule_conformer(nullptr, mol), 0);
  EXPECT_EQ(nx_set_molecule_conformer_number(INT32_MAX, mol), 0);  // would take a third of a terabyte
  EXPECT_EQ(nx_get_molecule_conformer_number(mol), 2);
  EXPECT_EQ(active_of(mol), 0);

  NxChem::NxMCMolBase none;
  const int bare = NxBrioChem::NxAcquireHandle(none);
  int conformer = -99;
  EXPECT_EQ(nx_get_molecule_conformer(&conformer, bare), 0);
  EXPECT_EQ(conformer, -99);
  EXPECT_EQ(nx_increment_molecule_conformer(bare), 0);
  EXPECT_EQ(nx_decrement_molecule_conformer(bare), 0);
  EXPECT_EQ(nx_set_molecule_conformer_number(3, bare), 1);
  EXPECT_EQ(active_of(bare), 0);
}

}  // namespace
