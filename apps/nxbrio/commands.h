// The program's commands. Each does its whole job and prints its report; throws Failure or UsageError.
#ifndef NXBRIOCHEM_APPS_NXBRIO_COMMANDS_H
#define NXBRIOCHEM_APPS_NXBRIO_COMMANDS_H

#include <optional>
#include <string>
#include <vector>

namespace nxbrio {

struct BindOptions {
  std::string target;
  std::string ligand;
  // As given, numbers and formulas; none means 1, 4 and 80.
  std::vector<std::string> dielectrics;
  // Files of variables.
  std::vector<std::string> parameters;
  std::vector<std::string> outputs;
  bool json = false;
};

struct InfoOptions {
  std::string file;
  bool json = false;
};

// Where the bonds that are written come from.
enum class BondSource {
  // The file and, where it leaves atoms without bonds or orders untold and the format needs them, distances.
  Auto,
  File,
  // Distances alone.
  Distance
};

struct ConvertOptions {
  std::string input;
  std::string output;
  // A format word; none means by the output's ending.
  std::optional<std::string> format;
  // Seven numbers or formulas.
  std::optional<std::string> transform;
  std::vector<std::string> parameters;
  // The number of the only model wanted.
  std::optional<int> model;
  BondSource bonds = BondSource::Auto;
  bool json = false;
};

void bind(const BindOptions& options);
void info(const InfoOptions& options);
void convert(const ConvertOptions& options);

}  // namespace nxbrio

#endif
