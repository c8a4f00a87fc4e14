#include "models.h"

#include <algorithm>

#include "nxbriofiles/text.h"
#include "progress.h"

namespace nxbrio {
namespace {

// Whether bonds are made from distances.
bool needs_distances(BondSource source, const std::string& format, const std::vector<Structure>& structures) {
  if (source != BondSource::Auto) {
    return source == BondSource::Distance;
  }
  return format_needs_bonds(format) && !std::all_of(structures.begin(), structures.end(), bonds_are_complete);
}

// Records of small-molecule formats have names of their own; models of other formats all have the file's name.
bool records_have_names(const Structure& structure) {
  return structure.format == "SDF" || structure.format == "mol2" || structure.format == "XYZ";
}

const char* bond_source(BondSource source, bool distances, const std::vector<Structure>& structures) {
  const bool given = std::any_of(structures.begin(), structures.end(),
                                 [](const Structure& structure) { return !structure.bonds.empty(); });
  const bool from_file = source != BondSource::Distance && given;
  if (distances) {
    return from_file ? "file and distances" : "distances";
  }
  return from_file ? "file" : "none given";
}

}  // namespace

Ensemble make_models(std::vector<Structure> structures) {
  Progress progress("molecules", structures.size());
  Ensemble models;
  for (Structure& structure : structures) {
    models.emplace_back(std::move(structure));
    progress.step();
  }
  return models;
}

std::vector<std::string> notes_of(const std::vector<Structure>& structures) {
  std::vector<std::string> notes;
  for (const Structure& structure : structures) {
    for (const std::string& note : structure.notes) {
      if (std::find(notes.begin(), notes.end(), note) == notes.end()) {
        notes.push_back(note);
      }
    }
  }
  return notes;
}

Ensemble make_written_models(const WrittenFile& file, BondSource source, std::vector<Structure> structures,
                             Written& written) {
  const bool distances = needs_distances(source, file.format, structures);
  const bool held = format_holds_bonds(file.format);
  written.file = file;
  written.models = structures.size();
  written.bond_source = held ? bond_source(source, distances, structures) : "not in this format";
  for (Structure& structure : structures) {
    written.atoms += static_cast<long long>(structure.atoms.size());
    if (written.models > 1 && !records_have_names(structure)) {
      structure.name += formatted(" model %d", structure.model);
    }
    if (source == BondSource::Distance) {
      structure.bonds.clear();
    }
  }
  Ensemble models = make_models(std::move(structures));
  for (const Model& model : models) {
    if (distances) {
      make_bonds_by_distance(model.molecule);
    }
    written.bonds += held ? bond_number(model.molecule) : 0;
  }
  return models;
}

void write_models(StagedFiles& files, const WrittenFile& file, const Ensemble& models) {
  if (models.size() == 1) {
    write_molecule(files, file, models.front().molecule.handle());
    return;
  }
  const MoleculeList list;
  for (const Model& model : models) {
    list.add(model.molecule);
  }
  write_list(files, file, list.handle());
}

std::vector<std::string> write_complex(StagedFiles& files, const std::vector<WrittenFile>& written,
                                       const Structure& target, const Structure& ligand) {
  Structure both = make_complex(target, ligand);
  const Molecule molecule(both);
  for (const WrittenFile& file : written) {
    write_molecule(files, file, molecule.handle());
  }
  return both.notes;
}

}  // namespace nxbrio
