// Chosen atoms of the files that nxbrio reads.
#include <gtest/gtest.h>

#include <gemmi/pdb.hpp>
#include <gemmi/select.hpp>
#include <string>
#include <vector>

#include "tests/support/nxbrio.h"
#include "tests/support/run.h"

namespace {

using namespace test_support;
using nlohmann::json;

// Four chains of a kinase, each with a nucleotide that is not part of the chain.
const std::string kComplex = RDKIT_CONTRIB "/CalcLigRMSD/data/6c83.pdb";

TEST(Selections, CountAsGemmiCounts) {
  const gemmi::Structure structure = gemmi::read_pdb_file(kComplex);
  for (const char* const text : {"A", "B,C/100-200", "(ALA,GLY)", "CA[C]", "D//N,CA;b<150"}) {
    SCOPED_TRACE(text);
    const gemmi::Structure chosen = gemmi::Selection(text).copy_selection(structure);
    std::size_t atoms = 0;
    for (const gemmi::Chain& chain : chosen.models.at(0).chains) {
      for (const gemmi::Residue& residue : chain.residues) {
        atoms += residue.atoms.size();
      }
    }
    EXPECT_EQ(nxbrio_json({"info", kComplex, "--select", text})["atoms"], atoms);
  }
}

// Two selections of one file must give the same as two files, with the charges of the file.
TEST(Selections, OneFileHoldsBothPartners) {
  const ScratchDirectory scratch;
  const std::string target = scratch.path("target.pqr");
  const std::string ligand = scratch.path("ligand.pqr");
  nxbrio_json({"convert", kComplex, target, "--select", "A and protein"});
  nxbrio_json({"convert", kComplex, ligand, "--select", "A and hetero"});
  const json apart = nxbrio_json({"bind", target, ligand});
  const json together =
      nxbrio_json({"bind", kComplex, kComplex, "--target-select", "A and protein", "--ligand-select", "A and hetero"});
  EXPECT_EQ(apart["target"]["atoms"], 1916);
  EXPECT_EQ(together["ligand"]["atoms"], 31);
  EXPECT_EQ(together["energies"], apart["energies"]);
  EXPECT_EQ(together["ligand"]["net_charge_e"], -1.0);
  const json refined = nxbrio_json({"refine", kComplex, kComplex, scratch.path("o.sdf"), "-n", "0", "--target-select",
                                    "A and protein", "--ligand-select", "A and hetero"});
  EXPECT_EQ(refined["ligand"]["atoms"], 31);
  EXPECT_EQ(refined["target"]["atoms"], 1916);
}

TEST(Selections, WhatIsWrittenHoldsTheChosenAtomsOfEachModelThatHasSome) {
  const ScratchDirectory scratch;
  const std::string models = scratch.write(
      "m.pdb",
      "MODEL        1\nATOM      1  CA  ALA A   1       1.000   2.000   3.000  1.00 10.00           C\nENDMDL\n"
      "MODEL        2\nATOM      1  CA  ALA B   1       4.000   2.000   3.000  1.00 10.00           C\n"
      "HETATM    2  O   HOH B   2       9.000   2.000   3.000  1.00 10.00           O\n"
      "HETATM    3  O   HOH B   3       9.000   9.000   3.000  1.00 10.00           O\nENDMDL\n");
  EXPECT_EQ(nxbrio_json({"convert", models, scratch.path("o.pdb"), "--select", "B"})["read"]["models"], (json{2}));
  EXPECT_EQ(nxbrio_json({"orient", models, scratch.path("o.pdb"), "--select", "B and water"})["written"]["atoms"], 2);
  const json info = nxbrio_json({"info", models, "--select", "/2"});
  EXPECT_EQ(info["atoms"], 3);
  EXPECT_EQ(info["notes"].back(), "2 waters are among the atoms; the selection 'not water' leaves waters out");
  EXPECT_EQ(nxbrio_json({"info", models, "--select", "not water and B"})["atoms"], 1);
}

TEST(Selections, WrongOnesAreTold) {
  const std::string file = NXBRIO_SOURCE_DIR "/tests/program/files/peptide.pdb";
  expect_failure(nxbrio({"info", file, "--select", "A and"}), 2,
                 "--select: selection: it ends where atoms are expected");
  expect_failure(nxbrio({"moments", file, "--select", "Q"}), 1, file + ": --select: 'Q' means no atom of it");
  expect_failure(nxbrio({"bind", file, file, "--ligand-select", ""}), 2,
                 "--ligand-select: selection: nothing is asked for");
}

}  // namespace
