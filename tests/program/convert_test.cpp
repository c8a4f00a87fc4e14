// nxbrio convert, from outside. Files are read back by gemmi where it knows the format, and by their plain rules where
// it does not.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <gemmi/pdb.hpp>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/support/nxbrio.h"
#include "tests/support/run.h"

namespace {

using nlohmann::json;
using test_support::expect_failure;
using test_support::nxbrio;
using test_support::nxbrio_json;
using test_support::read_file;
using test_support::RunResult;
using test_support::ScratchDirectory;

const std::string kExamples = APBS_EXAMPLES;

// Two models of a glycine, a water and a calcium ion; the second one is moved by 10 in x and lacks the ion.
constexpr const char* kModels =
    "HEADER    TEST\n"
    "MODEL        1\n"
    "ATOM      1  N   GLY A  52A     -0.672  -1.415   0.090  0.50 11.00           N1+\n"
    "ATOM      2  CA  GLY A  52A      0.000   0.000   0.000  1.00 12.50           C\n"
    "ATOM      3  C   GLY A  52A      1.520  -0.100   0.000  1.00 13.00           C\n"
    "ATOM      4  O   GLY A  52A      2.100  -1.180   0.000  1.00 14.00           O\n"
    "HETATM    5  O   HOH A 101       9.000   2.000   3.000  1.00 10.00           O\n"
    "HETATM    6 CA    CA B 102      -9.000   2.000   3.000  1.00 10.00          CA\n"
    "ENDMDL\n"
    "MODEL        7\n"
    "ATOM      1  N   GLY A  52A      9.328  -1.415   0.090  0.50 11.00           N1+\n"
    "ATOM      2  CA  GLY A  52A     10.000   0.000   0.000  1.00 12.50           C\n"
    "ATOM      3  C   GLY A  52A     11.520  -0.100   0.000  1.00 13.00           C\n"
    "ATOM      4  O   GLY A  52A     12.100  -1.180   0.000  1.00 14.00           O\n"
    "HETATM    5  O   HOH A 101      19.000   2.000   3.000  1.00 10.00           O\n"
    "ENDMDL\n"
    "CONECT    1    2\n"
    "END\n";

// Every line of a text.
std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

struct ReadAtom {
  std::string symbol;
  std::array<double, 3> place;
};

// A record of an SD file of under 1000 atoms, a mol2 file, or an XYZ file.
struct Record {
  std::vector<ReadAtom> atoms;
  // Begin, end and order, from 1.
  std::vector<std::tuple<int, int, std::string>> bonds;
};

std::vector<Record> read_sdf(const std::string& text) {
  std::vector<Record> records;
  const std::vector<std::string> lines = lines_of(text);
  for (std::size_t at = 0; at + 4 < lines.size();) {
    Record record;
    const int atoms = std::stoi(lines[at + 3].substr(0, 3));
    const int bonds = std::stoi(lines[at + 3].substr(3, 3));
    at += 4;
    for (int i = 0; i < atoms; ++i, ++at) {
      std::istringstream words(lines.at(at));
      ReadAtom atom;
      words >> atom.place[0] >> atom.place[1] >> atom.place[2] >> atom.symbol;
      record.atoms.push_back(atom);
    }
    for (int i = 0; i < bonds; ++i, ++at) {
      const std::string& line = lines.at(at);
      record.bonds.emplace_back(std::stoi(line.substr(0, 3)), std::stoi(line.substr(3, 3)),
                                std::to_string(std::stoi(line.substr(6, 3))));
    }
    at = static_cast<std::size_t>(std::find(lines.begin() + static_cast<long>(at), lines.end(), "$$$$") -
                                  lines.begin()) +
         1;
    records.push_back(record);
  }
  return records;
}

std::vector<Record> read_mol2(const std::string& text) {
  std::vector<Record> records;
  std::string section;
  for (const std::string& line : lines_of(text)) {
    if (line.starts_with("@<TRIPOS>")) {
      section = line.substr(9);
      if (section == "MOLECULE") {
        records.emplace_back();
      }
      continue;
    }
    std::istringstream words(line);
    int number = 0;
    if (section == "ATOM" && words >> number) {
      ReadAtom atom;
      std::string name;
      words >> name >> atom.place[0] >> atom.place[1] >> atom.place[2] >> atom.symbol;
      atom.symbol.resize(std::min(atom.symbol.find('.'), atom.symbol.size()));
      records.back().atoms.push_back(atom);
    } else if (section == "BOND" && words >> number) {
      auto& [begin, end, order] = records.back().bonds.emplace_back();
      words >> begin >> end >> order;
    }
  }
  return records;
}

std::vector<Record> read_xyz(const std::string& text) {
  std::vector<Record> records;
  const std::vector<std::string> lines = lines_of(text);
  for (std::size_t at = 0; at < lines.size();) {
    Record record;
    const int atoms = std::stoi(lines[at]);
    at += 2;
    for (int i = 0; i < atoms; ++i, ++at) {
      std::istringstream words(lines.at(at));
      ReadAtom atom;
      words >> atom.symbol >> atom.place[0] >> atom.place[1] >> atom.place[2];
      record.atoms.push_back(atom);
    }
    records.push_back(record);
  }
  return records;
}

std::vector<Record> read_pdb(const std::string& text) {
  std::vector<Record> records;
  for (const gemmi::Model& model : gemmi::read_pdb_string(text, "").models) {
    Record& record = records.emplace_back();
    for (const gemmi::Chain& chain : model.chains) {
      for (const gemmi::Residue& residue : chain.residues) {
        for (const gemmi::Atom& atom : residue.atoms) {
          record.atoms.push_back({atom.element.name(), {atom.pos.x, atom.pos.y, atom.pos.z}});
        }
      }
    }
  }
  return records;
}

// PQR files are read by the program itself, model by model; gemmi takes the columns of this layout too, but for
// numbers.
std::vector<Record> read_pqr(const std::string& text) {
  std::vector<Record> records(1);
  for (const std::string& line : lines_of(text)) {
    std::istringstream stream(line);
    const std::vector<std::string> words{std::istream_iterator<std::string>(stream), {}};
    if (words.empty() || (words[0] != "ATOM" && words[0] != "HETATM")) {
      if (!words.empty() && words[0] == "TER") {
        records.emplace_back();
      }
      continue;
    }
    const auto number = [&](std::size_t from_end) { return std::stod(words[words.size() - from_end]); };
    const std::string symbol = words[2] == "CA" && words[3] == "CA" ? "Ca" : words[2].substr(0, 1);
    records.back().atoms.push_back({symbol, {number(5), number(4), number(3)}});
  }
  std::erase_if(records, [](const Record& record) { return record.atoms.empty(); });
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

struct Written {
  const char* word;
  std::vector<Record> (*read)(const std::string&);
};
const std::array<Written, 6> kFormats{{{"pdb", read_pdb},
                                       {"delphi_pdb", read_pdb},
                                       {"mol2", read_mol2},
                                       {"sdf", read_sdf},
                                       {"xyz", read_xyz},
                                       {"pqr", read_pqr}}};

TEST(Convert, EveryFormatHoldsEveryModel) {
  const ScratchDirectory scratch;
  const std::string in = scratch.write("in.pdb", kModels);
  const std::vector<Record> models = read_pdb(kModels);
  ASSERT_EQ(models.size(), 2U);
  for (const Written& format : kFormats) {
    SCOPED_TRACE(format.word);
    const std::string out = scratch.path("out");
    const json report = nxbrio_json({"convert", in, out, "--format", format.word});
    expect_atoms(format.read(read_file(out)), models, 5.1e-4);
    EXPECT_EQ(report["read"]["models"], (json{1, 7}));
    EXPECT_EQ(report["read"]["atoms"], 11);
    EXPECT_EQ(report["read"]["bonds"], 2);
    EXPECT_EQ(report["written"]["models"], 2);
    EXPECT_EQ(report["written"]["format"], format.word);
    EXPECT_EQ(report["errors"], json::array());

    // One model of them.
    nxbrio_json({"convert", in, out, "--format", format.word, "--model", "7"});
    expect_atoms(format.read(read_file(out)), {models[1]}, 5.1e-4);
  }
  // The program reads back what it wrote, gzipped too, and endings stand for formats.
  const std::string pqr = scratch.path("models.PQR");
  ASSERT_EQ(nxbrio({"convert", in, pqr}).status, 0);
  ASSERT_EQ(test_support::run({"/bin/gzip", pqr}).status, 0);
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
  for (const std::string& line : lines_of(kModels)) {
    const bool coordinates = line.starts_with("ATOM") || line.starts_with("HETATM");
    // Serials count on; all else, the element's column to the formal charge, is as it was.
    if (coordinates) {
      EXPECT_NE(text.find(line.substr(11)), std::string::npos) << line << "\n" << text;
    }
  }
  EXPECT_NE(text.find("\nHETATM    6 CA    CA B 102 "), std::string::npos) << text;
  EXPECT_NE(text.find("\nCONECT    1    2\n"), std::string::npos) << text;
}

// The chemistry of a sulfonamide drug, of which the file gives places alone.
TEST(Convert, BondsOfTheFileOrByDistance) {
  const ScratchDirectory scratch;
  const std::string acet = kExamples + "/hca-bind/acet.pqr";
  const std::string sdf = scratch.path("a.sdf");
  const json report = nxbrio_json({"convert", acet, sdf});
  EXPECT_EQ(report["written"]["bonds"], 18);
  EXPECT_EQ(report["written"]["bonds_from"], "distances");
  const Record record = read_sdf(read_file(sdf)).at(0);
  ASSERT_EQ(record.bonds.size(), 18U);
  std::multiset<std::string> doubles;
  for (const auto& [begin, end, order] : record.bonds) {
    if (order == "2") {
      std::string a = record.atoms[static_cast<std::size_t>(begin - 1)].symbol;
      std::string b = record.atoms[static_cast<std::size_t>(end - 1)].symbol;
      doubles.insert(std::min(a, b) + "=" + std::max(a, b));
    }
  }
  EXPECT_EQ(doubles, (std::multiset<std::string>{"C=N", "C=N", "C=O", "O=S", "O=S"}));

  const auto bonds = [&](const std::string& in, const std::string& word, const std::string& source) {
    const json written =
        nxbrio_json({"convert", in, scratch.path("b"), "--format", word, "--bonds", source})["written"];
    return std::pair{written["bonds"].get<int>(), written["bonds_from"].get<std::string>()};
  };
  using Bonds = std::pair<int, std::string>;
  EXPECT_EQ(bonds(acet, "mol2", "file"), (Bonds{0, "none given"}));
  EXPECT_EQ(bonds(acet, "pdb", "auto"), (Bonds{0, "none given"}));
  EXPECT_EQ(bonds(acet, "pdb", "distance"), (Bonds{18, "distances"}));
  EXPECT_EQ(bonds(acet, "xyz", "distance"), (Bonds{0, "not in this format"}));

  // The file's bonds and their orders stand where they reach every atom and orders are told; where not, distances add
  // the others and geometry tells the orders.
  const std::string atoms =
      "HETATM    1  C1  LIG A   1       0.000   0.000   0.000  1.00  0.00           C\n"
      "HETATM    2  C2  LIG A   1       1.530   0.000   0.000  1.00  0.00           C\n"
      "HETATM    3  C3  LIG A   1       2.130   1.400   0.000  1.00  0.00           C\n"
      "HETATM    4  O   HOH A   2       9.130   1.400   0.000  1.00  0.00           O\n";
  const std::string all = scratch.write("all.pdb", atoms + "CONECT    1    2    2\nCONECT    2    3\nEND\n");
  const std::string some = scratch.write("some.pdb", atoms + "CONECT    1    2    2\nEND\n");
  EXPECT_EQ(bonds(all, "sdf", "auto"), (Bonds{2, "file"}));
  EXPECT_EQ(std::get<2>(read_sdf(read_file(scratch.path("b"))).at(0).bonds.at(0)), "2");
  EXPECT_EQ(bonds(all, "sdf", "distance"), (Bonds{2, "distances"}));
  EXPECT_EQ(std::get<2>(read_sdf(read_file(scratch.path("b"))).at(0).bonds.at(0)), "1");
  EXPECT_EQ(bonds(some, "sdf", "auto"), (Bonds{2, "file and distances"}));
  const std::string short_bond = std::string(atoms).replace(atoms.find("   1.530"), 8, "   0.800");
  const std::string single = scratch.write("single.pdb", short_bond + "CONECT    1    2\nCONECT    2    3\nEND\n");
  EXPECT_EQ(bonds(single, "sdf", "auto"), (Bonds{2, "file and distances"}));
  EXPECT_NE(std::get<2>(read_sdf(read_file(scratch.path("b"))).at(0).bonds.at(0)), "1");
  EXPECT_EQ(bonds(some, "sdf", "file"), (Bonds{1, "file"}));
}

// M p + t by the rows of the matrix, for a quaternion that is not of unit length.
TEST(Convert, TransformsEveryModel) {
  const ScratchDirectory scratch;
  const std::string in = scratch.write("in.pdb", kModels);
  const std::string parameters = scratch.write("p.txt", "half = 1/2\nfar = -100\n");
  const double s = 2 * 2 + 1 + 0.25 + 9;
  const double a = 2 / std::sqrt(s), b = -1 / std::sqrt(s), c = 0.5 / std::sqrt(s), d = 3 / std::sqrt(s);
  const double m[3][3] = {{a * a + b * b - c * c - d * d, 2 * (b * c + a * d), 2 * (b * d - a * c)},
                          {2 * (b * c - a * d), a * a - b * b + c * c - d * d, 2 * (c * d + a * b)},
                          {2 * (b * d + a * c), 2 * (c * d - a * b), a * a - b * b - c * c + d * d}};
  const double t[3] = {10, -100, 0.25};
  std::vector<Record> expected = read_pdb(kModels);
  for (Record& record : expected) {
    for (ReadAtom& atom : record.atoms) {
      const std::array<double, 3> p = atom.place;
      for (std::size_t k = 0; k < 3; ++k) {
        atom.place[k] = m[k][0] * p[0] + m[k][1] * p[1] + m[k][2] * p[2] + t[k];
      }
    }
  }
  const std::string out = scratch.path("out.xyz");
  const json report = nxbrio_json(
      {"convert", in, out, "--parameters", parameters, "--transform", " 4*half -1 half (1 + 2)  1.0E1 far\thalf^2 "});
  expect_atoms(read_xyz(read_file(out)), expected, 1e-4);
  EXPECT_EQ(report["transform"], (json{2.0, -1.0, 0.5, 3.0, 10.0, -100.0, 0.25}));

  // A first value below 0, in both ways of giving an option its value; a quarter turn.
  for (const std::vector<std::string>& option :
       {std::vector<std::string>{"--transform", "-1 0 0 1 0 0 0"}, {"--transform=-1 0 0 1 0 0 0"}}) {
    std::vector<std::string> arguments{"convert", in, out};
    arguments.insert(arguments.end(), option.begin(), option.end());
    nxbrio_json(arguments);
    const std::array<double, 3> place = read_xyz(read_file(out)).at(0).atoms.at(4).place;
    EXPECT_NEAR(place[0], -2.0, 1e-5);
    EXPECT_NEAR(place[1], 9.0, 1e-5);
    EXPECT_NEAR(place[2], 3.0, 1e-5);
  }
}

TEST(Convert, TellsWhatItDid) {
  const ScratchDirectory scratch;
  const std::string in = scratch.write("in.pdb", kModels);
  const std::string out = scratch.path("out.sdf");
  const RunResult result = nxbrio({"convert", in, out, "--model", "7", "--transform", "1 0 0 0 0 0 2.5"});
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
                            "  charges from           formal, by nx_charge_protein\n"
                            "  radii from          Bondi, by nx_assign_bondi_radii\n"
                            "  Transformed by the quaternion 1 0 0 0 and the translation 0 0 2.5 A.\n"
                            "\nNo warnings messages\n"
                            "errors 0, warnings 0; memory still held: 0 bytes in 0 blocks\n");
}

TEST(Convert, WrongCallsEndWithStatus2AndWriteNothing) {
  const ScratchDirectory scratch;
  const std::string in = scratch.write("in.pdb", kModels);
  const std::string out = scratch.path("out.pdb");
  const auto transform = [&](const std::string& values) { return nxbrio({"convert", in, out, "--transform", values}); };
  expect_failure(nxbrio({"convert", in, scratch.path("out.doc")}), 2,
                 "OUT: " + scratch.path("out.doc") + " ends in none of .pdb, .pqr, .mol2, .sdf, .xyz");
  expect_failure(nxbrio({"convert", in, out, "--format", "PDB"}), 2,
                 "--format: 'PDB' is none of pdb, pqr, mol2, sdf, xyz, delphi_pdb");
  expect_failure(nxbrio({"convert", in, in}), 2, "OUT: " + in + " is read as well");
  expect_failure(transform("0 0*2 -0 0 1 2 3"), 2, "--transform: a quaternion of length 0");
  expect_failure(transform("1 0 0 0 1 2"), 2, "--transform: 7 values are needed, a b c d tx ty tz, not 6");
  expect_failure(transform(""), 2, "--transform: 7 values are needed, a b c d tx ty tz, not 0");
  expect_failure(transform("1 0 0 0 1 2 3 4"), 2, "--transform: 7 values are needed, a b c d tx ty tz, not 8");
  expect_failure(transform("1 0 0 0 1 2 1/0"), 2, "--transform: '1/0' is not a finite number");
  expect_failure(transform("1 0 0 s 1 2 3"), 2, "--transform: 's': undefined variable s");
  expect_failure(transform("1 0 0 0 (1 2 3"), 2, "--transform: '(1 2 3': no operator between '1' and '2'");
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
  const RunResult refused = nxbrio({"convert", in, out, "--transform", "1 0 0 0 1.0E30 0 0"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.out, "");
  EXPECT_TRUE(refused.err.starts_with("nxbrio: " + out + ": ")) << refused.err;
  EXPECT_EQ(std::count(refused.err.begin(), refused.err.end(), '\n'), 1) << refused.err;
  EXPECT_EQ(scratch.names(), (std::vector<std::string>{"bad.pqr", "in.pdb", "p.txt"}));

  if (geteuid() != 0) {
    std::filesystem::permissions(scratch.path(""),
                                 std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
    expect_failure(nxbrio({"convert", in, out}), 1, out + ": Permission denied");
    std::filesystem::permissions(scratch.path(""), std::filesystem::perms::owner_all);
  }
}

}  // namespace
