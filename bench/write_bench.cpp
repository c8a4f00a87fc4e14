// Writing the actin dimer as a PDB file: nx_write_molecule, gemmi's writer and an fprintf loop, each making the whole
// file on the same file system. The loop writes the same lines as nx_write_molecule. Then copies of the dimer's atoms,
// up to the largest plain serial number.
#include <benchmark/benchmark.h>
#include <nxbriochem/nxbriochem.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "bench/directory.h"
#include "bench/paired.h"

// gemmi formats numbers with stb_sprintf where it is installed (libstb-dev), with the C library's printf elsewhere.
#if !__has_include(<stb/stb_sprintf.h>)
#define USE_STD_SNPRINTF 1
#endif
#define GEMMI_WRITE_IMPLEMENTATION
#if defined(__clang__)
#pragma GCC diagnostic ignored "-W#warnings"
#else
#pragma GCC diagnostic ignored "-Wcpp"
#pragma GCC diagnostic ignored "-Wformat-truncation"  // of gemmi's, where it is inlined here
#endif
#include <gemmi/to_pdb.hpp>

namespace {

struct Atom {
  std::string name;
  std::string residue;
  int number = 0;
  float xyz[3] = {};
};

std::vector<Atom> ReadActinDimer() {
  std::vector<Atom> atoms;
  std::ifstream file(APBS_EXAMPLES "/actin-dimer/complex.pqr");
  for (std::string line; std::getline(file, line);) {
    std::istringstream fields(line);
    std::string record;
    int serial = 0;
    Atom atom;
    if (fields >> record >> serial >> atom.name >> atom.residue >> atom.number >> atom.xyz[0] >> atom.xyz[1] >>
            atom.xyz[2] &&
        record == "ATOM") {
      atoms.push_back(atom);
    }
  }
  if (atoms.size() < 11000) {
    std::fprintf(stderr, "write_bench: the actin dimer of apbs-data is missing\n");
    std::exit(1);
  }
  return atoms;
}

const std::vector<Atom>& ActinDimer() {
  static const std::vector<Atom> atoms = ReadActinDimer();
  return atoms;
}

// The element that a protein's atom name starts with.
char Element(const Atom& atom) { return atom.name[0] >= '0' && atom.name[0] <= '9' ? atom.name[1] : atom.name[0]; }

// The first n atoms of any number of dimers.
std::vector<Atom> Dimers(std::size_t n) {
  std::vector<Atom> atoms;
  for (std::size_t i = 0; i < n; ++i) {
    atoms.push_back(ActinDimer()[i % ActinDimer().size()]);
  }
  return atoms;
}

int MakeMolecule(const std::vector<Atom>& atoms) {
  const int mol = nx_make_molecule();
  nx_set_molecule_atom_number(static_cast<int>(atoms.size()), mol);
  std::vector<float> coordinates;
  std::vector<int> numbers;
  std::string elements;
  std::string names;
  std::string residues;
  for (const Atom& atom : atoms) {
    coordinates.insert(coordinates.end(), std::begin(atom.xyz), std::end(atom.xyz));
    numbers.push_back(atom.number);
    names.append(atom.name).push_back('\0');
    residues.append(atom.residue).push_back('\0');
    const std::string symbols = "HCNOPS";
    constexpr int kAtomicNumbers[] = {1, 6, 7, 8, 15, 16};
    const auto at = symbols.find(Element(atom));
    elements.push_back(at == std::string::npos ? 'Z'
                                               : nx_convert_element_number_to_one_letter_symbol(kAtomicNumbers[at]));
  }
  nx_set_molecule_coordinates(coordinates.data(), mol);
  nx_set_molecule_residue_number(numbers.data(), mol);
  nx_set_molecule_atom_names(names.data(), mol);
  nx_set_molecule_residue_names(residues.data(), mol);
  nx_set_molecule_element(elements.data(), mol);
  return mol;
}

gemmi::Structure MakeStructure(const std::vector<Atom>& atoms) {
  gemmi::Structure structure;
  structure.models.emplace_back("1");
  structure.models[0].chains.emplace_back("");
  auto& residues = structure.models[0].chains[0].residues;
  for (const Atom& atom : atoms) {
    const gemmi::ResidueId id{gemmi::SeqId(atom.number, ' '), {}, atom.residue};
    if (residues.empty() || !residues.back().matches(id)) {
      residues.emplace_back(id);
      residues.back().het_flag = 'A';
    }
    gemmi::Atom added;
    added.name = atom.name;
    added.element = gemmi::Element(Element(atom));
    added.pos = gemmi::Position(static_cast<double>(atom.xyz[0]), static_cast<double>(atom.xyz[1]),
                                static_cast<double>(atom.xyz[2]));
    residues.back().atoms.push_back(added);
  }
  return structure;
}

std::string Contents(const std::string& filename) {
  std::ifstream file(filename, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void PrintLines(const std::vector<Atom>& atoms, const std::string& filename) {
  FILE* const file = std::fopen(filename.c_str(), "w");
  int serial = 0;
  for (const Atom& atom : atoms) {
    const std::string name = atom.name.size() < 4 ? " " + atom.name : atom.name;
    std::fprintf(file, "ATOM  %5d %-4.4s %3.3s  %4d    %8.3f%8.3f%8.3f%6.2f%6.2f          %2c  \n", ++serial,
                 name.c_str(), atom.residue.c_str(), atom.number, static_cast<double>(atom.xyz[0]),
                 static_cast<double>(atom.xyz[1]), static_cast<double>(atom.xyz[2]), 1.0, 0.0, Element(atom));
  }
  std::fputs("TER\nEND\n", file);
  std::fclose(file);
}

// nx_write_molecule against write(filename), over the files of the round before or, with new_file, making new ones.
template <class Write>
void Compare(benchmark::State& state, const std::vector<Atom>& atoms, bool new_file, Write write) {
  bench::Directory directory;
  const int mol = MakeMolecule(atoms);
  bool written = true;
  bench::paired(
      state, 1,
      [&] { written = nx_write_molecule(directory.File("ours", new_file).c_str(), "pdb", mol) == 1 && written; },
      [&] { write(directory.File("theirs", new_file)); });
  const std::string ours = directory.File("ours", false);
  const std::string loop = directory.File("loop", false);
  PrintLines(atoms, loop);
  if (!written || nx_write_molecule(ours.c_str(), "pdb", mol) != 1 || Contents(ours) != Contents(loop)) {
    state.SkipWithError("nx_write_molecule failed, or the fprintf loop writes other lines");
  }
  nx_delete_molecule(mol);
}

void AgainstGemmi(benchmark::State& state, const std::vector<Atom>& atoms, bool new_file) {
  const gemmi::Structure structure = MakeStructure(atoms);
  Compare(state, atoms, new_file, [&structure](const std::string& filename) {
    std::ofstream file(filename, std::ios::binary);
    gemmi::write_pdb(structure, file);
  });
}

void AgainstPrintf(benchmark::State& state, const std::vector<Atom>& atoms, bool new_file) {
  Compare(state, atoms, new_file, [&atoms](const std::string& filename) { PrintLines(atoms, filename); });
}

void DimerAgainstGemmi(benchmark::State& state, bool new_file) { AgainstGemmi(state, ActinDimer(), new_file); }
void DimerAgainstPrintf(benchmark::State& state, bool new_file) { AgainstPrintf(state, ActinDimer(), new_file); }

void GrowthAgainstGemmi(benchmark::State& state) {
  AgainstGemmi(state, Dimers(static_cast<std::size_t>(state.range(0))), false);
}
void GrowthAgainstPrintf(benchmark::State& state) {
  AgainstPrintf(state, Dimers(static_cast<std::size_t>(state.range(0))), false);
}

constexpr int kRounds = 100;  // a megabyte or two of new files each
BENCHMARK_CAPTURE(DimerAgainstGemmi, replacing, false)->UseManualTime()->Iterations(kRounds);
BENCHMARK_CAPTURE(DimerAgainstGemmi, new_file, true)->UseManualTime()->Iterations(kRounds);
BENCHMARK_CAPTURE(DimerAgainstPrintf, replacing, false)->UseManualTime()->Iterations(kRounds);
BENCHMARK_CAPTURE(DimerAgainstPrintf, new_file, true)->UseManualTime()->Iterations(kRounds);
constexpr int kLargest = 99999;
BENCHMARK(GrowthAgainstGemmi)->Arg(100)->Arg(1000)->Arg(10000)->Arg(kLargest)->UseManualTime()->Iterations(30);
BENCHMARK(GrowthAgainstPrintf)->Arg(100)->Arg(1000)->Arg(10000)->Arg(kLargest)->UseManualTime()->Iterations(30);

}  // namespace
