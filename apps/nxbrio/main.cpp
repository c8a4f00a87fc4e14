// nxbrio: Coulombic binding of two molecules, and what a structure file holds. Exit status 0 when the job is done, 1
// when it failed, 2 when the program was called wrongly; a failure is one line on standard error.
#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

#include "commands.h"
#include "failure.h"

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

constexpr const char* kFormats =
    "Structure files are PQR, PDB or mmCIF, plain or gzipped, known by their ending (.pqr; .pdb, .ent; .cif, .mmcif) "
    "and\n"
    "failing that by their content. PQR brings charges and radii; a PQR file without any radius above 0, and PDB and\n"
    "mmCIF files, get Bondi radii. PDB and mmCIF files get the formal charges of charged protein side chains.";

int report(int status, const std::string& what) {
  std::fflush(stdout);
  std::fprintf(stderr, "nxbrio: %s\n", what.c_str());
  return status;
}

void set_up_bind(CLI::App& app, nxbrio::BindOptions& options) {
  CLI::App* bind = app.add_subcommand("bind", "Coulombic binding energy of a target and a ligand");
  bind->add_option("TARGET", options.target, "structure file of the target")->required();
  bind->add_option("LIGAND", options.ligand, "structure file of the ligand")->required();
  bind->add_option("-e,--dielectric", options.dielectrics, "uniform dielectric constant; may be repeated [1, 4 and 80]")
      ->type_name("E")
      ->allow_extra_args(false);
  bind->add_option("-w,--write", options.outputs,
                   "write the complex, as .pdb, .pqr, .mol2, .sdf or .xyz; may be repeated")
      ->type_name("OUT")
      ->allow_extra_args(false);
  bind->add_flag("--json", options.json, "print one JSON object");
  bind->footer(kFormats);
  bind->callback([&options] { nxbrio::bind(options); });
}

void set_up_info(CLI::App& app, nxbrio::InfoOptions& options) {
  CLI::App* info = app.add_subcommand("info", "what a structure file holds");
  info->add_option("FILE", options.file, "structure file")->required();
  info->add_flag("--json", options.json, "print one JSON object");
  info->footer(kFormats);
  info->callback([&options] { nxbrio::info(options); });
}

int run(int argc, char** argv) {
  CLI::App app("Coulombic binding of two molecules, and what structure files hold.", "nxbrio");
  app.set_version_flag("--version", "nxbrio " NXBRIO_VERSION);
  app.require_subcommand(1);
  nxbrio::BindOptions bind_options;
  nxbrio::InfoOptions info_options;
  set_up_bind(app, bind_options);
  set_up_info(app, info_options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& help) {
    app.exit(help);
  } catch (const CLI::ParseError& error) {
    return report(kWrongUsage, error.what() + std::string("; see nxbrio --help"));
  }
  return kDone;
}

}  // namespace

int main(int argc, char** argv) {
  int status = kDone;
  try {
    status = run(argc, argv);
  } catch (const nxbrio::UsageError& error) {
    return report(kWrongUsage, error.what());
  } catch (const std::bad_alloc&) {
    return report(kFailed, "out of memory");
  } catch (const std::exception& error) {
    return report(kFailed, error.what());
  }
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    return report(kFailed, std::string("standard output: ") + std::strerror(errno));
  }
  return status;
}
