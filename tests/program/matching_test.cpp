// Superpositions of the residues that two structures share, from outside.
#include <gtest/gtest.h>

#include <cmath>
#include <gemmi/pdb.hpp>
#include <gemmi/qcp.hpp>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/nxbrio.h"
#include "tests/support/run.h"

namespace {

using namespace test_support;
using nlohmann::json;

// Two entries of a kinase in different frames: one has four chains, the other one chain, waters and other termini.
const std::string kReference = RDKIT_CONTRIB "/CalcLigRMSD/data/6c83.pdb";
const std::string kOther = RDKIT_CONTRIB "/CalcLigRMSD/data/5dpv.pdb";

// The alpha carbons of the residue numbers that chain A has in both entries.
std::pair<std::vector<gemmi::Position>, std::vector<gemmi::Position>> shared_carbons(const std::string& other) {
  gemmi::Structure a = gemmi::read_pdb_file(kReference);
  gemmi::Structure b = gemmi::read_pdb_file(other);
  std::pair<std::vector<gemmi::Position>, std::vector<gemmi::Position>> found;
  for (const gemmi::Residue& one : a.models[0].find_chain("A")->residues) {
    for (const gemmi::Residue& two : b.models[0].find_chain("A")->residues) {
      const gemmi::Atom* const p = one.get_ca();
      const gemmi::Atom* const q = two.get_ca();
      if (one.seqid == two.seqid && p != nullptr && q != nullptr) {
        found.first.push_back(p->pos);
        found.second.push_back(q->pos);
      }
    }
  }
  return found;
}

double in_place(const std::pair<std::vector<gemmi::Position>, std::vector<gemmi::Position>>& pairs) {
  double sum = 0.0;
  for (std::size_t i = 0; i < pairs.first.size(); ++i) {
    sum += pairs.first[i].dist_sq(pairs.second[i]);
  }
  return std::sqrt(sum / static_cast<double>(pairs.first.size()));
}

TEST(Matching, TwoEntriesOfOneProteinSuperposeOnWhatTheyShare) {
  const ScratchDirectory scratch;
  const auto pairs = shared_carbons(kOther);
  const gemmi::SupResult gemmi_says =
      gemmi::superpose_positions(pairs.first.data(), pairs.second.data(), pairs.first.size(), nullptr);
  const std::string out = scratch.path("o.pdb");
  for (const char* const match : {"names", "residues"}) {
    SCOPED_TRACE(match);
    const json report = nxbrio_json({"superpose", kReference, kOther, out, "--match", match, "--select", "A//CA[C]"});
    const json& fit = report["fits"][0];
    EXPECT_EQ(fit["pairs"], pairs.first.size());
    EXPECT_NEAR(fit["rms_A"], gemmi_says.rmsd, 1e-3);
    EXPECT_NEAR(fit["rms_before_A"], in_place(pairs), 1e-2);
    // The whole entry must be moved, by the same motion. The file has three decimals.
    EXPECT_EQ(report["written"]["atoms"], nxbrio_json({"info", kOther})["atoms"]);
    EXPECT_NEAR(in_place(shared_carbons(out)), gemmi_says.rmsd, 2e-3);
    const json again = nxbrio_json({"rms", kReference, out, "--in-place", "--match", match, "--select", "A//CA[C]"});
    EXPECT_NEAR(again["fits"][0]["rms_A"], fit["rms_A"], 2e-3);
  }
}

// Chain letters and numbers differ, a residue is missing in the middle, and the last is another one.
TEST(Matching, ResiduesPairByTheirSequences) {
  const auto chain = [](char letter, int first, const std::vector<const char*>& residues, double shift) {
    std::string text;
    for (std::size_t i = 0; i < residues.size(); ++i) {
      for (const char* const name : {"CA", "CB"}) {
        char line[100];
        const double x = 3.8 * static_cast<double>(first + static_cast<int>(i)) + (name[1] == 'B' ? 1.0 : 0.0) + shift;
        std::snprintf(line, sizeof line, "ATOM      1  %s  %s %c%4d    %8.3f%8.3f%8.3f  1.00  0.00           C\n", name,
                      residues[i], letter, first + static_cast<int>(i), x, x * x / 40.0, std::sin(x));
        text += line;
      }
    }
    return text;
  };
  const ScratchDirectory scratch;
  const std::string first = scratch.write("a.pdb", chain('A', 1, {"ALA", "SER", "VAL", "LEU", "PHE", "TRP", "ARG"}, 0));
  std::string moved = chain('B', 1, {"ALA", "SER", "VAL"}, 0) + chain('B', 5, {"PHE", "TRP", "LYS"}, 0);
  const std::string second = scratch.write("b.pdb", moved);
  const json fit = nxbrio_json({"rms", first, second, "--match", "residues"})["fits"][0];
  // Two atoms of each of five residues, and the backbone atom of the last.
  EXPECT_EQ(fit["pairs"], 11);
  EXPECT_NEAR(fit["rms_A"], 0.0, 1e-3);
  const json in_place = nxbrio_json({"rms", first, second, "--match", "residues", "--in-place"})["fits"][0];
  EXPECT_NEAR(in_place["rms_A"], 0.0, 1e-3);
  EXPECT_EQ(nxbrio_json({"rms", "--all", first, second, "--match", "residues"})["pairs"], (json{{14, 11}, {11, 12}}));
  expect_failure(nxbrio({"rms", first, second, "--match", "names"}), 1,
                 second + ": no atom of it pairs with one of " + first);
  expect_failure(nxbrio({"rms", first, second}), 1, second + ": 12 atoms, but 14 in " + first);
  expect_one_line(nxbrio({"rms", first, second, "--match", "shape"}), 2);
}

TEST(Matching, InPlaceNothingIsSuperposed) {
  const ScratchDirectory scratch;
  const std::string ligand = APBS_EXAMPLES "/hca-bind/acet.pqr";
  const std::string moved = scratch.path("moved.pqr");
  nxbrio_json({"convert", ligand, moved, "--transform", "1 0 0 0 3 4 0"});
  const json in_place = nxbrio_json({"rms", ligand, moved, "--in-place"});
  EXPECT_NEAR(in_place["fits"][0]["rms_A"], 5.0, 1e-3);
  EXPECT_EQ(in_place["fits"][0]["pairs"], 13);
  const json all = nxbrio_json({"rms", ligand, moved, "--in-place", "--hydrogens"});
  EXPECT_EQ(all["fits"][0]["pairs"], 18);
  EXPECT_NEAR(nxbrio_json({"rms", ligand, moved})["fits"][0]["rms_A"], 0.0, 1e-3);
}

}  // namespace
