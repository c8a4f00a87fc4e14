#include <gtest/gtest.h>
#include <nxbriochem/geometry/mol_func2.h>
#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/objects/memory.h>
#include <nxbriochem/objects/print.h>

#include <tests/support/flat_molecule.h>
#include <tests/support/pqr_atoms.h>
#include <tests/support/printed.h>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

using namespace test_support;

namespace {

float bind(const Charges& a, const Charges& b, float eps = 1.0F) {
  return nxi_c_bind(a.records.data(), a.q.data(), a.count(), b.records.data(), b.q.data(), b.count(), eps);
}

Charges charge_at(float x, float q) {
  Charges charges;
  charges.add(x, 0, 0, q);
  return charges;
}

void mark_hydrogen(Charges& charges, std::size_t i) { charges.records[9 * i + NX_RECORD_ELEMENT] = 1.0F; }

int molecule_of(const Charges& charges) {
  std::vector<FlatAtom> atoms;
  for (std::size_t i = 0; i < charges.q.size(); ++i) {
    const float* at = &charges.records[9 * i];
    atoms.push_back({"", "", at[0], at[1], at[2], charges.q[i]});
  }
  return test_support::make_molecule(atoms);
}

// What nx_calculate_monopole_and_dipole gives: centre, monopole, dipole and the last flag.
std::array<float, 8> moments(const std::vector<float>& xyz, const std::vector<float>& q, int result = 1) {
  std::array<float, 8> m;
  m.fill(9);
  int extra = 9;
  EXPECT_EQ(nx_calculate_monopole_and_dipole(xyz.data(), q.data(), static_cast<int>(q.size()), m.data(), &m[3], &m[4],
                                             &extra),
            result);
  m[7] = static_cast<float>(extra);
  return m;
}

}  // namespace

TEST(CoulombFactor, IsTheGivenSinglePrecisionValueAndWritable) {
  EXPECT_EQ(std::bit_cast<uint32_t>(DFactor2), 0x440c2f2cU);
  const Charges a = charge_at(0, 1);
  const Charges b = charge_at(1, 1);
  EXPECT_EQ(bind(a, b), 560.737060546875F);
  EXPECT_EQ(bind(a, b, 80.0F), 560.737060546875F / 80.0F);
  EXPECT_EQ(bind(a, b, 0.0F), std::numeric_limits<float>::infinity());
  DFactor2 = 2.0F;
  EXPECT_EQ(bind(a, charge_at(-4, -3)), -1.5F);
}

TEST(CBind, LeavesOutCoincidentPairsAndWarnsOnce) {
  nx_print_everything();
  Charges target = charge_at(0, 1);
  target.add(5, 0, 0, 1);
  target.add(2, 0, 0, 0);
  Charges ligand = charge_at(5, 2);
  ligand.add(2, 0, 0, 1);
  float energy = 0;
  EXPECT_EQ(printed([&] { energy = bind(target, ligand); }),
            "WARNING: 1 charges were coincident. these interactions were ignored\n");
  EXPECT_FLOAT_EQ(energy, 560.73706F * (2.0F / 5 + 1.0F / 2 + 1.0F / 3));

  // A zero charge makes no pair, even at the same place.
  EXPECT_EQ(printed([&] { energy = bind(charge_at(0, 0), charge_at(0, 1)); }), "");
  EXPECT_EQ(energy, 0.0F);
}

TEST(CBind, TakesMissingArraysAsNoAtoms) {
  const Charges a = charge_at(0, 1);
  EXPECT_EQ(nxi_c_bind(nullptr, a.q.data(), 1, a.records.data(), a.q.data(), 1, 1), 0.0F);
  EXPECT_EQ(nxi_c_bind(a.records.data(), nullptr, 1, a.records.data(), a.q.data(), 1, 1), 0.0F);
  EXPECT_EQ(nxi_c_bind(a.records.data(), a.q.data(), 1, a.records.data(), a.q.data(), -1, 1), 0.0F);
  EXPECT_EQ(nxi_c_bind_cut1(a.records.data(), a.q.data(), 1, nullptr, nullptr, 5, 1, 1), 0.0F);
  EXPECT_EQ(nxi_c_bind_dipolar(nullptr, nullptr, 3, nullptr, nullptr, 3, 1, nullptr, nullptr), 0.0F);
}

TEST(CoulombicBinding, PassesOverDeletedAtomsAndEmptyMolecules) {
  Charges all;
  Charges rest;
  for (int i = 0; i < 9; ++i) {
    const auto at = static_cast<float>(i);
    all.add(at, 0.5F * at, -at, 0.1F + at);
    if (i >= 4) {
      rest.add(at, 0.5F * at, -at, 0.1F + at);
    }
  }
  const Charges probe = charge_at(-3, 1);
  const int mol = molecule_of(all);
  const int other = molecule_of(probe);
  const int empty = nx_make_molecule();
  nx_set_molecule_atom_number(5, mol);
  const int blocks = nx_total_number_of_active_pointers();
  float energy = 0;
  EXPECT_EQ(nx_calculate_coulombic_binding(mol, other, &energy, 4.0F), 0);
  EXPECT_EQ(energy, bind(rest, probe, 4.0F));
  EXPECT_EQ(nx_calculate_coulombic_binding(other, mol, &energy, 1.0F), 0);
  EXPECT_EQ(energy, bind(probe, rest));
  EXPECT_EQ(nx_total_number_of_active_pointers(), blocks);

  EXPECT_EQ(nx_calculate_coulombic_binding(empty, mol, &energy, 1.0F), 0);
  EXPECT_EQ(energy, 0.0F);
  EXPECT_EQ(nx_calculate_coulombic_binding(mol, empty, nullptr, 1.0F), 0);
}

TEST(CBindCut1, CapsHydrogensOnEitherSideOnly) {
  nx_print_everything();
  Charges target = charge_at(0, 1);  // hydrogen
  target.add(10, 0, 0, 1);           // not
  Charges ligand = charge_at(0.5F, 1);
  ligand.add(10, 0, 0, 1);
  mark_hydrogen(target, 0);
  const auto cut = [&](float cap) {
    return nxi_c_bind_cut1(target.records.data(), target.q.data(), 2, ligand.records.data(), ligand.q.data(), 2, 1.0F,
                           cap);
  };
  float energy = 0;
  const std::string coincident = "WARNING: 1 charges were coincident. these interactions were ignored\n";
  EXPECT_EQ(printed([&] { energy = cut(1.25F); }),
            coincident + "WARNING: 1 H-interactions where less than 1.250000.  These distances were capped \n");
  EXPECT_FLOAT_EQ(energy, 560.73706F * (1 / 1.25F + 1 / 10.0F + 1 / 9.5F));
  // The cap is too small to apply: the plain energy.
  EXPECT_EQ(printed([&] { energy = cut(0.5F); }), coincident);
  EXPECT_EQ(energy, bind(target, ligand));
  mark_hydrogen(ligand, 1);
  printed([&] { energy = cut(9.75F); });
  EXPECT_FLOAT_EQ(energy, 560.73706F * (1 / 9.75F + 1 / 10.0F + 1 / 9.5F));
}

TEST(CBindDipolar, AddsTheEnergyOfDipolesInTheOthersField) {
  nx_print_everything();
  Charges target = charge_at(0, 0);
  Charges ligand = charge_at(2, 3);
  ligand.add(0, 0, 0, -1);  // at the dipole's place: nothing
  mark_hydrogen(target, 0);
  const float along[] = {0.5F, 7, 0};
  const float none[] = {1, 1, 1, 0, 0, 0};  // its atom has no charge of the target nearby
  float energy = 0;
  // q p.r / r^3 = 3 * (0.5 * 2) / 8
  EXPECT_EQ(printed([&] {
              DFactor2 = 8.0F;
              energy = nxi_c_bind_dipolar(target.records.data(), target.q.data(), 1, ligand.records.data(),
                                          ligand.q.data(), 2, 2.0F, along, none);
            }),
            "1 target protons\n0 ligand protons\ndipole->ligand energy 1.500000\ndipole->target energy 0.000000\n");
  EXPECT_FLOAT_EQ(energy, 1.5F);

  // A dipole is the limit of two close charges.
  const Charges charge = charge_at(3, 1);
  Charges pair;
  pair.add(0.01F, 0, 0, 50);
  pair.add(-0.01F, 0, 0, -50);
  const float dipole[] = {1, 0, 0};
  const Charges site = charge_at(0, 0);
  energy = nxi_c_bind_dipolar(charge.records.data(), charge.q.data(), 1, site.records.data(), site.q.data(), 1, 1.0F,
                              nullptr, dipole);
  EXPECT_NEAR(energy, bind(pair, charge), 1e-4);
}

TEST(MonopoleAndDipole, FollowsTheSignsPresent) {
  using Moments = std::array<float, 8>;
  const std::vector<float> xyz = {1, 0, 0, 3, 0, 0, 0, 2, 4};
  EXPECT_EQ(moments(xyz, {1, 3, 0}), (Moments{2.5F, 0, 0, 4, 0, 0, 0, 1}));
  // Only negative charges: the undivided weighted sum, and a positive monopole.
  EXPECT_EQ(moments(xyz, {-1, -3, 0}), (Moments{10, 0, 0, 4, 0, 0, 0, 1}));
  EXPECT_EQ(moments(xyz, {1, 3, -2}), (Moments{2.5F, 0, 0, 2, 2.5F, -2, -4, 0}));
  EXPECT_EQ(moments(xyz, {1, 0, -2}), (Moments{0, 2, 4, -1, 1, -2, -4, 1}));
  EXPECT_EQ(moments(xyz, {0, std::numeric_limits<float>::quiet_NaN(), 0}), (Moments{0, 0, 0, 0, 0, 0, 0, 3}));
  EXPECT_EQ(moments({}, {}, 0), Moments{});
  const float one[] = {1, 1, 1};
  EXPECT_EQ(nx_calculate_monopole_and_dipole(nullptr, one, 1, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(nx_calculate_monopole_and_dipole(one, one, 1, nullptr, nullptr, nullptr, nullptr), 1);
}
