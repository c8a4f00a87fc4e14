// The models of a file as molecules of the library, on their way into another file.
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

// The molecules stay where they are.
using Ensemble = std::deque<Model>;

// Makes a molecule of each structure. Throws Failure as Molecule does.
Ensemble make_models(std::vector<Structure> structures);

// What all structures have to note, each note once: most models of a file have the same to say.
std::vector<std::string> notes_of(const std::vector<Structure>& structures);

// Where the bonds that are written come from.
enum class BondSource {
  // The file and, where it leaves atoms without bonds or orders untold and the format needs them, distances.
  Auto,
  File,
  // Distances alone.
  Distance
};

// A file of models, and the bonds that it holds.
struct Written {
  WrittenFile file;
  std::size_t models = 0;
  long long atoms = 0;
  long long bonds = 0;
  // "file", "distances" and so on, for the user.
  std::string bond_source;
};

// Makes the molecules that a file is to hold, with their bonds, and says what it will hold. Each of several models is
// named after its number too.
Ensemble make_written_models(const WrittenFile& file, BondSource source, std::vector<Structure> structures,
                             Written& written);

// Stages a file: one molecule as such and several as a list. Throws Failure.
void write_models(StagedFiles& files, const WrittenFile& file, const Ensemble& models);

// Stages files that hold target and ligand as one molecule; what there is to note about it. Throws Failure.
std::vector<std::string> write_complex(StagedFiles& files, const std::vector<WrittenFile>& written,
                                       const Structure& target, const Structure& ligand);

}  // namespace nxbrio

#endif
