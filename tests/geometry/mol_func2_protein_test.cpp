#include <gtest/gtest.h>
#include <nxbriochem/geometry/mol_func2.h>
#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/objects/print.h>

#include <tests/support/flat_molecule.h>
#include <cmath>
#include <numbers>
#include <string>
#include <vector>

using test_support::FlatAtom;
using test_support::make_molecule;

namespace {

std::vector<float> charges_of(int mol) {
  std::vector<float> charges(static_cast<std::size_t>(nx_get_molecule_charges_length(mol)));
  nx_get_molecule_charges(charges.data(), mol);
  return charges;
}

FlatAtom atom(const char* name, const char* residue) { return {name, residue, 0, 0, 0, 0.25F}; }

}  // namespace

TEST(ChargeProtein, ChargesIonisedSideChainsOnly) {
  const int mol =
      make_molecule({atom(" NZ ", "LYS"), atom("NZ", "NLYS"), atom("nz", "lys"), atom("NH1", "ARG"), atom("nh2", "ARG"),
                     atom("OD1", "ASP"), atom(" OD2", "ASP"), atom("OE1", "GLU"), atom("oe2", "CGLU"),
                     atom("OD1", "ASN"), atom("OE1", "GLN"), atom("NZ", "LYN"), atom("Nz", "LYS"), atom("CA", "LYS")});
  EXPECT_EQ(nx_charge_protein(mol), 1);
  const std::vector<float> expected = {1,     1,     1,     0.5F,  0.5F,  -0.5F, -0.5F,
                                       -0.5F, -0.5F, 0.25F, 0.25F, 0.25F, 0.25F, 0.25F};
  EXPECT_EQ(charges_of(mol), expected);

  // Under the keyword the other atoms' charges go.
  nx_set_molecule_name("full", mol);
  EXPECT_EQ(nx_charge_protein(mol), 1);
  EXPECT_EQ(charges_of(mol), (std::vector<float>{1, 1, 1, 0.5F, 0.5F, -0.5F, -0.5F, -0.5F, -0.5F, 0, 0, 0, 0, 0}));
}

TEST(ChargeProtein, GoesByTheAtomsNameWithoutResidues) {
  const int mol = make_molecule({atom("OD1", ""), atom("N", "")});
  EXPECT_EQ(nx_charge_protein(mol), 1);
  EXPECT_EQ(charges_of(mol), (std::vector<float>{-0.5F, 0.25F}));
  EXPECT_EQ(nx_charge_protein(nx_make_molecule()), 0);
}

// The defining property: the Gaussian's integral is the volume of the sphere.
TEST(DefaultGaussians, HaveTheVolumeOfTheSphere) {
  const std::string codes = "HCNOFPSLRIZM";
  const double radii[] = {1.2, 1.7, 1.55, 1.52, 1.47, 1.8, 1.8, 1.75, 1.85, 1.98};
  const int mol = make_molecule(std::vector<FlatAtom>(codes.size()));
  nx_set_molecule_element(codes.c_str(), mol);
  std::vector<float> widths(codes.size(), -1.0F);
  nx_print_everything();
  testing::internal::CaptureStdout();
  EXPECT_EQ(nxi_assign_default_gaussians(widths.data(), mol), 1);
  std::fflush(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "atom 10 didnt match\natom 11 didnt match\n");
  const double pi = std::numbers::pi;
  for (std::size_t k = 0; k < std::size(radii); ++k) {
    const double gaussian = 2 * std::numbers::sqrt2 * std::pow(pi, 1.5) * std::pow(widths[k], 3);
    EXPECT_NEAR(gaussian / (4 * pi / 3 * std::pow(radii[k], 3)), 1.0, 1e-5) << codes[k];
  }
  EXPECT_EQ(widths[10], 0.0F);
  EXPECT_EQ(nxi_assign_default_gaussians(nullptr, mol), 0);
  EXPECT_EQ(nxi_assign_default_gaussians(widths.data(), nx_make_molecule()), 0);
}
