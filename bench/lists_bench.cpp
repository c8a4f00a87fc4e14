// A list of 1,000 small molecules written to one file, against one large molecule of as many atoms and bonds. The ratio
// is time of the list to time of the large molecule: 2 means half the atoms per second. The large molecule is beyond
// what SD files hold in their V2000 form, so it is V3000 there, while the small ones are V2000.
#include <benchmark/benchmark.h>
#include <nxbriochem/nxbriochem.h>

#include <cmath>
#include <string>
#include <vector>

#include "bench/directory.h"
#include "bench/paired.h"

namespace {

constexpr int kMolecules = 1000;
constexpr int kAtoms = 25;  // of a small molecule, with one bond less

// A chain of `parts` times kAtoms atoms, each part a residue; no bonds between parts.
int MakeMolecule(int parts) {
  const int mol = nx_make_molecule();
  const int n_atoms = parts * kAtoms;
  nx_set_molecule_atom_number(n_atoms, mol);
  nx_set_molecule_name("a molecule", mol);
  std::vector<float> coordinates;
  std::vector<float> charges;
  std::vector<int> numbers;
  std::vector<int> bonds;
  std::string elements;
  std::string names;
  std::string residues;
  for (int i = 0; i < n_atoms; ++i) {
    const auto angle = static_cast<float>(i);
    coordinates.insert(coordinates.end(), {9 * std::sin(angle), 9 * std::cos(angle), angle / 100});
    charges.push_back(std::sin(angle));
    numbers.push_back(1 + i / kAtoms);
    elements.push_back("CHNOS"[i % 5]);
    names.append(1, elements.back()).append(std::to_string(i % kAtoms)).push_back('\0');
    residues.append("LIG").push_back('\0');
    if (i % kAtoms != 0) {
      bonds.insert(bonds.end(), {i - 1, i, 1});
    }
  }
  nx_set_molecule_coordinates(coordinates.data(), mol);
  nx_set_molecule_charges(charges.data(), mol);
  nx_set_molecule_element(elements.data(), mol);
  nx_set_molecule_atom_names(names.c_str(), mol);
  nx_set_molecule_residue_names(residues.c_str(), mol);
  nx_set_molecule_residue_number(numbers.data(), mol);
  nx_set_molecule_bond_number(static_cast<int>(bonds.size() / 3), mol);
  nx_set_molecule_bonds(bonds.data(), mol);
  return mol;
}

void ListAgainstOneMolecule(benchmark::State& state, const char* format) {
  bench::Directory directory;
  const std::string many = directory.File("many", false);
  const std::string one = directory.File("one", false);
  const int list = nx_make_list();
  std::vector<int> molecules;
  for (int i = 0; i < kMolecules; ++i) {
    molecules.push_back(MakeMolecule(1));
    nx_add_to_list(molecules.back(), list);
  }
  const int large = MakeMolecule(kMolecules);
  bool written = true;
  bench::paired(
      state, kMolecules * kAtoms,
      [&] { written = nx_write_list_of_molecules(many.c_str(), format, list) == 1 && written; },
      [&] { written = nx_write_molecule(one.c_str(), format, large) == 1 && written; });
  state.counters["list_atoms_per_s"] = 1e9 / state.counters["ours_ns"];
  state.counters["one_atoms_per_s"] = 1e9 / state.counters["yardstick_ns"];
  state.counters["rate_ratio"] = 1 / state.counters["ratio"];
  if (!written) {
    state.SkipWithError("a file could not be written");
  }
  nx_delete_list(list);
  for (const int mol : molecules) {
    nx_delete_molecule(mol);
  }
  nx_delete_molecule(large);
}

constexpr int kRounds = 40;
BENCHMARK_CAPTURE(ListAgainstOneMolecule, pdb, "pdb")->UseManualTime()->Iterations(kRounds);
BENCHMARK_CAPTURE(ListAgainstOneMolecule, sdf, "sdf")->UseManualTime()->Iterations(kRounds);
BENCHMARK_CAPTURE(ListAgainstOneMolecule, mol2, "mol2")->UseManualTime()->Iterations(kRounds);

}  // namespace
