// The program's commands. Each does its whole job and prints its report; throws Failure or UsageError.
#ifndef NXBRIOCHEM_APPS_NXBRIO_COMMANDS_H
#define NXBRIOCHEM_APPS_NXBRIO_COMMANDS_H

#include <string>
#include <vector>

namespace nxbrio {

struct BindOptions {
  std::string target;
  std::string ligand;
  // As given; none means 1, 4 and 80.
  std::vector<std::string> dielectrics;
  std::vector<std::string> outputs;
  bool json = false;
};

struct InfoOptions {
  std::string file;
  bool json = false;
};

void bind(const BindOptions& options);
void info(const InfoOptions& options);

}  // namespace nxbrio

#endif
