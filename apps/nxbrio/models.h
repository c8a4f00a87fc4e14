// The models of a file as molecules of the library, to be written to another file.
#ifndef NXBRIOCHEM_APPS_NXBRIO_MODELS_H
#define NXBRIOCHEM_APPS_NXBRIO_MODELS_H

#include <deque>
#include <string>
#include <vector>

#include "molecule.h"
#include "output.h"
#include "structure.h"

namespace nxbrio {

struct Model {
  explicit Model(Structure from) : structure(std::move(from)), molecule(structure) {}

  Structure structure;
  Molecule molecule;
};

// A deque, because molecules cannot be moved in memory.
using Ensemble = std::deque<Model>;

// Makes a molecule of each structure. Throws Failure as Molecule does.
Ensemble make_models(std::vector<Structure> structures);

// The notes of all structures, each text once.
std::vector<std::string> notes_of(const std::vector<Structure>& structures);

// Where the bonds that are written come from.
enum class BondSource {
  // The file; distances too, where the format needs bonds and the file lacks some or gives no orders.
  Auto,
  File,
  // Distances alone.
  Distance
};

// What a written file holds.
struct Written {
  WrittenFile file;
  std::size_t models = 0;
  long long atoms = 0;
  long long bonds = 0;
  // "file", "distances" and so on, for the user.
  std::string bond_source;
};

// Makes the molecules of a file with their bonds, and fills `written`. With several models, the model number is
// appended to names that are the file's.
Ensemble make_written_models(const WrittenFile& file, BondSource source, std::vector<Structure> structures,
                             Written& written);

// Stages a file: one molecule as such and several as a list. Throws Failure.
void write_models(StagedFiles& files, const WrittenFile& file, const Ensemble& models);

// Stages files that hold target and ligand as one molecule. Gives the notes on it. Throws Failure.
std::vector<std::string> write_complex(StagedFiles& files, const std::vector<WrittenFile>& written,
                                       const Structure& target, const Structure& ligand);

}  // namespace nxbrio

#endif
