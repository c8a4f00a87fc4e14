// Several ligands in one run, screened charges, and contributions of residues, from outside.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/nxbrio.h"
#include "tests/support/run.h"

namespace {

using namespace test_support;
using nlohmann::json;

const std::string kTarget = APBS_EXAMPLES "/hca-bind/hca.pqr";
const std::string kLigand = APBS_EXAMPLES "/hca-bind/acet.pqr";
const std::string kComplex = RDKIT_CONTRIB "/CalcLigRMSD/data/6c83.pdb";

// Acetazolamide in its pocket and near it, each in a file, and two of them as models of one file.
class Ligands : public testing::Test {
 protected:
  Ligands() {
    for (const char* const move : {"0 0 0", "1 0 0", "0 0.5 0", "0 0 -1"}) {
      files_.push_back(scratch_.path("l" + std::to_string(files_.size()) + ".pqr"));
      nxbrio_json({"convert", kLigand, files_.back(), "--transform", std::string("1 0 0 0 ") + move});
    }
    const std::string models =
        "MODEL 3\n" + read_file(files_[2]) + "ENDMDL\nMODEL 8\n" + read_file(files_[3]) + "ENDMDL\n";
    together_ = {scratch_.write("two.pqr", models), files_[0], files_[1]};
  }

  json several(std::vector<std::string> arguments, const std::vector<std::string>& options) {
    arguments.insert(arguments.end(), options.begin(), options.end());
    return nxbrio_json(arguments);
  }

  // The file that holds only the ligand of a row.
  std::string alone(const json& row) {
    const std::string file = row["file"];
    return file != together_[0] ? file : row["model"] == 3 ? files_[2] : files_[3];
  }

  const ScratchDirectory scratch_;
  std::vector<std::string> files_;
  std::vector<std::string> together_;
};

void expect_sorted(const std::vector<double>& energies) {
  for (std::size_t i = 1; i < energies.size(); ++i) {
    EXPECT_LE(energies[i - 1], energies[i]);
  }
}

TEST_F(Ligands, BoundOnesHaveTheEnergiesThatTheyHaveAlone) {
  std::vector<std::string> call{"bind", kTarget};
  call.insert(call.end(), together_.begin(), together_.end());
  const std::string csv = scratch_.path("t.csv");
  for (const std::vector<std::string>& options :
       {std::vector<std::string>{"-e", "4", "-e", "80"}, {"-e", "4", "--distance-dependent"}}) {
    std::vector<std::string> with_csv = options;
    with_csv.insert(with_csv.end(), {"--csv", csv});
    const json report = several(call, with_csv);
    ASSERT_EQ(report["ligands"].size(), 4U);
    std::vector<double> energies;
    std::string table = "rank,file,model,name,atoms,net_charge_e,kcal_per_mol_at_4";
    table += options.size() == 4 ? ",kcal_per_mol_at_80,coincident_pairs\n" : ",coincident_pairs\n";
    for (const json& row : report["ligands"]) {
      energies.push_back(row["energies"][0]["kcal_per_mol"]);
      EXPECT_EQ(row["energies"], several({"bind", kTarget, alone(row)}, options)["energies"]);
      table += row["rank"].dump() + "," + row["file"].get<std::string>() + "," + row["model"].dump() + "," +
               row["name"].get<std::string>() + ",18," + row["net_charge_e"].dump();
      for (const json& energy : row["energies"]) {
        table += "," + energy["kcal_per_mol"].dump();
      }
      table += ",0\n";
    }
    expect_sorted(energies);
    EXPECT_EQ(read_file(csv), table);
  }
}

TEST_F(Ligands, RefinedOnesAreTheSameOnAnyNumberOfThreadsAndAlone) {
  const std::string out = scratch_.path("out.sdf");
  std::vector<std::string> call{"refine", kTarget};
  call.insert(call.end(), together_.begin(), together_.end());
  call.push_back(out);
  const json report = several(call, {"--threads", "1"});
  const std::string written = read_file(out);
  const json again = several(call, {"--threads", "3", "--csv", scratch_.path("t.csv")});
  EXPECT_EQ(again["ligands"], report["ligands"]);
  EXPECT_EQ(read_file(out), written);
  ASSERT_EQ(report["ligands"].size(), 4U);
  std::vector<double> energies;
  std::string fields;
  for (const json& row : report["ligands"]) {
    const json one = nxbrio_json({"refine", kTarget, alone(row), scratch_.path("one.pqr")});
    for (const char* const key : {"before", "after", "moved", "motion", "iterations", "ended", "statement"}) {
      EXPECT_EQ(row[key], one[key]) << key;
    }
    energies.push_back(row["after"]["total"]["kcal_per_mol"]);
    fields += row["after"]["total"]["kcal_per_mol"].dump() + "\n";
  }
  expect_sorted(energies);
  // RDKit must find the energies in the file, in order.
  const RunResult rdkit = run({"/usr/bin/python3", "-c",
                               "import sys\nfrom rdkit import Chem\n"
                               "for mol in Chem.SDMolSupplier(sys.argv[1], sanitize=False):\n"
                               "  print(mol.GetProp('total_kcal_per_mol'))",
                               out});
  EXPECT_EQ(rdkit.out, fields) << rdkit.err;
}

// The four starts lead to one pose, within a hundredth of an angstrom.
TEST_F(Ligands, ClustersStandForTheirMembersAndTheBestAreKept) {
  std::vector<std::string> call{"refine", kTarget};
  call.insert(call.end(), together_.begin(), together_.end());
  call.push_back(scratch_.path("out.pdb"));
  json report = several(call, {"--cluster", "0.1"});
  ASSERT_EQ(report["ligands"].size(), 1U);
  EXPECT_EQ(report["ligands"][0]["cluster_size"], 4);
  EXPECT_EQ(report["refined"], 4);
  EXPECT_EQ(report["written"]["models"], 1);
  // The starts are at least half an angstrom apart, and at most one angstrom from the middle one.
  report = several(call, {"--cluster", "0.4", "-n", "0"});
  EXPECT_EQ(report["ligands"].size(), 4U);
  report = several(call, {"--cluster", "1.05", "-n", "0"});
  EXPECT_EQ(report["ligands"].size(), 1U);
  const json best = several(call, {"--best", "2", "-n", "0", "--complex", scratch_.path("c.pdb")});
  const json all = several(call, {"-n", "0"});
  ASSERT_EQ(best["ligands"].size(), 2U);
  EXPECT_EQ(best["ligands"][0], all["ligands"][0]);
  EXPECT_EQ(best["ligands"][1], all["ligands"][1]);
  EXPECT_EQ(best["written"]["models"], 2);
}

TEST_F(Ligands, FaultyRecordsAreToldAndPassedOver) {
  const std::string bad = scratch_.write("bad.pqr", "ATOM 1 N ALA 1 0 0 x 0 1\n");
  const std::string odd = scratch_.write("odd.pqr", "ATOM 1 XX LIG 1 0 0 9 0 1\n");
  const std::string none = scratch_.path("none.pqr");
  const std::string out = scratch_.path("out.sdf");
  RunResult result = nxbrio({"bind", kTarget, files_[0], bad, none, files_[1], "--json"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "nxbrio: " + bad + ":1: z coordinate 'x' is not a number\nnxbrio: " + none +
                            ": No such file or directory\nnxbrio: 2 of 4 ligands failed\n");
  const json report = json::parse(result.out);
  EXPECT_EQ(report["ligands"].size(), 2U);
  EXPECT_EQ(report["faults"], 2);

  result = nxbrio({"refine", kTarget, files_[0], odd, files_[1], out, "--json"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "nxbrio: " + odd +
                            " model 1: atom 1, 'XX LIG 1': there are no 12-6 parameters for an unknown element\n"
                            "nxbrio: 1 of 3 ligands failed\n");
  EXPECT_EQ(json::parse(result.out)["written"]["models"], 2);

  // No ligand is left, so nothing is written or reported.
  result = nxbrio({"refine", kTarget, bad, none, scratch_.path("never.sdf"), "--csv", scratch_.path("never.csv")});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_TRUE(result.err.ends_with("nxbrio: 2 of 2 ligands failed\n")) << result.err;
  for (const std::string& name : scratch_.names()) {
    EXPECT_FALSE(name.starts_with("never")) << name;
  }
}

TEST_F(Ligands, AnInterruptKeepsWhatIsDone) {
  std::string models;
  for (int i = 1; i <= 20000; ++i) {
    models += "MODEL " + std::to_string(i) + "\n" + read_file(files_[static_cast<std::size_t>(i % 4)]) + "ENDMDL\n";
  }
  const std::string many = scratch_.write("many.pqr", models);
  const std::string target = scratch_.path("target.pqr");
  nxbrio_json({"convert", kLigand, target, "--transform", "1 0 0 0 9 0 0"});
  const std::string out = scratch_.path("out.sdf");
  // The signal is sent later in each attempt, until the first ligands are finished before it.
  RunResult result;
  for (int seconds = 1; seconds <= 64 && result.out.empty(); seconds *= 2) {
    result = run({"/usr/bin/timeout", "-s", "INT", "--preserve-status", std::to_string(seconds), NXBRIO_PROGRAM,
                  "refine", target, many, out, "--json"});
  }
  EXPECT_EQ(result.status, 130);
  const json report = json::parse(result.out);
  const int refined = report["refined"];
  EXPECT_GT(refined, 0);
  EXPECT_LT(refined, 20000);
  EXPECT_EQ(report["interrupted"], true);
  EXPECT_EQ(report["written"]["models"], refined);
  EXPECT_EQ(result.err, "nxbrio: interrupted; ligands that were refined by then: " + std::to_string(refined) + "\n");
}

TEST_F(Ligands, OneFileMayHoldTargetAndLigand) {
  const std::vector<std::string> selects{"--target-select", "A and protein", "--ligand-select", "A and hetero"};
  EXPECT_EQ(several({"bind", kComplex}, selects)["energies"],
            several({"bind", kComplex, kComplex}, selects)["energies"]);
  EXPECT_EQ(several({"refine", kComplex, scratch_.path("o.sdf"), "-n", "1"}, selects)["ligand"]["atoms"], 31);
  expect_failure(nxbrio({"bind", kComplex, "--target-select", "A", "--ligand-select", "A and hetero"}), 1,
                 kComplex + ": 31 atoms are selected for target and ligand both");
  expect_failure(nxbrio({"bind", kComplex, "--ligand-select", "A"}), 2,
                 "LIGAND is required, or --target-select and --ligand-select for both in one file");
}

// Charges of 1 and -1, 5 angstrom apart, in water with salt and at distance-dependent dielectrics.
TEST(Media, EnergiesOfTwoIonsAreKnown) {
  const ScratchDirectory scratch;
  const std::string cation = scratch.write("na.pqr", "ATOM 1 NA NA 1 0 0 0 1 1\n");
  const std::string anion = scratch.write("cl.pqr", "ATOM 1 CL CL 1 0 3 4 -1 1.8\n");
  const double vacuum = -332.063713 / 5.0;
  // CODATA 2018; the ionic strength in ions per cubic metre.
  const double kappa = 1e-10 * std::sqrt(2.0 * 0.15 * 1000.0 * 6.02214076e23 * std::pow(1.602176634e-19, 2) /
                                         (8.8541878128e-12 * 78.5 * 1.380649e-23 * 298.0));
  const std::map<std::vector<std::string>, double> media{
      {{"-e", "78.5", "--ionic-strength", "0.15"}, vacuum / 78.5 * std::exp(-kappa * 5.0)},
      {{"-e", "78.5", "--ionic-strength", "0"}, vacuum / 78.5},
      {{"-e", "4", "--distance-dependent"}, vacuum / 20.0},
      {{"-e", "4"}, vacuum / 4.0}};
  for (const auto& [options, expected] : media) {
    SCOPED_TRACE(options.back());
    std::vector<std::string> bind{"bind", cation, anion};
    bind.insert(bind.end(), options.begin(), options.end());
    EXPECT_NEAR(nxbrio_json(bind)["energies"][0]["kcal_per_mol"], expected, 1e-6 * std::abs(expected));
    std::vector<std::string> refine{"refine", cation, anion, scratch.path("o.pqr"), "-n", "0"};
    refine.insert(refine.end(), options.begin(), options.end());
    EXPECT_NEAR(nxbrio_json(refine)["before"]["coulomb"]["kcal_per_mol"], expected, 1e-7 * std::abs(expected));
  }
  expect_failure(nxbrio({"bind", cation, anion, "--ionic-strength", "0.1", "--distance-dependent"}), 2,
                 "--ionic-strength and --distance-dependent exclude one another");
  expect_failure(nxbrio({"bind", cation, anion, "--ionic-strength", "-1"}), 2,
                 "--ionic-strength: '-1' is not a finite number from 0 on");
}

TEST(Residues, SumUpToTheWholeAndAreWhatTheyAreAlone) {
  const ScratchDirectory scratch;
  const std::string csv = scratch.path("r.csv");
  const json report = nxbrio_json({"bind", kTarget, kLigand, "-e", "4", "--residues", "3", "--residue-csv", csv});
  std::map<std::string, double> sums;
  std::map<std::string, double> energies;
  for (const json& residue : report["residues"]) {
    sums[residue["side"]] += residue["kcal_per_mol"][0].get<double>();
    energies[residue["residue"]] = residue["kcal_per_mol"][0];
  }
  const double whole = report["energies"][0]["kcal_per_mol"];
  EXPECT_NEAR(sums["target"], whole, 1e-5 * std::abs(whole));
  EXPECT_NEAR(sums["ligand"], sums["target"], 1e-9);
  const json zinc = nxbrio_json({"bind", kTarget, kLigand, "-e", "4", "--target-select", "(ZN)"});
  EXPECT_NEAR(energies.at("ZN 257"), zinc["energies"][0]["kcal_per_mol"], 1e-4);
  EXPECT_EQ(lines_of(read_file(csv)).size(), report["residues"].size() + 1);
  EXPECT_EQ(lines_of(read_file(csv)).front(), "rank,file,model,name,side,residue,kcal_per_mol_at_4");
  // The strongest three of each side.
  const std::string text = nxbrio({"bind", kTarget, kLigand, "-e", "4", "-r", "3"}).out;
  std::vector<std::string> shown;
  for (const std::string& line : lines_of(text.substr(text.find("\n  residue ") + 1))) {
    if (line.starts_with("  ") && shown.size() < 4) {
      shown.push_back(line.substr(2, line.find("  ", 2) - 2));
    }
  }
  ASSERT_EQ(shown.size(), 4U);
  for (std::size_t i = 2; i < shown.size(); ++i) {
    EXPECT_GE(std::abs(energies.at(shown[i - 1])), std::abs(energies.at(shown[i])));
  }
  EXPECT_NE(text.find("3 of 257, kcal/mol"), std::string::npos);
}

TEST_F(Ligands, WrongCallsAreTold) {
  const std::string out = scratch_.path("o.sdf");
  expect_failure(nxbrio({"refine", kTarget, files_[0], out, "--cluster", "far"}), 2,
                 "--cluster: 'far' is not a finite number from 0 on");
  expect_failure(nxbrio({"refine", kTarget, files_[0], files_[1], out, "--trajectory", scratch_.path("w.pdb")}), 2,
                 "--trajectory: one ligand is needed, not several");
  expect_failure(nxbrio({"refine", kTarget, files_[0], out, "--csv", files_[0]}), 2,
                 "--csv: " + files_[0] + " is read as well");
  expect_failure(nxbrio({"bind", kTarget, files_[0], "--csv", out, "--residue-csv", out}), 2,
                 "--residue-csv: " + out + " is written already");
  for (const std::vector<std::string>& option :
       {std::vector<std::string>{"--best", "0"}, {"--threads", "0"}, {"--threads", "many"}}) {
    std::vector<std::string> call{"refine", kTarget, files_[0], out};
    call.insert(call.end(), option.begin(), option.end());
    expect_one_line(nxbrio(call), 2);
  }
}

}  // namespace
