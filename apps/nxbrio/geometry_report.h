// The reports of the commands on frames and superpositions.
#ifndef NXBRIOCHEM_APPS_NXBRIO_GEOMETRY_REPORT_H
#define NXBRIOCHEM_APPS_NXBRIO_GEOMETRY_REPORT_H

#include <array>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "geometry.h"
#include "matching.h"
#include "models.h"

namespace nxbrio {

// One model in its principal frame.
struct OrientedModel {
  int model = 1;
  Orientation orientation;
};

struct OrientReport {
  std::string file;
  FrameChoice choice;
  std::vector<OrientedModel> models;
  Written written;
  // The files that were moved along, each with its output.
  std::vector<std::pair<std::string, Written>> along;
  std::vector<std::string> notes;
};

// A line about a written file: its contents, and the file that it was made from.
std::string written_text(const std::string& from, const Written& written);
nlohmann::ordered_json motion_json(const Motion& motion);
// An orientation as a table and as JSON.
std::string orientation_text(const Orientation& orientation);
nlohmann::ordered_json orientation_json(const Orientation& orientation);

std::string orient_text(const OrientReport& report);
nlohmann::ordered_json orient_json(const OrientReport& report);

struct MomentsRow {
  FrameChoice choice;
  Moments moments{};
  // As nx_perceive_top_symmetry gives it, and its name.
  int top_symmetry = 0;
  std::string top_name;
};

struct MomentsReport {
  std::string file;
  float tolerance = 0.0F;
  std::vector<MomentsRow> rows;
  std::vector<std::string> notes;
};

std::string moments_text(const MomentsReport& report);
nlohmann::ordered_json moments_json(const MomentsReport& report);

// Molecules compared with a reference.
struct FitReport {
  FitOptions options;
  // Of the reference.
  int atoms = 0;
  std::string reference;
  struct Fit {
    std::string molecule;
    // Angstrom.
    float rms = 0.0F;
    // How many pairs of atoms take part.
    int pairs = 0;
    std::optional<Motion> motion;
    // Of the same atoms, before they were moved.
    std::optional<float> rms_before;
  };
  std::vector<Fit> fits;
  // Where the moved molecules were written.
  std::optional<Written> written;
  std::vector<std::string> notes;
};

// All pairs of molecules.
struct PairsReport {
  FitOptions options;
  // Of the first molecule.
  int atoms = 0;
  std::vector<std::string> molecules;
  // Angstrom, a row for each molecule; and how many pairs of atoms take part.
  std::vector<std::vector<float>> rms;
  std::vector<std::vector<int>> pairs;
  std::vector<std::string> notes;
};

std::string fit_text(const FitReport& report);
nlohmann::ordered_json fit_json(const FitReport& report);
std::string pairs_text(const PairsReport& report);
nlohmann::ordered_json pairs_json(const PairsReport& report);

}  // namespace nxbrio

#endif
