#include <gtest/gtest.h>
#include <nxbriochem/geometry/mol_func2.h>
#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/objects/memory.h>
#include <nxbriochem/objects/print.h>

#include <tests/support/flat_molecule.h>
#include <tests/support/printed.h>
#include <cmath>
#include <map>
#include <numbers>
#include <string>
#include <vector>

using namespace test_support;

namespace {

float element_radius(char code) {
  float radius = -1;
  EXPECT_EQ(nx_get_element_radius(code, &radius), 1);
  return radius;
}

// One value for each atom.
template <class T>
std::vector<T> all_of(int (*get)(T*, int), int mol) {
  std::vector<T> values(static_cast<std::size_t>(nx_get_molecule_radii_length(mol)));
  get(values.data(), mol);
  return values;
}

std::vector<float> radii_of(int mol) { return all_of(nx_get_molecule_radii, mol); }
std::vector<float> charges_of(int mol) { return all_of(nx_get_molecule_charges, mol); }

std::string elements_of(int mol) {
  const std::vector<char> codes = all_of(nx_get_molecule_element, mol);
  return {codes.begin(), codes.end()};
}

}  // namespace

TEST(ElementRadii, DefaultsCoverEveryCode) {
  const std::map<char, float> radii = {{'C', 1.7F},    {'H', 1.0F},  {'1', 1.0F},  {'2', 1.0F},
                                       {'3', 1.0F},    {'4', 1.0F},  {'N', 1.65F}, {'O', 1.6F},
                                       {'F', 1.2001F}, {'Z', 1.34F}, {'X', 0.0F}};
  for (int code = 0; code < 256; ++code) {
    const char c = static_cast<char>(code);
    const auto listed = radii.find(c);
    const float expected = listed == radii.end() ? 1.9F : listed->second;
    EXPECT_EQ(element_radius(c), expected) << code;
  }
  EXPECT_EQ(nx_get_element_radius('C', nullptr), 0);
}

TEST(ElementRadii, CallersValuesSurviveTheDefaultsButForZAndX) {
  EXPECT_EQ(test_support::printed([] {
              nx_set_element_radius('C', 2.25F);
              nx_set_element_radius('Z', 2.0F);
              nx_set_element_radius('X', 2.0F);
              nx_set_element_radius(static_cast<char>(-3), 0.5F);
            }),
            "set element 67 to 2.250000\nset element 90 to 2.000000\nset element 88 to 2.000000\n"
            "set element -3 to 0.500000\n");
  EXPECT_EQ(element_radius('C'), 2.25F);
  EXPECT_EQ(element_radius('Z'), 1.34F);
  EXPECT_EQ(element_radius('X'), 0.0F);
  EXPECT_EQ(element_radius(static_cast<char>(-3)), 0.5F);
  // After the defaults are filled in, a value set for Z stays until they are filled in again.
  nx_set_element_radius('Z', 2.0F);
  EXPECT_EQ(element_radius('Z'), 2.0F);
  set_default_element_radii();
  EXPECT_EQ(element_radius('Z'), 1.34F);
  EXPECT_EQ(element_radius('C'), 2.25F);
}

TEST(ElementRadii, AssignsByElementAndMakesMissingElements) {
  const int mol = make_molecule({{"CA", "ALA"}, {"OXT", "ALA"}, {"1HB", "ALA"}, {"CL", "CL"}});
  const int blocks = nx_total_number_of_active_pointers();
  EXPECT_EQ(nx_assign_radii_by_element(mol), 1);
  EXPECT_EQ(elements_of(mol), "COHL");
  EXPECT_EQ(radii_of(mol), (std::vector<float>{1.7F, 1.6F, 1.0F, 1.9F}));

  // Existing elements stay, whatever the names say; deleted atoms are skipped.
  nx_set_molecule_element("NNNN", mol);
  nx_set_molecule_atom_number(2, mol);
  EXPECT_EQ(nx_assign_radii_by_element(mol), 1);
  float radius = 0;
  EXPECT_EQ(nx_get_molecule_radii_element(&radius, 3, mol), 1);
  EXPECT_EQ(radius, 1.65F);
  EXPECT_EQ(nx_total_number_of_active_pointers(), blocks);

  EXPECT_EQ(nx_assign_radii_by_element(nx_make_molecule()), 0);
}

TEST(ElementList, ReadsElementsFromNames) {
  const struct {
    const char* name;
    const char* residue;
    char code;
  } cases[] = {
      {"CA", "ALA", 'C'}, {"CA", "CA", 'Z'},   {" CA ", "GLY", 'C'}, {"CB", "", 'C'},    {"CL1", "LIG", 'L'},
      {"cl", "", 'L'},    {"CLA", "HEM", 'C'}, {"NA", "HEM", 'N'},   {"NA", "NA", 'D'},  {"HG", "CYS", 'H'},
      {"HG", "HG", 'Z'},  {"1HB", "ALA", 'H'}, {"DG1", "THR", 'H'},  {"FE", "HEM", 'E'}, {"F1", "", 'F'},
      {"SE", "MSE", 'E'}, {"SG", "CYS", 'S'},  {"MG", "MG", 'M'},    {"MN", "", 'A'},    {"ZN", "ZN", 'Z'},
      {"K", "K", 'K'},    {"I12", "", 'I'},    {"BR", "", 'R'},      {"B1", "", 'B'},    {"LP1", "", 'Z'},
      {"P", "DA", 'P'},   {"LI", "LI", 'T'},   {"OE1", "GLU", 'O'},  {"*", "", 'Z'},     {"12", "", 'Z'},
  };
  std::vector<FlatAtom> atoms;
  std::string expected;
  for (const auto& c : cases) {
    atoms.push_back({c.name, c.residue});
    expected += c.code;
  }
  const int mol = make_molecule(atoms);
  EXPECT_EQ(nx_make_element_list(mol), 1);
  EXPECT_EQ(elements_of(mol), expected);
  EXPECT_EQ(nx_make_element_list(nx_make_molecule()), 0);
}

TEST(BondiRadii, FollowTheNames) {
  const struct {
    const char* name;
    const char* residue;
    float radius;
  } cases[] = {
      {"1H", "", 1.2F},    {"2H", "", 1.2F},   {"3H", "", 1.2F},   {"4H", "", 1.9F},         {"H", "", 1.2F},
      {"hb", "", 1.2F},    {"B", "", 1.85F},   {"BR", "", 1.85F},  {"BO", "", 1.17F},        {"bo", "", 1.17F},
      {"C", "", 1.7F},     {"CL", "", 1.75F},  {"cl", "", 1.75F},  {"CA", "CA", 1.14F},      {"ca", "cal", 1.14F},
      {"CA", "ALA", 1.7F}, {"CB", "CA", 1.7F}, {"CA", "", 1.7F},   {"CA", "C", 1.7F},        {"F", "", 1.47F},
      {"I", "", 1.98F},    {"LI", "", 1.82F},  {" LP1", "", 0.0F}, {"lp", "", 0.0F},         {"L", "", 1.8002F},
      {"LA", "", 1.8002F}, {"N", "", 1.55F},   {"O", "", 1.52F},   {"P", "", 1.8001F},       {"S", "", 1.8F},
      {"SE", "", 1.9F},    {"si", "", 2.1F},   {"ZN", "", 1.39F},  {"Zn", "", 1.39F},        {"ZR", "", 0.0F},
      {"Z", "", 0.0F},     {"X", "", 1.9F},    {"   ", "", 1.9F},  {"         C", "", 1.9F}, {"        Cl1", "", 1.7F},
  };
  std::vector<FlatAtom> atoms;
  for (const auto& c : cases) {
    atoms.push_back({c.name, c.residue});
  }
  const int mol = make_molecule(atoms);
  EXPECT_EQ(nx_assign_bondi_radii(mol), 1);
  const std::vector<float> radii = radii_of(mol);
  for (std::size_t k = 0; k < atoms.size(); ++k) {
    EXPECT_EQ(radii[k], cases[k].radius) << cases[k].name << " in " << cases[k].residue;
  }
}

TEST(BondiRadii, FollowTheTypesWithoutNames) {
  std::vector<int> types;
  for (int type = -2; type <= 130; ++type) {
    types.push_back(type);
  }
  const int mol = make_molecule(std::vector<FlatAtom>(types.size()));
  EXPECT_EQ(nx_assign_bondi_radii(mol), 0);
  nx_set_molecule_atom_type(types.data(), mol);
  EXPECT_EQ(nx_assign_bondi_radii(mol), 1);
  std::vector<float> expected(types.size(), 1.9F);
  const std::pair<int, float> listed[] = {{0, 0.0F},   {1, 1.2F},   {3, 1.8F},   {5, 1.17F},  {6, 1.7F},
                                          {7, 1.55F},  {8, 1.52F},  {9, 1.47F},  {14, 2.1F},  {16, 1.8F},
                                          {17, 1.75F}, {19, 1.8F},  {20, 1.14F}, {26, 1.39F}, {29, 1.39F},
                                          {30, 1.39F}, {35, 1.85F}, {53, 1.98F}, {80, 1.55F}};
  for (const auto& [type, radius] : listed) {
    expected[static_cast<std::size_t>(type + 2)] = radius;
  }
  EXPECT_EQ(radii_of(mol), expected);
}

TEST(ChargeProtein, ChargesIonisedSideChainsOnly) {
  const struct {
    const char* name;
    const char* residue;
    float charge;
  } cases[] = {{" NZ ", "LYS", 1},     {"NZ", "NLYS", 1},     {"nz", "lys", 1},       {"NH1", "ARG", 0.5F},
               {"nh2", "ARG", 0.5F},   {"OD1", "ASP", -0.5F}, {" OD2", "ASP", -0.5F}, {"OE1", "GLU", -0.5F},
               {"oe2", "CGLU", -0.5F}, {"OD1", "ASN", 0},     {"OE1", "GLN", 0},      {"NZ", "LYN", 0},
               {"Nz", "LYS", 0},       {"CA", "LYS", 0},      {"NZ", "UNL", 1},       {"OD2", "LIG", -0.5F},
               {"OD1", "nasn", 0},     {"OE1", "CGLN", 0},    {"OE2", "GLH", 0},      {"OD1", "ASH", 0},
               {"OE1", "ASN", -0.5F},  {"NH2", "ARN", 0},     {"nh1", "", 0.5F},      {"OE2", "CGLH", 0}};
  std::vector<FlatAtom> atoms;
  std::vector<float> charged;
  std::vector<float> full;
  for (const auto& [name, residue, charge] : cases) {
    atoms.push_back({name, residue, 0, 0, 0, 0.25F});
    charged.push_back(charge == 0 ? 0.25F : charge);
    full.push_back(charge);
  }
  const int mol = make_molecule(atoms);
  EXPECT_EQ(nx_charge_protein(mol), 1);
  EXPECT_EQ(charges_of(mol), charged);
  nx_set_molecule_name("full", mol);  // under the keyword the other atoms' charges go
  EXPECT_EQ(nx_charge_protein(mol), 1);
  EXPECT_EQ(charges_of(mol), full);

  const int nowhere = make_molecule({{"OD1", ""}, {"N", ""}});  // without residues it goes by the atom's name
  EXPECT_EQ(nx_charge_protein(nowhere), 1);
  EXPECT_EQ(charges_of(nowhere), (std::vector<float>{-0.5F, 0}));
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
  EXPECT_EQ(test_support::printed([&] { EXPECT_EQ(nxi_assign_default_gaussians(widths.data(), mol), 1); }),
            "atom 10 didnt match\natom 11 didnt match\n");
  const double pi = std::numbers::pi;
  for (std::size_t k = 0; k < std::size(radii); ++k) {
    const double gaussian = 2 * std::numbers::sqrt2 * std::pow(pi, 1.5) * std::pow(widths[k], 3);
    EXPECT_NEAR(gaussian / (4 * pi / 3 * std::pow(radii[k], 3)), 1.0, 1e-5) << codes[k];
  }
  EXPECT_EQ(widths[10], 0.0F);
  EXPECT_EQ(nxi_assign_default_gaussians(nullptr, mol), 0);
  EXPECT_EQ(nxi_assign_default_gaussians(widths.data(), nx_make_molecule()), 0);
}
