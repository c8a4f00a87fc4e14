// nxbrio convert, from outside. Files are read back by gemmi and RDKit.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <gemmi/pdb.hpp>
#include <set>
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

// Two models of a glycine, a water and a calcium ion. The second is moved by 10 in x and has no ion.
const std::string kModels = read_file(NXBRIO_SOURCE_DIR "/tests/program/files/models.pdb");

struct ReadAtom {
  std::string symbol;
  std::array<double, 3> place;
};

struct Record {
  std::vector<ReadAtom> atoms;
  // Begin and end (counted from 0) and order of each bond.
  std::vector<std::tuple<int, int, int>> bonds;
};

std::vector<Record> read_pdb(const std::string& text) {
  std::vector<Record> records;
  for (const gemmi::Model& model : gemmi::read_pdb_string(text, "").models) {
    Record& record = records.emplace_back();
    for (const gemmi::const_CRA place : model.all()) {
      const gemmi::Position& pos = place.atom->pos;
      record.atoms.push_back({place.atom->element.name(), {pos.x, pos.y, pos.z}});
    }
  }
  return records;
}

void expect_atoms(const std::vector<Record>& have, const std::vector<Record>& want, double tolerance) {
  ASSERT_EQ(have.size(), want.size());
  for (std::size_t m = 0; m < want.size(); ++m) {
    ASSERT_EQ(have[m].atoms.size(), want[m].atoms.size());
    for (std::size_t i = 0; i < want[m].atoms.size(); ++i) {
      EXPECT_EQ(have[m].atoms[i].symbol, want[m].atoms[i].symbol);
      for (std::size_t k = 0; k < 3; ++k) {
        EXPECT_NEAR(have[m].atoms[i].place[k], want[m].atoms[i].place[k], tolerance) << i;
      }
    }
  }
}

// The contents of a file, read by gemmi or RDKit. A PQR file is read by the program itself and checked against gemmi's
// reading by columns.
std::vector<Record> read(const std::string& format, const std::string& path) {
  if (format.ends_with("pdb")) {
    return read_pdb(read_file(path));
  }
  if (format == "pqr") {
    std::filesystem::copy_file(path, path + ".pqr", std::filesystem::copy_options::overwrite_existing);
    EXPECT_EQ(nxbrio({"convert", path + ".pqr", path + ".xyz"}).status, 0);
    const std::vector<Record> records = read("xyz", path + ".xyz");
    expect_atoms(read_pdb(read_file(path)), records, 1e-6);
    return records;
  }
  const RunResult listing =
      run({"/usr/bin/python3", NXBRIO_SOURCE_DIR "/tests/support/read_structures.py", format, path});
  EXPECT_EQ(listing.status, 0) << listing.err;
  std::vector<Record> records;
  std::istringstream words(listing.out);
  for (std::string word; words >> word;) {
    if (word == "molecule") {
      records.emplace_back();
    } else if (word == "atom") {
      auto& [symbol, place] = records.back().atoms.emplace_back();
      words >> symbol >> place[0] >> place[1] >> place[2];
    } else if (word == "bond") {
      auto& [begin, end, order] = records.back().bonds.emplace_back();
      words >> begin >> end >> order;
    }
  }
  return records;
}

TEST(Convert, EveryFormatHoldsEveryModel) {
  const ScratchDirectory scratch;
  const std::string in = scratch.write("in.pdb", kModels);
  const std::vector<Record> models = read_pdb(kModels);
  ASSERT_EQ(models.size(), 2U);
  for (const std::string format : {"pdb", "delphi_pdb", "mol2", "sdf", "xyz", "pqr"}) {
    SCOPED_TRACE(format);
    const std::string out = scratch.path("out");
    const json report = nxbrio_json({"convert", in, out, "--format", format});
    expect_atoms(read(format, out), models, 5.1e-4);
    EXPECT_EQ(report["read"]["models"], (json{1, 7}));
    EXPECT_EQ(report["read"]["atoms"], 11);
    EXPECT_EQ(report["read"]["bonds"], 2);
    EXPECT_EQ(report["written"]["models"], 2);
    EXPECT_EQ(report["written"]["format"], format);
    EXPECT_EQ(report["errors"], json::array());

    // One model of them.
    nxbrio_json({"convert", in, out, "--format", format, "--model", "7"});
    expect_atoms(read(format, out), {models[1]}, 5.1e-4);
  }
  // The program reads back what it wrote, gzipped too, and endings stand for formats.
  const std::string pqr = scratch.path("models.PQR");
  ASSERT_EQ(nxbrio({"convert", in, pqr}).status, 0);
  ASSERT_EQ(run({"/bin/gzip", pqr}).status, 0);
  const std::string xyz = scratch.path("models.xyz");
  const json back = nxbrio_json({"convert", pqr + ".gz", xyz});
  EXPECT_EQ(back["read"]["format"], "PQR");
  EXPECT_EQ(back["written"]["charges_from"], "file");
  EXPECT_EQ(back["read"]["models"], (json{1, 2}));
  EXPECT_EQ(nxbrio_json({"info", in})["atoms"], 6);
}

TEST(Convert, PdbRecordsKeepWhatTheySay) {
  const ScratchDirectory scratch;
  const std::string out = scratch.path("out.pdb");
  ASSERT_EQ(nxbrio({"convert", scratch.write("in.pdb", kModels), out}).status, 0);
  const std::string text = read_file(out);
  std::istringstream lines(kModels);
  for (std::string line; std::getline(lines, line);) {
    // Serials are counted anew; all other columns, up to the element and the formal charge, must be unchanged.
    if (line.starts_with("ATOM") || line.starts_with("HETATM")) {
      EXPECT_NE(text.find(line.substr(11)), std::string::npos) << line << "\n" << text;
    }
  }
  EXPECT_NE(text.find("\nHETATM    6 CA    CA B 102 "), std::string::npos) << text;
  EXPECT_NE(text.find("\nCONECT    1    2\n"), std::string::npos) << text;
}

// Bonds and charges of a sulfonamide drug, of which the file gives only positions.
TEST(Convert, BondsOfTheFileOrByDistance) {
  const ScratchDirectory scratch;
  const std::string acet = kExamples + "/hca-bind/acet.pqr";
  const std::string sdf = scratch.path("a.sdf");
  const json report = nxbrio_json({"convert", acet, sdf});
  EXPECT_EQ(report["written"]["bonds"], 18);
  EXPECT_EQ(report["written"]["bonds_from"], "distances");
  const Record record = read("sdf", sdf).at(0);
  ASSERT_EQ(record.bonds.size(), 18U);
  std::multiset<std::string> doubles;
  for (const auto& [begin, end, order] : record.bonds) {
    const auto& [a, b] = std::minmax(record.atoms[static_cast<std::size_t>(begin)].symbol,
                                     record.atoms[static_cast<std::size_t>(end)].symbol);
    if (order == 2) {
      doubles.insert(a + "=" + b);
    }
  }
  EXPECT_EQ(doubles, (std::multiset<std::string>{"C=N", "C=N", "C=O", "O=S", "O=S"}));

  const auto bonds = [&](const std::string& in, const std::string& word, const std::string& source) {
    const json written =
        nxbrio_json({"convert", in, scratch.path("b"), "--format", word, "--bonds", source})["written"];
    return std::pair{written["bonds"].get<int>(), written["bonds_from"].get<std::string>()};
  };
  const auto first_order = [&] { return std::get<2>(read("sdf", scratch.path("b")).at(0).bonds.at(0)); };
  using Bonds = std::pair<int, std::string>;
  EXPECT_EQ(bonds(acet, "mol2", "file"), (Bonds{0, "none given"}));
  EXPECT_EQ(bonds(acet, "pdb", "auto"), (Bonds{0, "none given"}));
  EXPECT_EQ(bonds(acet, "pdb", "distance"), (Bonds{18, "distances"}));
  EXPECT_EQ(bonds(acet, "xyz", "distance"), (Bonds{0, "not in this format"}));

  // Bonds and orders of the file are used where they cover every atom and have orders. Otherwise distances give the
  // missing bonds and the geometry gives the orders.
  const std::string atoms =
      "HETATM    1  C1  LIG A   1       0.000   0.000   0.000  1.00  0.00           C\n"
      "HETATM    2  C2  LIG A   1       1.530   0.000   0.000  1.00  0.00           C\n"
      "HETATM    3  C3  LIG A   1       2.130   1.400   0.000  1.00  0.00           C\n"
      "HETATM    4  O   HOH A   2       9.130   1.400   0.000  1.00  0.00           O\n";
  const std::string all = scratch.write("all.pdb", atoms + "CONECT    1    2    2\nCONECT    2    3\nEND\n");
  const std::string some = scratch.write("some.pdb", atoms + "CONECT    1    2    2\nEND\n");
  EXPECT_EQ(bonds(all, "sdf", "auto"), (Bonds{2, "file"}));
  EXPECT_EQ(first_order(), 2);
  EXPECT_EQ(bonds(all, "sdf", "distance"), (Bonds{2, "distances"}));
  EXPECT_EQ(first_order(), 1);
  EXPECT_EQ(bonds(some, "sdf", "auto"), (Bonds{2, "file and distances"}));
  const std::string short_bond = std::string(atoms).replace(atoms.find("   1.530"), 8, "   0.800");
  const std::string single = scratch.write("single.pdb", short_bond + "CONECT    1    2\nCONECT    2    3\nEND\n");
  EXPECT_EQ(bonds(single, "sdf", "auto"), (Bonds{2, "file and distances"}));
  EXPECT_NE(first_order(), 1);
  EXPECT_EQ(bonds(some, "sdf", "file"), (Bonds{1, "file"}));
}

// A quarter turn by a quaternion not of unit length, with both ways of giving an option a value that starts with a
// minus sign. Other quaternions are tested with the library.
TEST(Convert, TransformsEveryModel) {
  const ScratchDirectory scratch;
  const std::string in = scratch.write("in.pdb", kModels);
  const std::string out = scratch.path("out.xyz");
  const std::string parameters = scratch.write("p.txt", "half = 1/2\nfar = -100\n");
  const std::string values = "-1 0*half 0 (4*half - 3 + 2)  1.0E1 far\thalf^2 ";
  std::vector<Record> expected = read_pdb(kModels);
  for (Record& record : expected) {
    for (ReadAtom& atom : record.atoms) {
      atom.place = {10 - atom.place[1], atom.place[0] - 100, atom.place[2] + 0.25};
    }
  }
  for (const std::vector<std::string>& option :
       std::vector<std::vector<std::string>>{{"--transform", values}, {"--transform=" + values}}) {
    std::vector<std::string> call{"convert", in, out, "--parameters", parameters};
    call.insert(call.end(), option.begin(), option.end());
    EXPECT_EQ(nxbrio_json(call)["transform"], (json{-1.0, 0.0, 0.0, 1.0, 10.0, -100.0, 0.25}));
    expect_atoms(read("xyz", out), expected, 1e-4);
  }
}

TEST(Convert, TellsWhatItDid) {
  const ScratchDirectory scratch;
  const std::string in = scratch.write("in.pdb", kModels);
  const std::string out = scratch.path("out.sdf");
  const RunResult result = nxbrio({"convert", in, out, "--model", "7", "--transform", "0 0 0 1 0 0 2.5"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out, in + " to " + out +
                            "\n\n"
                            "                read                          written\n"
                            "  format         PDB                              sdf\n"
                            "  models           2                     1 (number 7)\n"
                            "  atoms            5                                5\n"
                            "  bonds            1                                3\n"
                            "  bonds from                       file and distances\n"
                            "  charges from                                 formal\n"
                            "  radii from          Bondi, by nx_assign_bondi_radii\n"
                            "  Transformed by the quaternion 0 0 0 1 and the translation 0 0 2.5 A.\n"
                            "  Note: left neutral: 1 chain end.\n"
                            "  Note: 1 water is among the atoms; the selection 'not water' leaves waters out.\n");
}

TEST(Convert, WrongCallsEndWithStatus2AndWriteNothing) {
  const ScratchDirectory scratch;
  const std::string in = scratch.write("in.pdb", kModels);
  const std::string out = scratch.path("out.pdb");
  expect_failure(
      nxbrio({"convert", in, scratch.path("out.doc")}), 2,
      "OUT: " + scratch.path("out.doc") + " ends in none of .pdb, .pqr, .cif, .mol2, .sdf, .xyz, with or without .gz");
  expect_failure(nxbrio({"convert", in, out, "--format", "PDB"}), 2,
                 "--format: 'PDB' is none of pdb, pqr, mmcif, mol2, sdf, xyz, delphi_pdb");
  expect_failure(nxbrio({"convert", in, in}), 2, "OUT: " + in + " is read as well");
  const std::string needed = "7 values are needed, a b c d tx ty tz, not ";
  for (const auto& [values, message] : std::vector<std::pair<std::string, std::string>>{
           {"0 0*2 -0 0 1 2 3", "a quaternion of length 0"},
           {"1 0 0 0 1 2", needed + "6"},
           {"", needed + "0"},
           {"1 0 0 0 1 2 3 4", needed + "8"},
           {"1 0 0 0 1 2 1/0", "'1/0' is not a finite number"},
           {"1 0 0 s 1 2 3", "'s': undefined variable s"},
           {"1 0 0 0 (1 2 3", "'(1 2 3': no operator between '1' and '2'"}}) {
    expect_failure(nxbrio({"convert", in, out, "--transform", values}), 2, "--transform: " + message);
  }
  EXPECT_EQ(scratch.names(), std::vector<std::string>{"in.pdb"});
  EXPECT_EQ(read_file(in), kModels);
}

TEST(Convert, FailuresEndWithStatus1AndLeaveNoFile) {
  const ScratchDirectory scratch;
  const std::string in = scratch.write("in.pdb", kModels);
  const std::string out = scratch.path("out.pdb");
  expect_failure(nxbrio({"convert", scratch.path("none.pdb"), out}), 1,
                 scratch.path("none.pdb: No such file or directory"));
  expect_failure(nxbrio({"convert", in, scratch.path("no/out.pdb")}), 1,
                 scratch.path("no/out.pdb: No such file or directory"));
  expect_failure(nxbrio({"convert", in, scratch.path(""), "--format", "pdb"}), 1, scratch.path(": is a directory"));
  expect_failure(nxbrio({"convert", in, out, "--model", "2"}), 1, in + ": no model 2");
  const std::string parameters = scratch.write("p.txt", "a = 1\n\nb = a + eps\n");
  expect_failure(nxbrio({"convert", in, out, "--parameters", parameters}), 1,
                 parameters + ":3: undefined variable eps");

  // The second model of a file is read as strictly as the first.
  const std::string atom = "ATOM 1 N ALA 1 0 0 0 0 1\n";
  const std::string bad = scratch.write("bad.pqr", atom + "END\n" + atom + "ATOM 2 N ALA 1 0 0 x 0 1\n");
  expect_failure(nxbrio({"convert", bad, out}), 1, bad + ":4: z coordinate 'x' is not a number");
  expect_one_line(nxbrio({"convert", in, out, "--transform", "1 0 0 0 1.0E30 0 0"}), 1, out + ": ");
  EXPECT_EQ(scratch.names(), (std::vector<std::string>{"bad.pqr", "in.pdb", "p.txt"}));
}

}  // namespace
