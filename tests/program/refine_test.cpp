// nxbrio refine from outside.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <gemmi/pdb.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/nxbrio.h"
#include "tests/support/pqr_atoms.h"
#include "tests/support/run.h"

namespace {

using namespace test_support;
using nlohmann::json;

const std::string kTarget = APBS_EXAMPLES "/hca-bind/hca.pqr";
const std::string kLigand = APBS_EXAMPLES "/hca-bind/acet.pqr";

// The position of each atom in the file.
std::vector<gemmi::Position> places_of(const std::string& pqr) {
  const Charges atoms = read_pqr(pqr);
  std::vector<gemmi::Position> places;
  for (std::size_t i = 0; i < atoms.q.size(); ++i) {
    const float* p = &atoms.records[9 * i];
    places.emplace_back(static_cast<double>(p[0]), static_cast<double>(p[1]), static_cast<double>(p[2]));
  }
  return places;
}

std::vector<gemmi::Position> places_of(const gemmi::Model& model) {
  std::vector<gemmi::Position> places;
  for (const gemmi::const_CRA atom : model.all()) {
    places.push_back(atom.atom->pos);
  }
  return places;
}

double rms(const std::vector<gemmi::Position>& a, const std::vector<gemmi::Position>& b) {
  double sum = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    sum += a[i].dist_sq(b[i]);
  }
  return std::sqrt(sum / static_cast<double>(a.size()));
}

void expect_rigid_copy(const std::vector<gemmi::Position>& a, const std::vector<gemmi::Position>& b) {
  ASSERT_EQ(a.size(), b.size());
  for (std::size_t i = 0; i < a.size(); ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      EXPECT_NEAR(a[i].dist(a[j]), b[i].dist(b[j]), 3e-3) << i << ' ' << j;
    }
  }
}

double total(const json& place) { return place["total"]["kcal_per_mol"]; }

TEST(Refine, TermsAreRdkitsAndThoseOfBind) {
  const ScratchDirectory scratch;
  const std::string out = scratch.path("o.pqr");
  const json report = nxbrio_json({"refine", kTarget, kLigand, out, "--iterations", "0", "--dielectric", "2"});
  const RunResult rdkit = run({"/usr/bin/python3", NXBRIO_SOURCE_DIR "/tests/support/uff_energy.py", kTarget, kLigand});
  ASSERT_EQ(rdkit.status, 0) << rdkit.err;
  const json& before = report["before"];
  EXPECT_NEAR(before["twelve_six"]["kcal_per_mol"], std::stod(rdkit.out), 1e-3);
  const json bind = nxbrio_json({"bind", kTarget, kLigand, "-e", "2"})["energies"][0];
  EXPECT_NEAR(before["coulomb"]["energy"], bind["energy"], 1e-3);
  EXPECT_NEAR(before["coulomb"]["kcal_per_mol"], bind["kcal_per_mol"], 1e-3);
  EXPECT_EQ(report["ended"], "out of iterations");
  EXPECT_EQ(report["after"], before);
  EXPECT_LT(rms(places_of(out), places_of(kLigand)), 1e-6);
}

// From several starts, some inside the target, the report must agree with the files.
TEST(Refine, GoesDownhillAndSaysWhere) {
  const ScratchDirectory scratch;
  const std::string out = scratch.path("o.pqr");
  const std::string way = scratch.path("way.ent");
  for (const char* const move :
       {"1 0 0 0 0 0 0", "1 0 0 0 1 0 0", "1 0 0 0 0 0 -1", "1 0.2 0 0 0 0 0.5", "1 0 0 1 9 0 0"}) {
    SCOPED_TRACE(move);
    const std::string start = scratch.path("start.pqr");
    nxbrio_json({"convert", kLigand, start, "--transform", move});
    const json report =
        nxbrio_json({"refine", kTarget, start, out, "--trajectory", way, "--complex", scratch.path("c.pdb")});
    EXPECT_LT(total(report["after"]), total(report["before"]));
    EXPECT_EQ(report["ended"], "converged");
    EXPECT_LT(report["after"]["gradient_kcal_per_mol_A"], 1e-3);
    const auto first = places_of(start);
    const auto last = places_of(out);
    EXPECT_NEAR(report["moved"]["rms_A"], rms(first, last), 1e-3);
    expect_rigid_copy(first, last);
    const json again = nxbrio_json({"refine", kTarget, out, scratch.path("again.pqr"), "-n", "0"});
    EXPECT_NEAR(total(again["before"]), total(report["after"]), 0.05);

    const gemmi::Structure models = gemmi::read_pdb_file(way);
    ASSERT_EQ(models.models.size(), report["trajectory"]["models"]);
    EXPECT_LE(models.models.size(), report["iterations"].get<std::size_t>() + 1);
    EXPECT_LT(rms(places_of(models.models.front()), first), 2e-3);
    EXPECT_LT(rms(places_of(models.models.back()), last), 2e-3);
    for (const gemmi::Model& model : models.models) {
      expect_rigid_copy(first, places_of(model));
    }
    EXPECT_EQ(nxbrio_json({"info", scratch.path("c.pdb")})["atoms"], 2500);
  }
}

// Carbons without charges at the positions of the file's atoms, whose energy has a formula.
std::string carbons(const ScratchDirectory& scratch, const char* name, const std::vector<gemmi::Position>& places) {
  std::string text;
  for (const gemmi::Position& p : places) {
    char line[100];
    std::snprintf(line, sizeof line, "ATOM 1 C CRB 1 %.3f %.3f %.3f 0 1.7\n", p.x, p.y, p.z);
    text += line;
  }
  return scratch.write(name, text);
}

double carbon_energy(const std::vector<gemmi::Position>& target, const std::vector<gemmi::Position>& ligand) {
  double energy = 0.0;
  for (const gemmi::Position& p : target) {
    for (const gemmi::Position& q : ligand) {
      const double cube = std::pow(3.851 * 3.851 / p.dist_sq(q), 3);
      energy += 0.105 * (cube * cube - 2.0 * cube);
    }
  }
  return energy;
}

// From each frame to the next the energy falls, except for the rounding of coordinates in the file: 0.0005 angstrom, to
// the twelfth power where atoms almost touch.
TEST(Refine, TheTrajectoryFalls) {
  const ScratchDirectory scratch;
  const std::string way = scratch.path("way.pdb");
  const auto target = places_of(kTarget);
  const std::string target_file = carbons(scratch, "t.pqr", target);
  for (const gemmi::Position& move :
       {gemmi::Position(0, 0, 4), gemmi::Position(0, 0, 8), gemmi::Position(-20, 3, 10), gemmi::Position(3, 0, 30)}) {
    auto places = places_of(kLigand);
    for (gemmi::Position& place : places) {
      place += move;
    }
    const std::string start = carbons(scratch, "l.pqr", places);
    const json report = nxbrio_json({"refine", target_file, start, scratch.path("o.pqr"), "--trajectory", way});
    const gemmi::Structure models = gemmi::read_pdb_file(way);
    EXPECT_GT(models.models.size(), 9U);
    double before = INFINITY;
    for (const gemmi::Model& model : models.models) {
      const double energy = carbon_energy(target, places_of(model));
      EXPECT_LT(energy, before + 0.01 + 1e-2 * std::abs(energy)) << model.name;
      before = energy;
    }
    EXPECT_NEAR(before, total(report["after"]), 0.01 + 2e-3 * std::abs(before));
  }
}

// The output is what the README shows, and other starts lead to the same pose.
TEST(Refine, ComesToOnePlaceFromManyAsTheReadmeSays) {
  const ScratchDirectory scratch;
  const std::string readme = read_file(NXBRIO_SOURCE_DIR "/README.md");
  const std::string start = scratch.path("displaced.pqr");
  const std::string out = scratch.path("o.pqr");
  std::vector<gemmi::Position> refined;
  for (const char* const move : {"1 0 0", "0 0 0", "-1 0 0", "0 1 0", "0 -1 0", "0 0 1", "0 0 -1"}) {
    nxbrio_json({"convert", kLigand, start, "--transform", std::string("1 0 0 0 ") + move});
    const std::string text = nxbrio({"refine", kTarget, start, out}).out;
    std::istringstream table(text.substr(text.find("Energy,"), text.find("  Iterations:") - text.find("Energy,")));
    for (std::string line; refined.empty() && std::getline(table, line);) {
      EXPECT_NE(readme.find(line.empty() ? "" : "\n    " + line + "\n"), std::string::npos) << line;
    }
    refined = refined.empty() ? places_of(out) : refined;
    EXPECT_LT(rms(places_of(out), refined), 1e-3) << move;
    EXPECT_NEAR(rms(refined, places_of(kLigand)), 1.5, 0.05);
  }
}

// One atom near another, where the minimum is known in closed form; and the message for each way to end.
TEST(Refine, TellsHowItEnded) {
  const ScratchDirectory scratch;
  const std::string out = scratch.path("o.pqr");
  const auto atoms = [&](const char* name, const char* text) { return scratch.write(name, text); };
  const std::string target = atoms("t.pqr", "ATOM 1 C LIG 1 0 0 0 0 1.7\nATOM 2 C LIG 1 0 0 1.5 0 1.7\n");
  const std::string one = atoms("one.pqr", "ATOM 1 C LIG 1 0 0 0 0 1.7\n");
  const std::string far = atoms("far.pqr", "ATOM 1 N LIG 1 0 60 0 0 1.7\n");
  const std::string ion = atoms("ion.pqr", "ATOM 1 N LIG 1 0 30 0 1 1.7\n");
  const std::string cation = atoms("cation.pqr", "ATOM 1 NA NA 1 0 0 0 1 1.7\n");

  json report = nxbrio_json({"refine", target, far, out});
  EXPECT_EQ(report["ended"], "flat");
  EXPECT_EQ(report["iterations"], 0);
  EXPECT_NE(report["target"]["notes"].dump().find("no charges"), std::string::npos);
  EXPECT_NE(report["statement"].dump().find("far away: the nearest atoms are 60.0 A apart"), std::string::npos);

  // Both atoms at exactly the same place.
  report = nxbrio_json({"refine", target, target, out});
  EXPECT_EQ(report["started_inside"], true);
  EXPECT_LT(total(report["after"]), total(report["before"]));
  const std::string statement = report["statement"];
  EXPECT_NE(statement.find("started inside the target"), std::string::npos) << statement;
  EXPECT_NE(statement.find("was pushed out"), std::string::npos) << statement;
  EXPECT_EQ(report["overlaps"], false);

  const std::string two = atoms("two.pqr", "ATOM 1 C LIG 1 -4.6 0 0 0 1.7\nATOM 2 C LIG 1 4.6 0 0 0 1.7\n");
  const std::string hydrogen = atoms("h.pqr", "ATOM 1 H LIG 1 0 0 0 0 1.7\n");
  const std::string hydrogen_far = atoms("h6.pqr", "ATOM 1 H LIG 1 6.5 0 0 0 1.7\n");
  // Gradients of 0, midway between two wells and on top of an atom, and one below the threshold far from the well.
  for (const std::string& there : {two, one}) {
    report = nxbrio_json({"refine", there, one, out, "-n", "0"});
    EXPECT_EQ(report["ended"], "out of iterations");
    EXPECT_NE(report["statement"].dump().find("no force here, but no minimum"), std::string::npos);
    EXPECT_EQ(report["overlaps"], there == one);
  }
  report = nxbrio_json({"refine", two, one, out});
  EXPECT_EQ(report["ended"], "converged");
  EXPECT_LT(total(report["after"]), -0.13);
  report = nxbrio_json({"refine", hydrogen, hydrogen_far, out});
  EXPECT_EQ(report["ended"], "converged");
  EXPECT_NEAR(report["after"]["closest_contact"]["distance_A"], 2.886, 1e-3);
  EXPECT_NEAR(total(report["after"]), -0.044, 1e-6);

  const std::string jammed = scratch.path("jammed.pqr");
  nxbrio_json({"convert", kLigand, jammed, "--transform", "1 0 0 0 -7.181 -17.052 4.748"});
  report = nxbrio_json({"refine", kTarget, jammed, out});
  EXPECT_EQ(report["started_inside"], true);
  EXPECT_EQ(report["overlaps"], true);
  EXPECT_NE(report["ended"], "converged");
  EXPECT_NE(report["statement"].dump().find("could not be pushed out and still overlaps"), std::string::npos);

  report = nxbrio_json({"refine", cation, ion, out, "-e", "0.0001"});
  EXPECT_EQ(report["ended"], "let go");
  EXPECT_NEAR(report["after"]["closest_contact"]["distance_A"], 1500.0, 500.0);

  report = nxbrio_json({"refine", cation, ion, out, "--iterations", "7", "--dielectric", "1"});
  EXPECT_EQ(report["ended"], "out of iterations");
  EXPECT_EQ(report["iterations"], 7);
}

TEST(Refine, ShowsALinePerIterationOnATerminal) {
  const ScratchDirectory scratch;
  const std::string out = scratch.path("o.pqr");
  const json report = nxbrio_json({"refine", kTarget, kLigand, out, "--iterations", "12"});
  const RunResult shown = run({"/usr/bin/python3", "-c", "import pty, sys; pty.spawn(sys.argv[1:])", NXBRIO_PROGRAM,
                               "refine", kTarget, kLigand, out, "--iterations", "12"});
  int lines = 0;
  double before = total(report["before"]);
  std::istringstream text(shown.out);
  for (std::string line; std::getline(text, line);) {
    int number = 0;
    double energy = 0.0;
    if (std::sscanf(line.c_str(), "nxbrio: iteration %d: %lf kcal/mol", &number, &energy) == 2) {
      EXPECT_EQ(number, ++lines);
      EXPECT_LE(energy, before + 1e-4);
      before = energy;
    }
  }
  EXPECT_EQ(lines, report["iterations"]);
  EXPECT_NEAR(before, total(report["after"]), 1e-4);
}

TEST(Refine, WrongCallsAreTold) {
  const ScratchDirectory scratch;
  const std::string odd = scratch.write("odd.pqr", "ATOM 1 C LIG 1 0 0 0 0 1\nATOM 2 XX LIG 1 0 0 9 0 1\n");
  const std::string out = scratch.path("o.pqr");
  expect_failure(nxbrio({"refine", kTarget, odd, out}), 1,
                 odd + ": atom 2, 'XX LIG 1': there are no 12-6 parameters for an unknown element");
  expect_failure(nxbrio({"refine", kTarget, kLigand, out, "-e", "0"}), 2,
                 "--dielectric: '0' is not a finite number above 0");
  expect_failure(nxbrio({"refine", kTarget, kLigand, out, "--trajectory", out}), 2,
                 "--trajectory: " + out + " ends in neither .pdb nor .ent");
  const std::string wide = scratch.write("wide.pqr", "ATOM 1 C LIG 1 1e30 0 0 0 1\n");
  const std::string way = scratch.path("way.pdb");
  expect_failure(nxbrio({"refine", kTarget, kLigand, way, "--trajectory", way}), 2,
                 "--trajectory: " + way + " is written already");
  // Wider than a PDB file can be.
  expect_one_line(nxbrio({"refine", kTarget, wide, out, "--trajectory", way}), 1, way + ": ");
  expect_failure(nxbrio({"refine", kTarget, odd, odd}), 2, "OUT: " + odd + " is read as well");
  for (const char* const iterations : {"-1", "1.5", "many"}) {
    expect_one_line(nxbrio({"refine", kTarget, kLigand, out, "-n", iterations}), 2);
  }
  expect_one_line(nxbrio({"refine", kTarget, kLigand}), 2);
  EXPECT_EQ(scratch.names(), (std::vector<std::string>{"odd.pqr", "wide.pqr"}));
}

}  // namespace
