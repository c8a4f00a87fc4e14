// The command-line program from outside: exit status, standard output, standard error, files.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/support/nxbrio.h"
#include "tests/support/run.h"

namespace {

using namespace test_support;
using nlohmann::json;

const std::string kExamples = APBS_EXAMPLES;
const std::string kFiles = NXBRIO_SOURCE_DIR "/tests/program/files/";

// An atom as the test reads it from a PQR file with fields separated by white space: the last five are numbers.
struct PqrAtom {
  std::string name;
  double x, y, z, q, r;
};

std::vector<PqrAtom> parse_pqr(const std::string& path) {
  std::vector<PqrAtom> atoms;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line);
    const std::vector<std::string> f{std::istream_iterator<std::string>(words), {}};
    if (!f.empty() && f[0] == "ATOM") {
      const auto number = [&](std::size_t from_end) { return std::stod(f[f.size() - from_end]); };
      atoms.push_back({f[2], number(5), number(4), number(3), number(2), number(1)});
    }
  }
  return atoms;
}

double coulomb_sum(const std::vector<PqrAtom>& a, const std::vector<PqrAtom>& b) {
  double sum = 0.0;
  for (const PqrAtom& i : a) {
    for (const PqrAtom& j : b) {
      sum += i.q * j.q / std::hypot(i.x - j.x, i.y - j.y, i.z - j.z);
    }
  }
  return sum;
}

const std::vector<std::pair<std::string, std::string>> kComplexes{
    {kExamples + "/pbsam-barn_bars/barnase.pqr", kExamples + "/pbsam-barn_bars/barstar.pqr"},
    {kExamples + "/hca-bind/hca.pqr", kExamples + "/hca-bind/acet.pqr"}};

TEST(RealComplex, EnergiesAndMultipolesAgreeWithAnIndependentSum) {
  for (const auto& [target, ligand] : kComplexes) {
    SCOPED_TRACE(target);
    const std::vector<PqrAtom> a = parse_pqr(target);
    const std::vector<PqrAtom> b = parse_pqr(ligand);
    const json report = nxbrio_json({"bind", target, ligand, "-e", "1", "--dielectric", "78.54", "--verbose"});

    // 332.0637 kcal/mol angstrom between unit charges is 560.737 in the library's unit.
    const double sum = coulomb_sum(a, b);
    ASSERT_EQ(report["energies"].size(), 2U);
    for (const json& energy : report["energies"]) {
      const double dielectric = energy["dielectric"];
      const double expected = 560.73706 * sum / dielectric;
      EXPECT_NEAR(energy["energy"], expected, 1e-4 * std::abs(expected));
      EXPECT_NEAR(energy["kcal_per_mol"], 332.0637 * sum / dielectric, 1e-4 * std::abs(expected));
      EXPECT_NEAR(energy["kJ_per_mol"], 4.184 * 332.0637 * sum / dielectric, 4e-4 * std::abs(expected));
    }
    EXPECT_EQ(report["energies"][1]["dielectric"], 78.54);

    for (const auto& [side, atoms] : {std::pair{report["target"], a}, {report["ligand"], b}}) {
      double net = 0.0;
      std::array<double, 3> moment{};
      for (const PqrAtom& atom : atoms) {
        net += atom.q;
      }
      const std::vector<double> centre = side["charge_centre_A"];
      for (const PqrAtom& atom : atoms) {
        moment[0] += atom.q * (atom.x - centre[0]);
        moment[1] += atom.q * (atom.y - centre[1]);
        moment[2] += atom.q * (atom.z - centre[2]);
      }
      EXPECT_EQ(side["atoms"], atoms.size());
      EXPECT_NEAR(side["net_charge_e"], net, 1e-4);
      EXPECT_NEAR(side["monopole_e"], net, 1e-3);
      EXPECT_NEAR(side["dipole_moment_D"], 4.80320 * std::hypot(moment[0], moment[1], moment[2]), 0.05);
    }
    EXPECT_EQ(report["memory_held"], (json{{"bytes", 0}, {"blocks", 0}}));
    EXPECT_EQ(report["errors"], json::array());
    EXPECT_EQ(report["warnings"], json::array());
  }
}

// The ligand's atoms have a chain of their own in both files. The formats themselves are tested with the library.
TEST(RealComplex, WritesTheComplex) {
  for (const auto& [target, ligand] : kComplexes) {
    SCOPED_TRACE(target);
    const ScratchDirectory scratch;
    const RunResult result =
        nxbrio({"bind", target, ligand, "--write", scratch.path("c.pdb"), "--write", scratch.path("c.PQR")});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(scratch.names(), (std::vector<std::string>{"c.PQR", "c.pdb"}));
    const json first = nxbrio_json({"info", target});
    const json second = nxbrio_json({"info", ligand});
    for (const std::string name : {"c.pdb", "c.PQR"}) {
      const json both = nxbrio_json({"info", scratch.path(name)});
      EXPECT_EQ(both["chains"].size(), first["chains"].size() + second["chains"].size());
      EXPECT_EQ(both["residues"], first["residues"].get<int>() + second["residues"].get<int>());
    }
    std::vector<PqrAtom> expected = parse_pqr(target);
    const std::vector<PqrAtom> ligand_atoms = parse_pqr(ligand);
    expected.insert(expected.end(), ligand_atoms.begin(), ligand_atoms.end());
    const std::vector<PqrAtom> written = parse_pqr(scratch.path("c.PQR"));
    ASSERT_EQ(written.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
      const auto& [name, x, y, z, q, r] = expected[i];
      EXPECT_EQ(written[i].name, name);
      EXPECT_LT(std::hypot(written[i].x - x, written[i].y - y, written[i].z - z), 2e-4) << i;
      EXPECT_LT(std::hypot(written[i].q - q, written[i].r - r), 1.5e-4) << i;
    }
  }
}

TEST(Nxbrio, TablesSayWhatTheJsonSays) {
  const std::string target = kExamples + "/hca-bind/hca.pqr";
  const std::string ligand = kExamples + "/hca-bind/acet.pqr";
  const RunResult text = nxbrio({"bind", target, ligand, "--library-unit", "--verbose"});
  const json report = nxbrio_json({"bind", target, ligand});
  EXPECT_EQ(text.status, 0);
  EXPECT_EQ(text.err, "");
  ASSERT_EQ(report["energies"].size(), 3U);
  std::string table;
  for (std::size_t i = 0; i < 3; ++i) {
    const json& energy = report["energies"][i];
    EXPECT_EQ(energy["dielectric"], (std::array{1, 4, 80}[i]));
    std::array<char, 200> row{};
    std::snprintf(row.data(), row.size(), "%12g%11.4f%12.4f%14.4f\n", energy["dielectric"].get<double>(),
                  energy["kcal_per_mol"].get<double>(), energy["kJ_per_mol"].get<double>(),
                  energy["energy"].get<double>());
    table += row.data();
  }
  EXPECT_NE(text.out.find(table), std::string::npos) << text.out;
  EXPECT_NE(text.out.find("1 library unit = 0.592191 kcal/mol = 2.477729 kJ/mol"), std::string::npos);
  EXPECT_TRUE(text.out.ends_with("\nerrors 0, warnings 0; memory still held: 0 bytes in 0 blocks\n")) << text.out;
}

TEST(Nxbrio, CoincidentPairsAreCountedAndLeftOut) {
  const ScratchDirectory scratch;
  const std::string charged = "ATOM 1 A X 1 0 0 0 1 1\nATOM 2 B X 1 0 0 2 -1 1\n";
  const std::string a = scratch.write("a.pqr", charged + "ATOM 3 C X 1 5 5 5 0 1\nATOM 4 D X 1 0 0 -0 0 1\n");
  const std::string b = scratch.write("b.pqr", charged + "ATOM 3 C X 1 5 5 5 0 1\nATOM 4 E X 1 0 0 0 0 1\n");
  const json report = nxbrio_json({"bind", a, b, "-e", "2"});
  EXPECT_EQ(report["coincident_pairs"], 2);
  EXPECT_NEAR(report["energies"][0]["energy"], -560.73706 / 2, 1e-3);
}

// ---- Formats ----

// In a PDB file the column in which the name starts tells elements that have no one-letter code.
TEST(Nxbrio, IonsKeepTheirElementInTheComplex) {
  const ScratchDirectory scratch;
  const std::string ions =
      scratch.write("ions.pqr", "ATOM 1 CA CA 1 0 0 0 2 1\nATOM 2 ZN ZN 2 9 0 0 2 1\nATOM 3 CA ALA 3 5 5 5 0.1 1.9\n");
  const std::string other = scratch.write("other.pqr", "ATOM 1 CL CL 1 3 0 0 -1 1.8\n");
  const std::string complex = scratch.path("complex.pdb");
  nxbrio_json({"bind", ions, other, "--write", complex, "--json"});
  EXPECT_EQ(nxbrio_json({"info", complex})["composition"], (json{{"C", 1}, {"Ca", 1}, {"Cl", 1}, {"Zn", 1}}));
}

TEST(Nxbrio, EnergiesOutOfRangeAreAFailure) {
  const ScratchDirectory scratch;
  const std::string ion = scratch.write("ion.pqr", "ATOM 1 NA NA 1 0 0 0 1 1\n");
  const std::string other = scratch.write("other.pqr", "ATOM 1 CL CL 1 3 0 0 -1 1.8\n");
  expect_failure(nxbrio({"bind", ion, other, "--dielectric", "1e-40", "--json"}), 1,
                 "the energy at dielectric 9.99995e-41 is too large to be told");
}

// Two residues of a protein, in all the ways that a PQR file may be laid out.
TEST(Pqr, AllLayoutsReadAlike) {
  const json plain = nxbrio_json({"info", kFiles + "plain.pqr"});
  EXPECT_EQ(plain["residues"], 2);
  EXPECT_EQ(plain["chains"], json::array({" "}));
  EXPECT_EQ(plain["composition"], (json{{"C", 1}, {"N", 1}, {"Ca", 1}}));
  EXPECT_EQ(plain["low_A"], (json{-100.123, -200.456, 3.0}));
  EXPECT_EQ(plain["high_A"], (json{-98.0, -199.0, 5.5}));
  EXPECT_NEAR(plain["net_charge_e"], 2.2, 1e-6);
  EXPECT_EQ(plain["radii_A"], (json{1.4, 1.908}));
  for (const std::string layout : {"chain.pqr", "touching.pqr", "columns.pqr", "element.pqr"}) {
    SCOPED_TRACE(layout);
    const json info = nxbrio_json({"info", kFiles + layout});
    EXPECT_EQ(info["residues"], 3);
    EXPECT_EQ(info["chains"], json::array({"A", "B"}));
    for (const char* key : {"atoms", "composition", "low_A", "high_A", "net_charge_e", "radii_A", "charges_from"}) {
      EXPECT_EQ(info[key], plain[key]) << key;
    }
  }
}

// The printed centre is that of the charges 0.5 and 2; the charge -0.3 is 3.25 A away from it.
TEST(Pqr, InfoTellsWhatAFileHolds) {
  const RunResult result = nxbrio({"info", kFiles + "plain.pqr"});
  EXPECT_EQ(result.status, 0);
  for (const char* row : {"\n  composition                           C1 Ca1 N1\n",
                          "\n  chains                                  (blank)\n",
                          "\n  monopole, e                              2.2000\n",
                          "\n  charge centre, A    -98.200  -199.200     5.300\n",
                          "\n  dipole, A             1.923     1.256     2.300\n",
                          "\n  its length, A                             3.250\n",
                          "\n  dipole moment, D                           4.68\n",
                          "\n  lowest x y z, A    -100.123  -200.456     3.000\n",
                          "\n  highest x y z, A    -98.000  -199.000     5.500\n",
                          "\n  radii, A                         1.400 to 1.908\n"}) {
    EXPECT_NE(result.out.find(row), std::string::npos) << row << result.out;
  }
}

TEST(Pqr, ReadsTheFirstModelAndFillsRadiiOnlyWhereNoneIsGiven) {
  const ScratchDirectory scratch;
  const std::string atom = "ATOM 1 CA ALA 1 0 0 0 0.5 0\n";
  const std::string models = scratch.write("m.pqr", "MODEL 3\n" + atom + "ENDMDL\nMODEL 9\n" + atom + "END\n" + atom);
  const json info = nxbrio_json({"info", models});
  EXPECT_EQ(nxbrio_json({"convert", models, scratch.path("m.xyz")})["read"]["models"], (json{3, 9, 10}));
  EXPECT_EQ(info["atoms"], 1);
  EXPECT_EQ(info["notes"].size(), 1U);
  EXPECT_EQ(info["radii_A"], (json{1.7, 1.7}));
  const json some = nxbrio_json({"info", scratch.write("s.pqr", atom + "ATOM 2 HG SER 1 1 1 1 0.1 1.5\n")});
  EXPECT_EQ(some["radii_A"], (json{0.0, 1.5}));
}

const std::string kPdb = read_file(kFiles + "peptide.pdb");

const std::string kMmcif = read_file(kFiles + "peptide.cif");

TEST(Formats, PdbAndMmcifPlainGzippedAndUnnamed) {
  const ScratchDirectory scratch;
  std::vector<std::string> files{scratch.write("a.pdb", kPdb), scratch.write("b.cif", kMmcif),
                                 scratch.write("pdb_without_ending", kPdb),
                                 scratch.write("cif.of_unknown_ending", kMmcif)};
  for (const char* name : {"c.ent", "d.mmcif"}) {
    const std::string plain = scratch.write(name, name[0] == 'c' ? kPdb : kMmcif);
    ASSERT_EQ(run({"/bin/gzip", plain}).status, 0);
    files.push_back(plain + ".gz");
  }
  for (const std::string& file : files) {
    SCOPED_TRACE(file);
    const json info = nxbrio_json({"info", file});
    EXPECT_EQ(info["atoms"], 5);
    EXPECT_EQ(info["residues"], 5);
    EXPECT_EQ(info["chains"].size(), 2U);
    EXPECT_EQ(info["low_A"], (json{1.0, 2.0, 3.0}));
    EXPECT_EQ(info["high_A"], (json{9.0, 2.0, 3.0}));
    EXPECT_EQ(info["composition"], (json{{"C", 1}, {"N", 1}, {"O", 2}, {"S", 1}}));
    // +1 on the lysine nitrogen, -0.5 on the only carboxylate oxygen.
    EXPECT_EQ(info["net_charge_e"], 0.5);
    EXPECT_EQ(info["charges_from"], "formal");
    EXPECT_EQ(info["radii_A"], (json{1.52, 1.8}));
    EXPECT_EQ(info["bonds"], info["format"] == "PDB" ? 1 : 0);
    const json models = nxbrio_json({"convert", file, scratch.path("models.xyz")})["read"];
    EXPECT_EQ(models["models"], (json{1, 2}));
    EXPECT_EQ(models["atoms"], 6);
  }
  // Of the two locations the likelier one is kept.
  ASSERT_EQ(nxbrio({"bind", files[0], files[1], "--write", scratch.path("c.xyz")}).status, 0);
  std::istringstream words(read_file(scratch.path("c.xyz")));
  std::vector<std::string> carbons;
  for (std::string word; words >> word;) {
    if (word == "C") {
      words >> carbons.emplace_back();
    }
  }
  EXPECT_EQ(carbons, (std::vector<std::string>{"3.500000", "3.500000"}));
}

// The letters tell the element of zinc, of calcium in its own residue, of chlorine, and of a serine's HG.
TEST(Formats, ANoteTellsWhoseRadiiTheNamesDoNotTell) {
  const std::string text =
      "HETATM    1 FE   HEM A   1       3.000   0.000   0.000  1.00  0.00          FE\n"
      "HETATM    2 FE   HEM A   2       6.000   0.000   0.000  1.00  0.00          FE\n"
      "HETATM    3  CA  CAX A   3       9.000   0.000   0.000  1.00  0.00           C\n"
      "HETATM    4 4HB  LIG A   4      12.000   0.000   0.000  1.00  0.00           H\n"
      "HETATM    5 ZN    ZN A   5      15.000   0.000   0.000  1.00  0.00          ZN\n"
      "HETATM    6 CA    CA A   6      18.000   0.000   0.000  1.00  0.00          CA\n"
      "HETATM    7 CL1  LIG A   7      21.000   0.000   0.000  1.00  0.00          CL\n"
      "HETATM    8  HG  SER A   8      24.000   0.000   0.000  1.00  0.00           H\n";
  const ScratchDirectory scratch;
  const json info = nxbrio_json({"info", scratch.write("ions.pdb", text)});
  EXPECT_EQ(info["notes"].back(),
            "1 C, 2 Fe, 1 H without their element's Bondi radius, which goes by the first letters of atom names");
  EXPECT_EQ(info["radii_A"], (json{1.14, 1.9}));
}

// ---- Failures ----

TEST(Failures, OneLineThatNamesFileAndLine) {
  const std::string good = "ATOM 1 N ALA 1 0.0 0.0 0.0 0.5 1.5\n";
  std::string pdb = kPdb;
  pdb.replace(pdb.find("   3.500"), 8, " 3.5 1.0");
  std::string short_pdb = kPdb;
  short_pdb.erase(short_pdb.find("   4.000"), std::string("   4.000   2.000   3.000  1.00 10.00           S").size());
  std::string cif = kMmcif;
  cif.replace(cif.find("11.0"), 4, "1l.0");
  std::string odd_cif = kMmcif;
  odd_cif.erase(odd_cif.find(" BB 1"), 5);
  const std::vector<std::tuple<std::string, std::string, std::string>> cases{
      {"x.pqr", good + "ATOM 2 N ALA 1 0.0 abc 0.0 0.5 1.5\n", ":2: y coordinate 'abc' is not a number"},
      {"nan.pqr", good + good + "ATOM 2 N ALA 1 0.0 0.0 nan 0.5 1.5\n", ":3: z coordinate 'nan' is not finite"},
      {"huge.pqr", "\n\nATOM 2 N ALA 1 1e39 0.0 0.0 0 1.5\n", ":3: x coordinate '1e39' is out of range"},
      {"neg.pqr", "ATOM 2 N ALA 1 0.0 0.0 0.0 0 -1.5\r\n", ":1: radius '-1.5' is negative"},
      {"few.pqr", "ATOM 2 N ALA 1 0.0 0.0 0.0\n", ":1: 8 fields where an atom has 10 or, with a chain, 11"},
      {"res.pqr", "ATOM 2 N ALA A 1x2 0 0 0 0 1\n", ":1: residue number '1x2' is not an integer"},
      {"empty.pqr", "", ": no atoms"},
      {"header.pdb", "HEADER    NOTHING\nEND\n", ": no atoms"},
      {"nul.pqr", good + std::string("ATOM\0", 5) + "\n", ": binary data, not a structure file"},
      {"letter", "Dear Sir,\n", ": not a PQR, PDB, mmCIF, SDF, mol2 or XYZ file"},
      {"wrong.pdb", pdb, ":6: x coordinate '3.5 1.0' is not a number"},
      {"no_end.pdb", "  END\n\tEND\nENDED\n" + pdb, ":9: x coordinate '3.5 1.0' is not a number"},
      {"short.pdb", short_pdb, ":7: the record ends before its coordinates do"},
      {"wrong.cif", cif, ":25: x coordinate '1l.0' is not a number"},
      {"odd.cif", odd_cif, ":2: Wrong number of values in the loop"},
  };
  const ScratchDirectory scratch;
  for (const auto& [name, text, message] : cases) {
    SCOPED_TRACE(name);
    const std::string file = scratch.write(name, text);
    expect_failure(nxbrio({"info", file}), 1, file + message);
    expect_failure(nxbrio({"bind", file, kExamples + "/hca-bind/acet.pqr", "--json"}), 1, file + message);
  }
  expect_failure(nxbrio({"info", scratch.path("none.pqr")}), 1, scratch.path("none.pqr: No such file or directory"));
  expect_failure(nxbrio({"info", scratch.path("")}), 1, scratch.path(": is a directory"));
  expect_failure(nxbrio({"info", scratch.path("a\nb\t\x1b\xc3\xa4")}), 1,
                 scratch.path("a\\nb\\t\\x1b\xc3\xa4: No such file or directory"));

  const std::string plain = scratch.write("cut.pqr", read_file(kExamples + "/hca-bind/hca.pqr"));
  ASSERT_EQ(run({"/bin/gzip", plain}).status, 0);
  const std::string packed = read_file(plain + ".gz");
  const std::string cut = scratch.write("cut.pqr.gz", packed.substr(0, packed.size() / 2));
  expect_failure(nxbrio({"info", cut}), 1, cut + ": gzipped file is cut short");
  std::string other_checksum = packed;
  other_checksum[packed.size() - 8] = static_cast<char>(~packed[packed.size() - 8]);
  const std::string damaged = scratch.write("damaged.pqr.gz", other_checksum);
  expect_failure(nxbrio({"info", damaged}), 1, damaged + ": gzipped file is damaged: incorrect data check");
}

TEST(Failures, LeaveNoFileAndAnOlderOneUntouched) {
  const ScratchDirectory scratch;
  const std::string good = kExamples + "/hca-bind/acet.pqr";
  const std::string bad = scratch.write("bad.pqr", "ATOM 1 N ALA 1 0 0 x 0 1\n");
  const std::string old = scratch.write("old.pdb", "precious\n");
  const std::vector<std::string> before = scratch.names();
  EXPECT_EQ(nxbrio({"bind", good, bad, "--write", old, "--write", scratch.path("new.pdb")}).status, 1);
  expect_failure(nxbrio({"bind", good, good, "--write", scratch.path("no/c.pdb")}), 1,
                 scratch.path("no/c.pdb: No such file or directory"));
  EXPECT_EQ(nxbrio({"bind", good, good, "--write", scratch.path("c.pdb"), "--write", "c.doc"}).status, 2);
  EXPECT_EQ(nxbrio({"bind", good, good, "--write", scratch.path("c.pdb"), "-e", "-1"}).status, 2);
  EXPECT_EQ(scratch.names(), before);
  EXPECT_EQ(read_file(old), "precious\n");

  // A value that the format cannot hold is reported by the library, once.
  const std::string far = scratch.write("far.pqr", "ATOM 1 N ALA 1 1e30 0 0 1 1\n");
  const RunResult refused =
      nxbrio({"bind", far, good, "--write", scratch.path("far.xyz"), "--write", scratch.path("far.pdb")});
  expect_one_line(refused, 1, scratch.path("far.pdb") + ": ");
  EXPECT_NE(refused.err.find("atom 1"), std::string::npos) << refused.err;
  EXPECT_EQ(scratch.names(), (std::vector<std::string>{"bad.pqr", "far.pqr", "old.pdb"}));

  const std::string copy = scratch.write("copy.pqr", read_file(good));
  expect_failure(nxbrio({"bind", copy, good, "--write", copy}), 2, "--write: " + copy + " is read as well");
  expect_failure(nxbrio({"bind", copy, good, "--write", "new.pdb", "--write", "./new.pdb"}), 2,
                 "--write: ./new.pdb is written already");
  EXPECT_EQ(read_file(copy), read_file(good));
}

TEST(Usage, WrongCallsAreToldInOneLineAndEndWithStatus2) {
  const std::vector<std::vector<std::string>> calls{
      {},
      {"bind"},
      {"bind", "a.pqr"},
      {"bind", "a.pqr", "b.pqr", "--dielectric"},
      {"bind", "a.pqr", "b.pqr", "--bogus"},
      {"info"},
      {"convert", "a.pqr"},
      {"convert", "a.pqr", "b.pdb", "--bonds", "ionic"},
      {"convert", "a.pqr", "b.pdb", "--model", "two"},
      {"dissolve", "a.pqr"},
  };
  for (const auto& call : calls) {
    SCOPED_TRACE(testing::PrintToString(call));
    expect_one_line(nxbrio(call), 2);
  }
  EXPECT_TRUE(nxbrio({"info"}).err.ends_with("; see nxbrio info --help\n"));
  expect_failure(nxbrio({"dissolve", "a.pqr"}), 2, "no such command as 'dissolve'; see nxbrio --help");
  for (const char* dielectric : {"0", "-4", "nan", "inf", "1e-60", "1e60", "2 - 2", ""}) {
    expect_failure(nxbrio({"bind", "a.pqr", "b.pqr", "--dielectric", dielectric}), 2,
                   std::string("--dielectric: '") + dielectric + "' is not a finite number above 0");
  }
  expect_failure(nxbrio({"bind", "a.pqr", "b.pqr", "--write", "c.doc"}), 2,
                 "--write: c.doc ends in none of .pdb, .pqr, .cif, .mol2, .sdf, .xyz, with or without .gz");
}

}  // namespace
