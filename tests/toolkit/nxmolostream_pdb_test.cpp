#include <gtest/gtest.h>
#include <nxbriochem/toolkit/nxelements.h>
#include <nxbriochem/toolkit/nxmolostream.h>

#include <cmath>
#include <gemmi/pdb.hpp>
#include <map>
#include <random>
#include <sstream>

#include "tests/toolkit/written_files.h"

namespace {

using NxChem::NxFileType;
using NxChem::NxMol;
using NxChem::NxResidue;
using written_files::AddAtom;
using written_files::SetResidue;
using written_files::Written;

std::string Pdb(const NxMol& mol, unsigned flavor = 0) { return Written(NxFileType::Pdb, {&mol}, flavor); }

// The first line that starts with `start`, after skipping `skip` of them.
std::string Line(const std::string& text, const std::string& start, int skip = 0) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(start) && skip-- == 0) {
      return line;
    }
  }
  return "";
}

TEST(NxMolOStreamPdb, ColumnsAreThoseOfTheFormat) {
  NxMol mol;
  mol.SetTitle("a title\nof two lines");
  NxResidue residue;
  residue.SetInsertCode('B');
  residue.SetAlternateLocation('C');
  residue.SetOccupancy(0.5F);
  residue.SetBFactor(12.345F);
  SetResidue(AddAtom(mol, 6, "CA", 1.0F, -2.5F, 1234.5678F), residue, "ALA", -12, 'A');
  SetResidue(AddAtom(mol, 1, "HG11"), residue, "A", 10000, 'A');
  SetResidue(AddAtom(mol, 20, "CA"), residue, "CA", 3, 'A', true).SetBFactor(1234567.0F);
  mol.GetAtom(2)->SetFormalCharge(2);
  SetResidue(AddAtom(mol, 8, "TOOLONG"), residue = NxResidue(), "CHL11", 4, 'B');
  AddAtom(mol, 17, "");
  AddAtom(mol, 0, "CA  ");
  AddAtom(mol, 0, "H\n", -0.0F, -0.0001F, -12345.678F);

  EXPECT_EQ(Pdb(mol),
            "TITLE     a title of two lines\n"
            "ATOM      1  CA CALA A -12B      1.000  -2.5001234.568  0.50 12.35           C  \n"
            "ATOM      2 HG11C  A AA000B      0.000   0.000   0.000  0.50 12.35           H  \n"
            "TER\n"
            "HETATM    3 CA  C CA A   3B      0.000   0.000   0.000  0.50 12.35          CA2+\n"
            "ATOM      4 TOOL CHL1B   4       0.000   0.000   0.000  1.00  0.00           O  \n"
            "TER\n"
            "HETATM    5 Cl   UNL     1       0.000   0.000   0.000  1.00  0.00          CL  \n"
            "HETATM    6 CA   UNL     1       0.000   0.000   0.000  1.00  0.00              \n"
            "HETATM    7  H   UNL     1      -0.000  -0.000-12345.7  1.00  0.00              \n"
            "END\n");
}

TEST(NxMolOStreamPdb, DelphiFlavourShowsRadiusAndCharge) {
  NxMol mol;
  AddAtom(mol, 7, "N").SetRadius(1.85F);
  mol.GetAtom(0)->SetPartialCharge(-0.47F);
  AddAtom(mol, 1, "H").SetRadius(1234.5F);
  mol.GetAtom(1)->SetPartialCharge(-123.4567F);
  const std::string text = Pdb(mol, NxChem::kNxPdbFlavorDelPhi);
  EXPECT_EQ(Line(text, "HETATM"), "HETATM    1  N   UNL     1       0.000   0.000   0.000  1.85 -0.470          N  ");
  EXPECT_EQ(Line(text, "HETATM", 1).substr(54), "1234.5-123.46          H  ");
  EXPECT_EQ(Line(Pdb(mol), "HETATM").substr(54), "  1.00  0.00           N  ");
  mol.GetAtom(1)->SetPartialCharge(NAN);
  testing::internal::CaptureStderr();
  EXPECT_EQ(Pdb(mol, NxChem::kNxPdbFlavorDelPhi), "refused");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Warning: Unable to write molecule \"\": atom 2 (H): charge nan\n");
}

TEST(NxMolOStreamPdb, BondsStandWithBothAtomsAsOftenAsTheirOrder) {
  NxMol mol;
  for (int i = 0; i < 8; ++i) {
    AddAtom(mol, 6, "C");
  }
  mol.DeleteAtom(mol.GetAtom(0));  // serials now differ from indices
  for (int i = 2; i < 8; ++i) {
    mol.NewBond(mol.GetAtom(1), mol.GetAtom(i), i == 7 ? 2 : 1);
  }
  mol.NewBond(nullptr, nullptr, 0);
  mol.NewBond(mol.GetAtom(2), nullptr, 1);
  mol.NewBond(mol.GetAtom(2), mol.GetAtom(3), 0);
  const std::string text = Pdb(mol);
  EXPECT_EQ(text.substr(text.find("CONECT")),
            "CONECT    1    2    3    4    5\n"
            "CONECT    1    6    7    7\n"
            "CONECT    2    1    3\n"
            "CONECT    3    1    2\n"
            "CONECT    4    1\n"
            "CONECT    5    1\n"
            "CONECT    6    1\n"
            "CONECT    7    1    1\n"
            "END\n");
}

TEST(NxMolOStreamPdb, SeveralMoleculesAreModels) {
  NxMol one;
  AddAtom(one, 6, "C1");
  NxMol two;
  two.SetTitle("second");
  AddAtom(two, 7, "N1", 5.0F);
  const std::string text = Written(NxFileType::Pdb, {&one, &two});
  EXPECT_EQ(Line(text, "MODEL", 1), "MODEL        2");
  const gemmi::Structure read = gemmi::read_pdb_string(text, "test");
  ASSERT_EQ(read.models.size(), 2U);
  EXPECT_EQ(read.models[1].chains[0].residues[0].atoms[0].pos.x, 5.0);
  EXPECT_TRUE(text.ends_with("ENDMDL\nEND\n"));

  std::vector<const NxChem::NxMolBase*> many(9999, &one);
  EXPECT_EQ(gemmi::read_pdb_string(Written(NxFileType::Pdb, many), "test").models.size(), many.size());
  many.push_back(&two);
  EXPECT_EQ(Written(NxFileType::Pdb, many), "refused");
}

// A random molecule with all that the format can hold, atoms deleted here and there.
void FillAtRandom(NxMol& mol, int n_atoms, std::mt19937& random) {
  const auto below = [&random](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
  const std::string letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
  const auto letter = [&] { return letters[static_cast<std::size_t>(below(static_cast<int>(letters.size())))]; };
  std::uniform_real_distribution<float> exponent(-3.0F, 6.9F);
  for (int i = 0; i < n_atoms; ++i) {
    const auto coordinate = [&] { return std::pow(10.0F, exponent(random)) * (below(2) == 0 ? 1.0F : -1.0F); };
    std::string name(1 + random() % 4, 'C');
    for (char& c : name) {
      c = letter();
    }
    const float x = coordinate();
    const float y = coordinate();
    auto& atom = AddAtom(mol, 1 + static_cast<unsigned>(random() % 118), name, x, y, coordinate());
    atom.SetFormalCharge(below(19) - 9);
    NxResidue residue;
    residue.SetInsertCode(below(3) == 0 ? letter() : ' ');
    residue.SetAlternateLocation(below(3) == 0 ? letter() : ' ');
    residue.SetOccupancy(static_cast<float>(below(100001)) / 1000.0F);
    residue.SetBFactor(coordinate() / 100.0F);
    const int number = below(2) == 0 ? below(11000) - 999 : below(1223056);
    SetResidue(atom, residue, std::string(1 + random() % 3, letter()), number, letter(), below(2) == 0);
  }
  for (int i = 0; i < n_atoms; i += 97) {
    mol.DeleteAtom(mol.GetAtom(i));
  }
}

// The value of a number printed with as many decimals as fit the columns.
double Shown(float value, int width, int decimals) {
  char text[64];
  do {
    if (std::snprintf(text, sizeof text, "%.*f", decimals, static_cast<double>(value)) <= width) {
      return std::strtod(text, nullptr);
    }
  } while (decimals-- > 0);
  return NAN;
}

TEST(NxMolOStreamPdb, GemmiReadsBackWhatWasWritten) {
  std::mt19937 random(5);
  NxMol mol;
  FillAtRandom(mol, 104000, random);
  // gemmi groups atoms by chain and residue; serials give back the order.
  const gemmi::Structure read = gemmi::read_pdb_string(Pdb(mol), "test");
  std::map<std::size_t, gemmi::const_CRA> places;
  for (const gemmi::const_CRA place : read.models.at(0).all()) {
    places[static_cast<std::size_t>(place.atom->serial)] = place;
  }
  ASSERT_EQ(places.size(), mol.NumAtoms());
  std::size_t serial = 0;
  for (const auto& atom : mol.GetAtoms()) {
    const gemmi::const_CRA& place = places.at(++serial);
    const NxResidue& residue = NxAtomGetResidue(atom);
    float xyz[3];
    mol.GetCoords(atom, xyz);
    ASSERT_EQ(place.atom->name, atom.GetName());
    for (int k = 0; k < 3; ++k) {
      ASSERT_EQ(place.atom->pos.at(k), Shown(xyz[k], 8, 3)) << xyz[k];
    }
    ASSERT_EQ(place.atom->occ, static_cast<float>(Shown(residue.GetOccupancy(), 6, 2)));
    ASSERT_EQ(place.atom->b_iso, static_cast<float>(Shown(residue.GetBFactor(), 6, 2)));
    ASSERT_EQ(place.atom->charge, atom.GetFormalCharge());
    ASSERT_EQ(place.atom->element.atomic_number(), static_cast<int>(atom.GetAtomicNum()));
    ASSERT_EQ(place.atom->altloc == '\0' ? ' ' : place.atom->altloc, residue.GetAlternateLocation());
    ASSERT_EQ(place.residue->name, residue.GetName());
    ASSERT_EQ(*place.residue->seqid.num, residue.GetResidueNumber());
    ASSERT_EQ(place.residue->seqid.icode, residue.GetInsertCode());
    ASSERT_EQ(place.chain->name, std::string(1, residue.GetChainID()));
  }
  EXPECT_GT(serial, 100000U);
}

TEST(NxMolOStreamPdb, RefusesWhatColumnsCannotHold) {
  const auto refused = [](const NxMol& mol) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(Pdb(mol), "refused");
    return testing::internal::GetCapturedStderr();
  };
  NxMol mol;
  mol.SetTitle("odd\none");
  AddAtom(mol, 6, "C1");
  auto& atom = AddAtom(mol, 6, "C2");
  const std::string where = "Warning: Unable to write molecule \"odd one\": atom 2 (C2): ";
  for (const float bad : {INFINITY, -INFINITY, NAN, 1e8F, -1e7F}) {
    const float xyz[3] = {1.0F, 2.0F, bad};
    mol.SetCoords(atom, xyz);
    EXPECT_TRUE(refused(mol).starts_with(where + "coordinates 1.000000 2.000000 ")) << bad;
  }
  const float xyz[3] = {99999992.0F, -9999999.0F, 3.0F};
  mol.SetCoords(atom, xyz);
  EXPECT_EQ(Line(Pdb(mol), "HETATM", 1).substr(30, 24), "99999992-9999999   3.000");

  NxResidue residue;
  for (const int number : {-1000, 2436112, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
    SetResidue(atom, residue, "ALA", number);
    EXPECT_EQ(refused(mol), where + "residue number " + std::to_string(number) + "\n");
  }
  SetResidue(atom, residue, "ALA", 1).SetBFactor(1e6F);
  NxAtomSetResidue(atom, residue);
  EXPECT_EQ(refused(mol), where + "temperature factor 1000000.000000\n");
  SetResidue(atom, residue = NxResidue(), "ALA", 1);
  atom.SetFormalCharge(10);
  EXPECT_EQ(refused(mol), where + "formal charge 10\n");
}

}  // namespace
