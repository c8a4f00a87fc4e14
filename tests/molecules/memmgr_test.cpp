#include <nxbriochem/molecules/memmgr.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/memmgr_state.h>

#include "tests/support/warned.h"

namespace {

using namespace NxBrioChem;
using NxChem::NxMCMolBase;
using NxChem::NxMol;
using NxChem::NxMolBase;
using NxSystem::NxBrioGrid;
using test_support::warned;

// A model of the documented table: slots are searched from the first, free handles are on a stack.
struct Model {
  std::vector<const NxMolBase*> slots;
  std::vector<int> references;
  std::vector<int> free;

  int find(const NxMolBase* mol) const {
    const auto found = std::find(slots.begin(), slots.end(), mol);
    return found == slots.end() ? -1 : static_cast<int>(found - slots.begin());
  }

  int acquire(const NxMolBase* mol) {
    int slot = find(mol);
    if (slot < 0) {
      if (free.empty()) {
        for (int k = 100; k >= 1; --k) {
          free.push_back(-(static_cast<int>(slots.size()) + k));
        }
        slots.resize(slots.size() + 100, nullptr);
        references.resize(slots.size(), 0);
      }
      slot = -free.back() - 1;
      free.pop_back();
      slots[static_cast<std::size_t>(slot)] = mol;
    }
    ++references[static_cast<std::size_t>(slot)];
    return -slot - 1;
  }

  bool release(int slot, bool all) {
    if (slot < 0 || references[static_cast<std::size_t>(slot)] == 0) {
      return false;
    }
    auto& count = references[static_cast<std::size_t>(slot)];
    count = all ? 0 : count - 1;
    if (count == 0) {
      slots[static_cast<std::size_t>(slot)] = nullptr;
      free.push_back(-slot - 1);
    }
    return true;
  }
};

// Handles own all molecules. A deleted molecule is replaced by a new one, often at the same address.
TEST(Memmgr, AgreesWithTheDescriptionUnderRandomCalls) {
  std::mt19937 random(3);
  std::vector<NxMolBase*> molecules(350);
  std::generate(molecules.begin(), molecules.end(), [] { return new NxMolBase; });
  Model model;
  testing::internal::CaptureStderr();
  for (int step = 0; step < 60000; ++step) {
    NxMolBase*& chosen = molecules[random() % molecules.size()];
    const NxMolBase& mol = *chosen;
    switch (random() % 8) {
      case 0:
        ASSERT_EQ(NxReleaseHandle(mol), model.release(model.find(&mol), false));
        break;
      case 1:
        if (step % 4 == 0) {
          ASSERT_EQ(NxReleaseAllHandles(mol), model.release(model.find(&mol), true));
        }
        break;
      case 2:
        if (!model.slots.empty()) {
          const int slot = static_cast<int>(random() % model.slots.size());
          ASSERT_EQ(NxReleaseHandle(-slot - 1), model.release(slot, false));
        }
        break;
      case 3:
        if (const int slot = model.find(&mol); slot >= 0) {
          ASSERT_EQ(nx_delete_molecule(-slot - 1), 1);
          model.slots[static_cast<std::size_t>(slot)] = nullptr;  // references of other holders stay
          model.release(slot, false);
          chosen = new NxMolBase;
        }
        break;
      default:
        ASSERT_EQ(NxAcquireHandle(mol), model.acquire(&mol));
    }
    ASSERT_EQ(NxGetNumHandles(), static_cast<int>(model.slots.size()));
  }
  testing::internal::GetCapturedStderr();
  ASSERT_EQ(memmgr::vFreeHandle, model.free);
  for (std::size_t slot = 0; slot < model.slots.size(); ++slot) {
    ASSERT_EQ(memmgr::MolHandle[slot].object, model.slots[slot]);
    ASSERT_EQ(memmgr::MolHandle[slot].references, model.references[slot]);
  }
  std::for_each(molecules.begin(), molecules.end(), [](const NxMolBase* mol) { delete mol; });
}

TEST(Memmgr, ReleasingWhatHasNoHandle) {
  NxMol mol;
  const int handle = NxAcquireHandle(mol);
  EXPECT_EQ(NxDerefMolHandle(handle), &mol);
  EXPECT_TRUE(NxReleaseHandle(handle));
  const std::string warning = "Warning: Attempt to release non-existent handle\n";
  EXPECT_EQ(warned(false, [&] { return NxReleaseHandle(mol); }), warning);
  EXPECT_EQ(warned(false, [&] { return NxReleaseHandle(handle); }), warning);
  EXPECT_EQ(warned(false, [&] { return NxReleaseAllHandles(mol); }), "");
}

TEST(Memmgr, MultiConformerIsWhatWasAcquiredAsSuch) {
  NxMolBase base;
  NxMCMolBase multi;
  NxMol mol;
  const int plain = NxAcquireHandle(base);
  EXPECT_FALSE(NxIsMultiConf(plain));
  EXPECT_TRUE(NxIsMultiConf(NxAcquireHandle(multi)));
  EXPECT_EQ(NxDerefMCMolHandle(NxAcquireHandle(mol)), &mol);
  NxReleaseHandle(mol);
  EXPECT_FALSE(NxIsMultiConf(NxAcquireHandle(static_cast<const NxMolBase&>(mol))));
}

TEST(Memmgr, GridsHaveTheirOwnTable) {
  NxBrioGrid a;
  NxBrioGrid b;
  EXPECT_EQ(NxAcquireGridHandle(a), -1000000001);
  EXPECT_EQ(NxAcquireGridHandle(b), -1000000002);
  EXPECT_EQ(NxGetNumHandles(), 100);
  EXPECT_EQ(NxDerefGridHandle(-1000000002), &b);
  EXPECT_TRUE(NxReleaseGridHandle(-1000000001));
  EXPECT_EQ(warned(false, [&] { return NxReleaseGridHandle(a); }),
            "Warning: Attempt to release non-existent grid handle\n");
  EXPECT_TRUE(NxReleaseAllGridHandles(b));
  EXPECT_FALSE(NxReleaseAllGridHandles(b));
}

TEST(MemmgrDeathTest, BadHandlesAreFatal) {
  NxMolBase base;
  const int plain = NxAcquireHandle(base);
  const char* const kAssertion = "Assertion failed at line [0-9]+ of memmgr\\.\n";
  for (const int handle : {0, 1, -101, -999999999, INT32_MIN, INT32_MAX, -2}) {
    EXPECT_EXIT(NxDerefMolHandle(handle), testing::ExitedWithCode(1), kAssertion) << handle;
  }
  for (const int handle : {0, -1, -1000000000, -1000000001, INT32_MIN}) {
    EXPECT_EXIT(NxDerefGridHandle(handle), testing::ExitedWithCode(1), kAssertion) << handle;
  }
  EXPECT_EXIT(NxDerefMCMolHandle(plain), testing::ExitedWithCode(1), kAssertion);
  EXPECT_EXIT(NxReleaseHandle(7), testing::ExitedWithCode(1), kAssertion);
  EXPECT_EXIT(NxIsMultiConf(-5000), testing::ExitedWithCode(1), kAssertion);
}

}  // namespace
