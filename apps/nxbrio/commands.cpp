#include "commands.h"

#include <nxbriochem/nxbriochem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "captured_stderr.h"
#include "failure.h"
#include "molecule.h"
#include "report.h"
#include "text.h"

namespace nxbrio {
namespace {

// Vacuum, the inside of a protein, water.
constexpr float kUsualDielectrics[] = {1.0F, 4.0F, 80.0F};

std::vector<float> parse_dielectrics(const std::vector<std::string>& texts) {
  std::vector<float> dielectrics;
  for (const std::string& text : texts) {
    std::string fault;
    const std::optional<float> value = parse_real(text, fault);
    if (!value || *value <= 0.0F) {
      throw UsageError("--dielectric: " + in_quotes(text) + " is not a finite number above 0");
    }
    dielectrics.push_back(*value);
  }
  if (dielectrics.empty()) {
    dielectrics.assign(std::begin(kUsualDielectrics), std::end(kUsualDielectrics));
  }
  return dielectrics;
}

// The format word of an output file, by its ending.
std::string output_format(const std::string& path) {
  const std::string ending = lower_case(std::filesystem::path(path).extension().string());
  for (const char* const word : {"pdb", "pqr", "mol2", "sdf", "xyz"}) {
    if (ending == std::string(".") + word) {
      return word;
    }
  }
  throw UsageError("--write: " + path + " ends in none of .pdb, .pqr, .mol2, .sdf, .xyz");
}

// What can be known to go wrong before any work is done.
std::vector<WrittenFile> check_outputs(const BindOptions& options) {
  std::vector<WrittenFile> outputs;
  for (const std::string& path : options.outputs) {
    outputs.push_back({path, output_format(path)});
    std::error_code ignored;
    for (const std::string& input : {options.target, options.ligand}) {
      if (std::filesystem::equivalent(path, input, ignored)) {
        throw UsageError("--write: " + path + " is read as well");
      }
    }
  }
  for (const std::string& path : options.outputs) {
    struct stat status {};
    if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
      throw Failure(path, "is a directory");
    }
    const std::string directory = std::filesystem::path(path).parent_path().string();
    if (access(directory.empty() ? "." : directory.c_str(), W_OK | X_OK) != 0) {
      throw Failure(path, std::strerror(errno));
    }
  }
  return outputs;
}

// Writes one file. What the library says against it becomes the failure's text; what it says otherwise is passed on.
void write_file(const WrittenFile& file, const Molecule& molecule) {
  CapturedStderr captured;
  const bool written = nx_write_molecule(file.path.c_str(), file.format.c_str(), molecule.handle()) == 1;
  std::string said = captured.take();
  if (written) {
    std::fputs(said.c_str(), stderr);
    return;
  }
  constexpr std::string_view kWarning = "Warning: ";
  if (starts_with(said, kWarning)) {
    said.erase(0, kWarning.size());
  }
  said.resize(std::min(said.find('\n'), said.size()));
  throw Failure(file.path, said.empty() ? "could not be written" : said);
}

void write_complex(const Structure& target, const Structure& ligand, BindReport& report) {
  if (report.written.empty()) {
    return;
  }
  Structure both = make_complex(target, ligand);
  const Molecule molecule(both);
  for (const WrittenFile& file : report.written) {
    write_file(file, molecule);
  }
  report.notes = both.notes;
}

// The report without what the library says once the molecules are gone.
BindReport bind_molecules(const BindOptions& options) {
  const std::vector<float> dielectrics = parse_dielectrics(options.dielectrics);
  BindReport report;
  report.written = check_outputs(options);
  Structure target = read_structure(options.target);
  Structure ligand = read_structure(options.ligand);
  const Molecule target_molecule(target);
  const Molecule ligand_molecule(ligand);
  for (const float dielectric : dielectrics) {
    const float energy = binding_energy(target_molecule, ligand_molecule, dielectric);
    if (!std::isfinite(energy)) {
      throw Failure(formatted("the energy at dielectric %g is too large to be told", static_cast<double>(dielectric)));
    }
    report.energies.push_back({dielectric, energy});
  }
  report.coincident_pairs = coincident_pairs(target, ligand);
  report.target = summarise(target, target_molecule);
  report.ligand = summarise(ligand, ligand_molecule);
  write_complex(target, ligand, report);
  return report;
}

void print_json(nlohmann::ordered_json json) {
  add_library_state(json);
  // File names and atom names may hold bytes that are no UTF-8; they do not spoil the whole.
  const std::string text = json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
  std::puts(text.c_str());
}

void print_text(const std::string& text) {
  std::fputs(text.c_str(), stdout);
  print_library_state();
}

}  // namespace

void bind(const BindOptions& options) {
  const BindReport report = bind_molecules(options);
  if (options.json) {
    print_json(bind_json(report));
  } else {
    print_text(bind_text(report));
  }
}

void info(const InfoOptions& options) {
  Summary summary;
  {
    Structure structure = read_structure(options.file);
    const Molecule molecule(structure);
    summary = summarise(structure, molecule);
  }
  if (options.json) {
    print_json(info_json(summary));
  } else {
    print_text(info_text(summary));
  }
}

}  // namespace nxbrio
