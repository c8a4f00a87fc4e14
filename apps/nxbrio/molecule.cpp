#include "molecule.h"

#include <nxbriochem/molecules/memmgr.h>
#include <nxbriochem/nxbriochem.h>

#include <algorithm>
#include <map>

#include "failure.h"
#include "nxbriofiles/text.h"

namespace nxbrio {
namespace {

// One value per atom.
template <class T, class Get>
std::vector<T> per_atom(const Structure& structure, Get get) {
  std::vector<T> values;
  values.reserve(structure.atoms.size());
  for (const Atom& atom : structure.atoms) {
    values.push_back(get(atom));
  }
  return values;
}

// One string per atom, each ended by a NUL.
template <class Get>
std::string packed(const Structure& structure, Get get) {
  std::string names;
  for (const Atom& atom : structure.atoms) {
    names += get(atom);
    names += '\0';
  }
  return names;
}

void set_names(const Structure& structure, int mol) {
  const auto name = [](const Atom& atom) { return atom.name; };
  const auto residue = [](const Atom& atom) { return atom.residue; };
  const auto chain = [](const Atom& atom) { return atom.chain; };
  const auto number = [](const Atom& atom) { return atom.residue_number; };
  const auto sequence = [](const Atom& atom) { return atom.sequence_number; };
  std::vector<char> chains = per_atom<char>(structure, chain);
  chains.push_back('\0');
  require(nx_set_molecule_atom_names(packed(structure, name).c_str(), mol), "the atom names");
  require(nx_set_molecule_residue_names(packed(structure, residue).c_str(), mol), "the residue names");
  require(nx_set_molecule_chain_names(chains.data(), mol), "the chain names");
  require(nx_set_molecule_residue_number(per_atom<int>(structure, number).data(), mol), "the residue numbers");
  require(nx_set_molecule_sequence_number(per_atom<int>(structure, sequence).data(), mol), "the sequence numbers");
}

// Sets properties that the flat arrays cannot hold: these have one-letter elements, which many metals lack, and of a
// residue only its name, numbers and chain.
void set_atom_records(const Structure& structure, int mol) {
  const NxChem::NxMolBase& molecule = *NxBrioChem::NxDerefMolHandle(mol);
  int index = 0;
  for (const Atom& from : structure.atoms) {
    NxChem::NxAtomBase& atom = *molecule.GetAtom(index++);
    atom.SetAtomicNum(static_cast<unsigned>(from.element));
    atom.SetFormalCharge(from.formal_charge);
    NxChem::NxResidue residue = NxChem::NxAtomGetResidue(atom);
    residue.SetInsertCode(from.insertion_code);
    residue.SetHetAtom(from.het);
    residue.SetOccupancy(from.occupancy);
    residue.SetBFactor(from.b_factor);
    NxChem::NxAtomSetResidue(atom, residue);
  }
}

void set_bonds(const Structure& structure, int mol) {
  if (structure.bonds.empty()) {
    return;
  }
  std::vector<int> bonds;
  for (const Bond& bond : structure.bonds) {
    bonds.insert(bonds.end(), {bond.begin, bond.end, bond.order});
  }
  require(nx_set_molecule_bond_number(static_cast<int>(structure.bonds.size()), mol), "the number of bonds");
  require(nx_set_molecule_bonds(bonds.data(), mol), "the bonds");
}

std::vector<float> get_floats(int (*get)(float*, int), std::size_t n, int mol) {
  std::vector<float> values(n);
  require(get(values.data(), mol), "to give an array");
  return values;
}

std::vector<float> coordinates_of(const Structure& structure) {
  std::vector<float> coordinates;
  for (const Atom& atom : structure.atoms) {
    coordinates.insert(coordinates.end(), atom.position.begin(), atom.position.end());
  }
  return coordinates;
}

// Updates the molecule with changes made to the structure since it was read: name, positions, removed bonds.
void bring_up_to_date(const Structure& structure, int mol) {
  require(nx_set_molecule_name(structure.name.c_str(), mol), "the name");
  require(nx_set_molecule_coordinates(coordinates_of(structure).data(), mol), "the coordinates");
  if (structure.bonds.empty()) {
    require(nx_set_molecule_bond_number(0, mol), "to take the bonds off");
  }
}

void build(const Structure& structure, int mol) {
  require(nx_set_molecule_name(structure.name.c_str(), mol), "the name");
  require(nx_set_molecule_file_name(structure.path.c_str(), mol), "the file name");
  require(nx_set_molecule_atom_number(static_cast<int>(structure.atoms.size()), mol), "the number of atoms");
  require(nx_set_molecule_coordinates(coordinates_of(structure).data(), mol), "the coordinates");
  set_names(structure, mol);
  set_atom_records(structure, mol);
  const std::vector<float> charges = per_atom<float>(structure, [](const Atom& atom) { return atom.charge; });
  const std::vector<float> radii = per_atom<float>(structure, [](const Atom& atom) { return atom.radius; });
  require(nx_set_molecule_charges(charges.data(), mol), "the charges");
  require(nx_set_molecule_radii(radii.data(), mol), "the radii");
  set_bonds(structure, mol);
}

// Hill's order: carbon, hydrogen, then the rest by the alphabet; without carbon all by the alphabet. Unknown ones last.
std::vector<std::pair<std::string, int>> composition_of(const Structure& structure) {
  std::map<std::string, int> counts;
  for (const Atom& atom : structure.atoms) {
    ++counts[atom.element != 0 ? element_symbol(atom.element) : "?"];
  }
  std::vector<std::pair<std::string, int>> composition(counts.begin(), counts.end());
  const bool organic = counts.count("C") > 0;
  const auto rank = [organic](const std::string& symbol) {
    if (symbol == "?") {
      return 3;
    }
    return !organic ? 2 : symbol == "C" ? 0 : symbol == "H" ? 1 : 2;
  };
  std::stable_sort(composition.begin(), composition.end(),
                   [&](const auto& a, const auto& b) { return rank(a.first) < rank(b.first); });
  return composition;
}

}  // namespace

void require(int status, const char* what) {
  if (status != 1) {
    throw Failure(std::string("the library refused ") + what);
  }
}

Molecule::Molecule(const Structure& structure)
    : handle_(structure.molecule ? nx_copy_molecule(*structure.molecule) : nx_make_molecule()) {
  if (handle_ == 0) {
    throw Failure("the library has no molecule handle left");
  }
  try {
    if (structure.molecule) {
      bring_up_to_date(structure, handle_);
    } else {
      build(structure, handle_);
    }
  } catch (...) {
    nx_delete_molecule(handle_);
    throw;
  }
}

Molecule::~Molecule() { nx_delete_molecule(handle_); }

MoleculeList::MoleculeList() : handle_(nx_make_list()) {
  if (handle_ == 0) {
    throw Failure("the library has no list handle left");
  }
}

MoleculeList::~MoleculeList() { nx_delete_list(handle_); }

void MoleculeList::add(const Molecule& molecule) const {
  require(nx_add_to_list(molecule.handle(), handle_), "to add a molecule to a list");
}

bool bonds_are_complete(const Structure& structure) {
  std::vector<bool> reached(structure.atoms.size());
  bool orders_told = false;
  for (const Bond& bond : structure.bonds) {
    orders_told = orders_told || bond.order > 1;
    reached[static_cast<std::size_t>(bond.begin)] = reached[static_cast<std::size_t>(bond.end)] = true;
  }
  std::map<std::pair<char, int>, int> residue_sizes;
  const auto residue = [](const Atom& atom) { return std::pair{atom.chain, atom.sequence_number}; };
  for (const Atom& atom : structure.atoms) {
    ++residue_sizes[residue(atom)];
  }
  for (std::size_t i = 0; i < reached.size(); ++i) {
    if (!reached[i] && residue_sizes[residue(structure.atoms[i])] > 1) {
      return false;
    }
  }
  return orders_told;
}

void make_bonds_by_distance(const Molecule& molecule) {
  require(nx_make_bonds_by_distance(molecule.handle()), "to make bonds");
}

int bond_number(const Molecule& molecule) { return nx_get_molecule_bond_number(molecule.handle()); }

void apply_transform(const Transform& transform, const Molecule& molecule) {
  require(nx_set_molecule_transform(transform.data(), molecule.handle()), "the transform");
  require(nx_transform_molecule(molecule.handle()), "to transform the molecule");
}

void take_positions(const Molecule& molecule, Structure& structure) {
  const std::vector<float> xyz = get_floats(nx_get_molecule_coordinates, 3 * structure.atoms.size(), molecule.handle());
  const float* from = xyz.data();
  for (Atom& atom : structure.atoms) {
    std::copy_n(from, 3, atom.position.begin());
    from += 3;
  }
}

std::string charge_source(const Structure& structure) { return structure.charge_source; }
std::string radius_source(const Structure& structure) {
  return structure.radius_source == "Bondi" ? "Bondi, by nx_assign_bondi_radii" : structure.radius_source;
}

Summary summarise(const Structure& structure, const Molecule& molecule) {
  const int mol = molecule.handle();
  const int atoms = nx_get_molecule_atom_number(mol);
  const auto n = static_cast<std::size_t>(atoms);
  std::vector<float> xyz = get_floats(nx_get_molecule_coordinates, 3 * n, mol);
  std::vector<float> charges = get_floats(nx_get_molecule_charges, n, mol);
  const std::vector<float> radii = get_floats(nx_get_molecule_radii, n, mol);

  Summary summary;
  summary.file = structure.path;
  summary.name = structure.name;
  summary.format = structure.format;
  summary.composition = composition_of(structure);
  summary.atoms = atoms;
  summary.residues = structure.residues;
  summary.bonds = nx_get_molecule_bond_number(mol);
  summary.chains = structure.chains;
  summary.charge_source = charge_source(structure);
  summary.radius_source = radius_source(structure);
  summary.notes = structure.notes;
  for (const float charge : charges) {
    (charge > 0.0F ? summary.positive_charge : summary.negative_charge) += static_cast<double>(charge);
  }
  summary.net_charge = summary.positive_charge + summary.negative_charge;
  if (summary.negative_charge < 0.0 && summary.positive_charge == 0.0) {
    summary.notes.emplace_back(
        "all charges are negative: the library's monopole is without sign, its centre the sum of |charge| times place");
  }
  float monopole = 0.0F;
  int extra = 0;
  require(nx_calculate_monopole_and_dipole(xyz.data(), charges.data(), atoms, summary.charge_centre.data(), &monopole,
                                           summary.dipole.data(), &extra),
          "to calculate monopole and dipole");
  summary.monopole = static_cast<double>(monopole);
  for (std::size_t axis = 0; axis < 3; ++axis) {
    summary.low[axis] = summary.high[axis] = xyz[axis];
    for (std::size_t i = 1; i < n; ++i) {
      summary.low[axis] = std::min(summary.low[axis], xyz[3 * i + axis]);
      summary.high[axis] = std::max(summary.high[axis], xyz[3 * i + axis]);
    }
  }
  const auto [smallest, largest] = std::minmax_element(radii.begin(), radii.end());
  summary.smallest_radius = *smallest;
  summary.largest_radius = *largest;
  return summary;
}

void drop_repeated_notes(const Summary& first, Summary& second) {
  if (first.file == second.file) {
    std::erase_if(second.notes, [&](const std::string& note) {
      return std::find(first.notes.begin(), first.notes.end(), note) != first.notes.end();
    });
  }
}

Structure make_complex(const Structure& target, const Structure& ligand) {
  Structure both = target;
  both.path.clear();
  both.name = target.name + " with " + ligand.name;
  both.molecule = nullptr;
  both.notes.clear();
  std::string used(target.chains.begin(), target.chains.end());
  used.append(ligand.chains.begin(), ligand.chains.end());
  std::map<char, char> letters;
  for (const char chain : ligand.chains) {
    const bool taken = std::find(target.chains.begin(), target.chains.end(), chain) != target.chains.end();
    const char letter = taken ? free_chain_letter(used) : chain;
    used += letter;
    letters[chain] = letter;
    if (letter != chain) {
      both.notes.push_back(formatted("the ligand's chain '%c' is written as '%c'", chain, letter));
    }
  }
  const int first = static_cast<int>(target.atoms.size());
  for (Atom atom : ligand.atoms) {
    atom.chain = letters[atom.chain];
    both.atoms.push_back(std::move(atom));
  }
  for (const Bond& bond : ligand.bonds) {
    both.bonds.push_back({bond.begin + first, bond.end + first, bond.order});
  }
  return both;
}

float binding_energy(const Molecule& target, const Molecule& ligand, float dielectric) {
  float energy = 0.0F;
  // The result is always 0, so it is not checked.
  nx_calculate_coulombic_binding(target.handle(), ligand.handle(), &energy, dielectric);
  return energy;
}

long long coincident_pairs(const Structure& target, const Structure& ligand) {
  std::map<std::array<float, 3>, long long> places;
  const auto place = [](const Atom& atom) {
    // Adding zero turns -0 into 0, so that both count as the same position.
    return std::array<float, 3>{atom.position[0] + 0.0F, atom.position[1] + 0.0F, atom.position[2] + 0.0F};
  };
  for (const Atom& atom : ligand.atoms) {
    places[place(atom)] += atom.charge != 0.0F ? 1 : 0;
  }
  long long pairs = 0;
  for (const Atom& atom : target.atoms) {
    const auto at = places.find(place(atom));
    pairs += atom.charge != 0.0F && at != places.end() ? at->second : 0;
  }
  return pairs;
}

}  // namespace nxbrio
