// nxbrio orient, moments, rms and superpose, and bind --orient, from outside. Numbers are compared with those computed
// from the written positions.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <random>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "tests/support/nxbrio.h"
#include "tests/support/run.h"

namespace {

using namespace test_support;
using nlohmann::json;

using Place = std::array<double, 3>;
using Places = std::vector<Place>;
constexpr const char* kNames[] = {"C1", "N", "HA", "O", "h2", "CL", "C2"};
constexpr double kRadii[] = {1.7, 1.55, 1.2, 1.52, 1.1, 0.0, 1.7};

bool is_hydrogen(std::size_t atom) { return atom % 7 == 2 || atom % 7 == 4; }

// A molecule of a PQR file; names and radii repeat those above.
std::string pqr(const Places& places, const char* first_name = "C1") {
  std::string text;
  for (std::size_t i = 0; i < places.size(); ++i) {
    char line[160];
    std::snprintf(line, sizeof line, "ATOM %zu %s LIG 1 %.4f %.4f %.4f 0.1 %.2f\n", i + 1,
                  i == 0 ? first_name : kNames[i % 7], places[i][0], places[i][1], places[i][2], kRadii[i % 7]);
    text += line;
  }
  return text + "END\n";
}

Places moved(const json& motion, Places places) {
  for (Place& place : places) {
    const Place x = place;
    for (std::size_t i = 0; i < 3; ++i) {
      const Place row = motion["rotation"][i];
      place[i] = row[0] * x[0] + row[1] * x[1] + row[2] * x[2] + motion["translation_A"][i].get<double>();
    }
  }
  return places;
}

void expect_proper(const json& motion) {
  const auto r = motion["rotation"].get<std::array<Place, 3>>();
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j < 3; ++j) {
      EXPECT_NEAR(r[i][0] * r[j][0] + r[i][1] * r[j][1] + r[i][2] * r[j][2], i == j ? 1.0 : 0.0, 1e-6);
    }
  }
  EXPECT_NEAR(r[0][0] * (r[1][1] * r[2][2] - r[1][2] * r[2][1]) - r[0][1] * (r[1][0] * r[2][2] - r[1][2] * r[2][0]) +
                  r[0][2] * (r[1][0] * r[2][1] - r[1][1] * r[2][0]),
              1.0, 1e-6);
}

std::vector<Places> read_xyz(const std::string& path) {
  std::vector<Places> models;
  std::istringstream text(read_file(path));
  for (std::size_t n = 0; text >> n;) {
    std::string word;
    std::getline(text, word);
    std::getline(text, word);
    Places& places = models.emplace_back(n);
    for (Place& place : places) {
      text >> word >> place[0] >> place[1] >> place[2];
    }
  }
  return models;
}

double distance(const Place& a, const Place& b) { return std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]); }

void expect_places(const Places& have, const Places& want, double tolerance) {
  ASSERT_EQ(have.size(), want.size());
  for (std::size_t i = 0; i < want.size(); ++i) {
    EXPECT_LT(distance(have[i], want[i]), tolerance) << i;
  }
}

// Five models: a flat one far from the origin, a turned copy of it, its mirror image, and two unrelated ones.
// Coordinates are rounded to the decimals of the file.
std::vector<Places> ensemble() {
  std::mt19937 random(7);
  const auto real = [&](double size) { return size * (static_cast<double>(random() % 20001) / 10000 - 1); };
  const auto rounded = [](double x) { return std::round(x * 1e4) / 1e4; };
  std::vector<Places> models(5, Places(31));
  for (std::size_t i = 0; i < 31; ++i) {
    const Place p = models[0][i] = {rounded(100 + real(5)), rounded(real(3)), rounded(real(0.5) - 40)};
    models[1][i] = {p[1] + 7, p[2], p[0]};
    models[2][i] = {p[0], p[1], -p[2]};
    models[3][i] = {rounded(real(9)), rounded(real(4)), rounded(real(2))};
    models[4][i] = {rounded(real(6)), rounded(real(6)), rounded(real(6))};
  }
  return models;
}

std::string ensemble_pqr() {
  std::string text;
  for (const Places& places : ensemble()) {
    text += pqr(places);
  }
  return text;
}

TEST(Frames, OrientsEachModelAndWhatBelongsToIt) {
  const ScratchDirectory scratch;
  const std::string file = scratch.write("e.pqr", ensemble_pqr());
  const std::string out = scratch.path("o.xyz");
  const std::string along = scratch.path("along.xyz");
  const std::vector<Places> models = ensemble();
  const json moments = nxbrio_json({"moments", file})["moments"];
  for (std::size_t row = 0; row < 4; ++row) {
    SCOPED_TRACE(row);
    const bool hydrogens = row >= 2;
    const bool weighted = row % 2 == 1;
    EXPECT_EQ(moments[row]["hydrogens"], hydrogens);
    EXPECT_EQ(moments[row]["weighted"], weighted);
    std::vector<std::string> call{"orient", file, out, "--with", file, along};
    call.insert(call.end(), hydrogens ? 1 : 0, "--hydrogens");
    call.insert(call.end(), weighted ? 1 : 0, "--weighted");
    const json report = nxbrio_json(call);
    const std::vector<Places> oriented = read_xyz(out);
    ASSERT_EQ(oriented.size(), models.size());
    for (std::size_t m = 0; m < models.size(); ++m) {
      const json& model = report["models"][m];
      expect_proper(model);
      expect_places(oriented[m], moved(model, models[m]), 1e-4);
      expect_places(read_xyz(along)[m], oriented[m], 5e-5);
    }
    for (std::size_t i = 0; i < 3; ++i) {
      double first = 0, second = 0, mass = 0, n = 0;
      for (std::size_t k = 0; k < 31; ++k) {
        const bool part = kRadii[k % 7] > 0 && (hydrogens || !is_hydrogen(k));
        const double w = !part ? 0.0 : weighted ? std::pow(kRadii[k % 7], 3) : 1.0;
        first += w * oriented[0][k][i];
        second += w * oriented[0][k][i] * oriented[0][k][i];
        mass += w;
        n += part ? 1 : 0;
      }
      EXPECT_NEAR(first / mass, 0.0, 2e-5);
      EXPECT_NEAR(report["models"][0]["moments"][i], std::sqrt(second / n), 1e-4);
      EXPECT_NEAR(moments[row]["moments"][i], std::sqrt(second / n), 1e-4);
    }
  }
}

TEST(Frames, MomentsBeyondSinglePrecisionAreAFailure) {
  const ScratchDirectory scratch;
  const std::string file = scratch.write("f.pqr", "ATOM 1 C LIG 1 0 0 0 0 1\nATOM 2 C LIG 1 3e19 0 0 0 1\n");
  expect_failure(nxbrio({"moments", file}), 1,
                 file + ": moments are beyond single precision: coordinates or radii are too large");
}

// Names that are too long for the library's calls must be kept whole.
TEST(Frames, KeepsLongNames) {
  const ScratchDirectory scratch;
  const std::string file = scratch.write("n.pqr",
                                         "ATOM 1 CBAA1 LIG 1 0 0 0 0 1\nATOM 2 CBAA2 LIG 1 3 0 0 0 1\n"
                                         "ATOM 3 HBAA2 LIG 1 0 1 0 0 1\n");
  for (const std::string flag : {"--hydrogens", "--weighted"}) {
    const std::string out = scratch.path("o.pqr");
    ASSERT_EQ(nxbrio({"orient", file, out, flag}).status, 0);
    for (const std::string name : {" CBAA1 ", " CBAA2 ", " HBAA2 "}) {
      EXPECT_NE(read_file(out).find(name), std::string::npos) << flag;
    }
  }
}

// The deviations that the commands print must be those of the written positions. That they are the least is tested with
// the library.
TEST(Frames, SuperposesModelsOntoTheReference) {
  const ScratchDirectory scratch;
  const std::vector<Places> models = ensemble();
  const std::string reference = scratch.write("r.pqr", pqr(models[0]));
  const std::string file = scratch.write("e.pqr", ensemble_pqr());
  const std::string out = scratch.path("o.xyz");
  for (const bool hydrogens : {false, true}) {
    const auto report_of = [hydrogens](std::vector<std::string> call) {
      call.insert(call.end(), hydrogens ? 1 : 0, "--hydrogens");
      return nxbrio_json(call);
    };
    const json pairs = report_of({"rms", "--all", file});
    const json from_first = report_of({"rms", file, file});
    const json report = report_of({"superpose", reference, file, reference, out, "--matrix"});
    EXPECT_EQ(pairs["pairs"][0][1], hydrogens ? 31 : 22);
    EXPECT_EQ(report["written"]["models"], 6);
    const std::vector<Places> fitted = read_xyz(out);
    ASSERT_EQ(fitted.size(), 6U);
    for (std::size_t m = 0; m < 6; ++m) {
      const json& fit = report["fits"][m];
      expect_proper(fit);
      expect_places(fitted[m], moved(fit, models[m % 5]), 2e-4);
      double sum = 0, n = 0;
      for (std::size_t i = 0; i < 31; ++i) {
        if (hydrogens || !is_hydrogen(i)) {
          sum += std::pow(distance(fitted[m][i], models[0][i]), 2);
          ++n;
        }
      }
      EXPECT_NEAR(fit["rms_A"], std::sqrt(sum / n), 5e-5);
      EXPECT_NEAR(pairs["rms_A"][0][m % 5], fit["rms_A"], 2e-5);
      EXPECT_NEAR(from_first["fits"][m % 5]["rms_A"], fit["rms_A"], 2e-5);
      EXPECT_EQ(from_first["fits"][m % 5]["molecule"], file + " model " + std::to_string(m % 5 + 1));
    }
    for (std::size_t i = 0; i < 5; ++i) {
      EXPECT_EQ(pairs["rms_A"][i][i], 0.0);
      for (std::size_t j = 0; j < i; ++j) {
        EXPECT_EQ(pairs["rms_A"][i][j], pairs["rms_A"][j][i]);
      }
    }
    EXPECT_LT(pairs["rms_A"][0][1], 1e-4);
    EXPECT_GT(pairs["rms_A"][0][2], 0.1);
  }
}

TEST(Frames, TopsByTheirExtents) {
  const ScratchDirectory scratch;
  const double h = std::sqrt(3.0) / 2;
  const Places nearly{{1.04, 1, 0}, {1.04, -1, 0}, {-1.04, 1, 0}, {-1.04, -1, 0}};
  const std::tuple<Places, const char*, const char*> tops[] = {
      {{{1, 1, 0}, {1, -1, 0}, {-1, 1, 0}, {-1, -1, 0}}, "0.01", "symmetric, oblate"},
      {{{3, 0, 0}, {-3, 0, 0}, {0, 1, 0}, {0, -0.5, h}, {0, -0.5, -h}}, "0.01", "symmetric, prolate"},
      {{{1, 1, 1}, {1, -1, -1}, {-1, 1, -1}, {-1, -1, 1}}, "0.01", "spherical"},
      {{{1, 2, 3}, {2, 4, 6}, {4, 8, 12}}, "0.01", "linear"},
      {{{1, 2, 3}}, "0.01", "point"},
      {nearly, "0.01", "asymmetric"},
      {nearly, "0.05", "symmetric, oblate"}};
  for (const auto& [places, tolerance, top] : tops) {
    const std::string file = scratch.write("t.pqr", pqr(places));
    EXPECT_EQ(nxbrio_json({"moments", file, "--tolerance", tolerance})["moments"][2]["top"], top);
  }
}

TEST(Frames, WhatDoesNotPairIsTold) {
  const ScratchDirectory scratch;
  const Places places = ensemble()[0];
  const std::string a = scratch.write("a.pqr", pqr(places));
  const std::string renamed = scratch.write("b.pqr", pqr(places, "CX"));
  const std::string fewer = scratch.write("c.pqr", pqr({places.begin(), places.end() - 1}));
  const std::string two = scratch.write("d.pqr", pqr(places) + pqr(places));
  const std::string hydrogen = scratch.write("h.pqr", "ATOM 1 H1 LIG 1 0 0 0 0 1\n");
  const std::string out = scratch.path("out.pdb");
  expect_failure(nxbrio({"superpose", a, renamed, fewer, out}), 1, fewer + ": 30 atoms, but 31 in " + a);
  expect_failure(nxbrio({"rms", a, two, "--all", fewer}), 1, fewer + ": 30 atoms, but 31 in " + a);
  expect_failure(nxbrio({"rms", hydrogen, hydrogen}), 1,
                 hydrogen + ": no atoms but hydrogens, which only --hydrogens takes in");
  EXPECT_EQ(nxbrio_json({"rms", a, renamed})["notes"],
            json::array(
                {renamed + ": 1 of 31 atoms are named otherwise than in " + a + "; atoms are paired by their order"}));
  expect_failure(nxbrio({"orient", two, out, "--with", a, scratch.path("w.pdb")}), 1,
                 a + ": as many models as in " + two + " are needed, 2, not 1");
  expect_failure(nxbrio({"orient", a, out, "--with", two, out}), 2, "--with: " + out + " is written already");
  expect_failure(nxbrio({"superpose", a, two, a}), 2, "OUT: " + a + " is read as well");
  expect_failure(nxbrio({"moments", a, "--tolerance", "0"}), 2, "--tolerance: '0' is not a finite number above 0");
  expect_failure(nxbrio({"rms", a}), 2, "rms: FILE or --all is required");
  EXPECT_EQ(scratch.names(), (std::vector<std::string>{"a.pqr", "b.pqr", "c.pqr", "d.pqr", "h.pqr"}));
  // All atoms are hydrogens: the library uses all, and its warning is passed on.
  const json warnings = nxbrio_json({"orient", hydrogen, out})["warnings"];
  EXPECT_NE(warnings.dump().find("all atoms hydrogen"), std::string::npos) << warnings;
}

// The README shows the output of the main job for the first complex.
TEST(Frames, AComplexTurnsAsOne) {
  const std::string pair = APBS_EXAMPLES "/pbsam-barn_bars/";
  const std::vector<std::string> call{
      "bind", pair + "barnase.pqr", pair + "barstar.pqr", "-e", "1", "-e", "4", "-e", "20", "-e", "78.54"};
  std::vector<std::string> turned = call;
  turned.emplace_back("--orient");
  const double energy = nxbrio_json(call)["energies"][0]["energy"];
  const json report = nxbrio_json(turned);
  EXPECT_NEAR(report["energies"][0]["energy"], energy, 1e-5 * std::abs(energy));
  expect_proper(report["orientation"]);
  const std::string readme = read_file(NXBRIO_SOURCE_DIR "/README.md");
  const std::string text = nxbrio(turned).out;
  std::istringstream lines(text.substr(text.find("Turned into")));
  for (std::string line; std::getline(lines, line);) {
    EXPECT_NE(readme.find(line), std::string::npos) << line;
  }
}

}  // namespace
