// The program's commands. Each does its whole job and prints its report; throws Failure or UsageError.
#ifndef NXBRIOCHEM_APPS_NXBRIO_COMMANDS_H
#define NXBRIOCHEM_APPS_NXBRIO_COMMANDS_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "geometry.h"
#include "ligands.h"
#include "matching.h"
#include "medium.h"
#include "models.h"
#include "printing.h"

namespace nxbrio {

struct BindOptions {
  Sides sides;
  // Numbers and formulas as given on the command line; empty means 1, 4 and 80.
  std::vector<std::string> dielectrics;
  MediumOptions medium;
  // Files of variables.
  std::vector<std::string> parameters;
  std::vector<std::string> outputs;
  std::optional<std::string> csv;
  // The most residues of a side that are listed, and the file of a table of all.
  int residues = 0;
  std::optional<std::string> residue_csv;
  // Whether the complex is turned into the target's principal frame first.
  bool orient = false;
  bool library_unit = false;
  Printing print;
};

struct InfoOptions {
  std::string file;
  // A selection of atoms to read (nxf_select); none means all.
  std::optional<std::string> select;
  Printing print;
};

struct ConvertOptions {
  std::string input;
  std::optional<std::string> select;
  std::string output;
  // A format word; none means by the output's ending.
  std::optional<std::string> format;
  // Seven numbers or formulas.
  std::optional<std::string> transform;
  std::vector<std::string> parameters;
  // The number of the only model wanted.
  std::optional<int> model;
  BondSource bonds = BondSource::Auto;
  Printing print;
};

struct OrientOptions {
  std::string input;
  std::optional<std::string> select;
  std::string output;
  std::optional<std::string> format;
  FrameChoice choice;
  // Files that are moved along with the input, each with its output file.
  std::vector<std::pair<std::string, std::string>> with;
  Printing print;
};

struct MomentsOptions {
  std::string file;
  std::optional<std::string> select;
  // The fraction within which moments count as equal, as given; none means 0.01.
  std::optional<std::string> tolerance;
  Printing print;
};

struct RmsOptions {
  std::string reference;
  // The files that are compared with the reference.
  std::vector<std::string> files;
  // Compare all models of all files, the reference's too, with one another.
  bool all = false;
  FitOptions fit;
  Printing print;
};

struct SuperposeOptions {
  std::string reference;
  std::vector<std::string> moving;
  std::string output;
  std::optional<std::string> format;
  FitOptions fit;
  // Whether the motions are printed.
  bool matrix = false;
  Printing print;
};

struct RefineOptions {
  Sides sides;
  std::string output;
  std::optional<std::string> format;
  // As given, a number or a formula; none means 4.
  std::optional<std::string> dielectric;
  MediumOptions medium;
  std::vector<std::string> parameters;
  int iterations = 500;
  // How many of several ligands are kept; none means all.
  std::optional<int> best;
  // The radius of clusters in angstrom, as given; only the lowest pose of each is kept.
  std::optional<std::string> cluster;
  // None means as many as there are processors.
  int threads = 0;
  std::optional<std::string> csv;
  // Output files: the ligand's trajectory, and the final complex.
  std::optional<std::string> trajectory;
  std::optional<std::string> complex;
  bool library_unit = false;
  Printing print;
};

void bind(const BindOptions& options);
void info(const InfoOptions& options);
void convert(const ConvertOptions& options);
void orient(const OrientOptions& options);
void moments(const MomentsOptions& options);
void rms(const RmsOptions& options);
void superpose(const SuperposeOptions& options);
void refine(const RefineOptions& options);

}  // namespace nxbrio

#endif
