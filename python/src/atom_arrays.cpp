// Arrays of atoms: views of the columns that lie in the molecule as floats, copies in and out of all else.
#include <algorithm>
#include <array>
#include <cstring>

#include <nxbriochem/toolkit/nxelements.h>
// Not installed: where columns of atoms lie.
#include <nxbriochem/toolkit/nxchem_internal.h>

#include "atom_arrays.h"

namespace nxpy {
namespace {

using NxChem::NxAtomBase;
using NxChem::NxAtomStore;
using NxChem::NxBondBase;
using NxChem::NxMCMolBase;
using NxChem::NxResidue;

NxAtomStore& store_of(NxMCMolBase& mol) { return NxChem::NxMolInternals::Store(mol); }

// A writable view of floats that a molecule owns, and keeps as long as the view lives. Atoms never move: a Molecule
// makes them all at once.
py::array view_of(const std::shared_ptr<Body>& body, float* values, std::vector<py::ssize_t> shape) {
  using Holder = std::shared_ptr<Body>;
  const py::capsule owner(new Holder(body), [](void* holder) { delete static_cast<Holder*>(holder); });
  return py::array_t<float>(std::move(shape), values, owner);
}

// As view_of, of the active conformer's coordinates, which must stay too.
py::array view_of_coordinates(const Molecule& molecule) {
  const Session session;
  struct Holder {
    explicit Holder(std::shared_ptr<Body> of) : body(std::move(of)) { ++body->coordinate_views; }
    Holder(const Holder&) = delete;
    Holder& operator=(const Holder&) = delete;
    ~Holder() { --body->coordinate_views; }
    std::shared_ptr<Body> body;
  };
  auto* const values = const_cast<float*>(molecule.model().CoordData());
  const py::capsule owner(new Holder(molecule.shared()), [](void* holder) { delete static_cast<Holder*>(holder); });
  return py::array_t<float>({py::ssize_t{molecule.size()}, py::ssize_t{3}}, values, owner);
}

template <float* (NxAtomStore::*column)() const>
py::array view_of_column(const Molecule& molecule) {
  const Session session;
  return view_of(molecule.shared(), (store_of(molecule.model()).*column)(), {py::ssize_t{molecule.size()}});
}

void set_coordinates(const Molecule& molecule, const py::object& values) {
  const py::array_t<float> floats = float_array(values, "coordinates", molecule.size(), 3);
  const Session session;
  // What is assigned may be a view of them, such as the rows in another order.
  std::memmove(const_cast<float*>(molecule.model().CoordData()), floats.data(),
               static_cast<std::size_t>(floats.size()) * sizeof(float));
}

template <float* (NxAtomStore::*column)() const>
void set_column(const Molecule& molecule, const py::object& values, const char* argument) {
  const py::array_t<float> floats = float_array(values, argument, molecule.size(), 0);
  const Session session;
  std::memmove((store_of(molecule.model()).*column)(), floats.data(),
               static_cast<std::size_t>(floats.size()) * sizeof(float));
}

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(' ');
  return first == std::string_view::npos ? std::string_view{}
                                         : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// ---- What is no column of floats

template <class Get>
py::array_t<int> ints_of(const Molecule& molecule, Get get) {
  const Session session;
  py::array_t<int> values(molecule.size());
  int* out = values.mutable_data();
  for (const NxAtomBase& atom : molecule.model().GetAtoms()) {
    *out++ = get(atom);
  }
  return values;
}

template <class Get>
py::array texts_of_atoms(const Molecule& molecule, Get get) {
  const Session session;
  std::vector<std::string_view> texts;
  texts.reserve(static_cast<std::size_t>(molecule.size()));
  for (const NxAtomBase& atom : molecule.model().GetAtoms()) {
    texts.push_back(get(atom));
  }
  return string_array(texts);
}

const NxResidue& residue_of(const NxAtomBase& atom) { return NxChem::NxAtomGetResidue(atom); }

// A blank, which stands for none, becomes an empty string.
py::array single_characters(const Molecule& molecule, char (NxResidue::*get)() const) {
  const Session session;
  std::string characters;
  for (const NxAtomBase& atom : molecule.model().GetAtoms()) {
    characters += (residue_of(atom).*get)();
  }
  std::vector<std::string_view> texts;
  for (const char& character : characters) {
    texts.emplace_back(&character, character == ' ' ? 0 : 1);
  }
  return string_array(texts);
}

py::array elements(const Molecule& molecule) {
  return texts_of_atoms(molecule, [](const NxAtomBase& atom) {
    const std::string_view symbol = NxChem::NxGetAtomicSymbol(atom.GetAtomicNum());
    return symbol == "Du" ? std::string_view("X") : symbol;
  });
}

// Symbols or atomic numbers; "X", "Du" and "" are an unknown element.
std::vector<unsigned> atomic_numbers(const py::object& values, py::ssize_t n) {
  constexpr int kMost = 118;
  const py::array array = as_array(values, "elements");
  std::vector<unsigned> numbers;
  if (array.dtype().kind() == 'i' || array.dtype().kind() == 'u') {
    const py::array_t<int> ints = int_array(array, "elements", n, 0);
    for (py::ssize_t i = 0; i < ints.size(); ++i) {
      const int number = ints.data()[i];
      if (number < 0 || number > kMost) {
        refuse("elements", "symbols or atomic numbers from 0 to 118", std::to_string(number));
      }
      numbers.push_back(static_cast<unsigned>(number));
    }
    return numbers;
  }
  for (const std::string& symbol : text_array(array, "elements", n)) {
    const std::string_view text = trimmed(symbol);
    const unsigned number = NxChem::NxGetAtomicNum(text);
    if (number == 0 && !text.empty() && text != "X" && text != "Du") {
      refuse("elements", "symbols or atomic numbers", "'" + symbol + "'");
    }
    numbers.push_back(number);
  }
  return numbers;
}

void set_elements(const Molecule& molecule, const py::object& values) {
  const std::vector<unsigned> numbers = atomic_numbers(values, molecule.size());
  const Session session;
  auto number = numbers.begin();
  for (NxAtomBase& atom : molecule.model().GetAtoms()) {
    atom.SetAtomicNum(*number++);
  }
}

void set_names(const Molecule& molecule, const py::object& values) {
  const std::vector<std::string> names = text_array(values, "names", molecule.size());
  const Session session;
  auto name = names.begin();
  for (NxAtomBase& atom : molecule.model().GetAtoms()) {
    atom.SetName(*name++);
  }
}

// A residue begins where chain, number, insertion code or name differ from those of the chain's atom before; its place
// in its chain is what files of some formats go by.
void number_residues(NxMCMolBase& mol) {
  struct Chain {
    NxResidue last;
    int residues = 0;
  };
  std::array<Chain, 256> chains{};
  for (NxAtomBase& atom : mol.GetAtoms()) {
    NxResidue residue = residue_of(atom);
    Chain& chain = chains[static_cast<unsigned char>(residue.GetChainID())];
    if (chain.residues == 0 || chain.last.GetResidueNumber() != residue.GetResidueNumber() ||
        chain.last.GetInsertCode() != residue.GetInsertCode() || chain.last.GetName() != residue.GetName()) {
      ++chain.residues;
      chain.last = residue;
    }
    residue.SetSequenceNumber(chain.residues);
    NxChem::NxAtomSetResidue(atom, residue);
  }
}

// Changes each atom's residue record by change(record, value).
template <class Values, class Change>
void change_residues(const Molecule& molecule, const Values& values, Change change) {
  const Session session;
  const auto* value = values.data();
  for (NxAtomBase& atom : molecule.model().GetAtoms()) {
    NxResidue residue = residue_of(atom);
    if (!NxChem::NxHasResidue(atom)) {
      residue.SetName("UNL");
    }
    change(residue, *value++);
    NxChem::NxAtomSetResidue(atom, residue);
  }
  number_residues(molecule.model());
}

void set_residue_names(const Molecule& molecule, const py::object& values) {
  change_residues(molecule, text_array(values, "residue_names", molecule.size()),
                  [](NxResidue& residue, const std::string& name) { residue.SetName(name); });
}

void set_residue_numbers(const Molecule& molecule, const py::object& values) {
  const py::array_t<int> numbers = int_array(values, "residue_numbers", molecule.size(), 0);
  change_residues(molecule, numbers, [](NxResidue& residue, int number) { residue.SetResidueNumber(number); });
}

void set_chains(const Molecule& molecule, const py::object& values) {
  const std::vector<std::string> chains = text_array(values, "chains", molecule.size());
  for (const std::string& chain : chains) {
    if (chain.size() > 1) {
      refuse("chains", "single characters", "'" + chain + "'");
    }
  }
  change_residues(molecule, chains, [](NxResidue& residue, const std::string& chain) {
    residue.SetChainID(chain.empty() ? ' ' : chain[0]);
  });
}

void set_insertion_codes(const Molecule& molecule, const py::object& values) {
  const std::vector<std::string> codes = text_array(values, "insertion_codes", molecule.size());
  for (const std::string& code : codes) {
    if (code.size() > 1) {
      refuse("insertion_codes", "single characters", "'" + code + "'");
    }
  }
  change_residues(molecule, codes, [](NxResidue& residue, const std::string& code) {
    residue.SetInsertCode(code.empty() ? ' ' : code[0]);
  });
}

void set_formal_charges(const Molecule& molecule, const py::object& values) {
  const py::array_t<int> charges = int_array(values, "formal_charges", molecule.size(), 0);
  const Session session;
  const int* charge = charges.data();
  for (NxAtomBase& atom : molecule.model().GetAtoms()) {
    atom.SetFormalCharge(*charge++);
  }
}

// ---- Bonds

py::array_t<int> bonds(const Molecule& molecule) {
  const Session session;
  std::vector<int> rows;
  for (const NxBondBase& bond : molecule.model().GetBonds()) {
    if (bond.GetBgnIdx() >= 0 && bond.GetEndIdx() >= 0) {
      rows.insert(rows.end(), {bond.GetBgnIdx(), bond.GetEndIdx(), bond.GetOrder()});
    }
  }
  py::array_t<int> table({static_cast<py::ssize_t>(rows.size() / 3), py::ssize_t{3}});
  std::copy(rows.begin(), rows.end(), table.mutable_data());
  return table;
}

py::array_t<int> checked_bonds(const py::object& values, int atoms) {
  const py::array array = as_array(values, "bonds");
  const bool without_orders = array.ndim() == 2 && array.shape(1) == 2;
  py::array_t<int> rows = int_array(array, "bonds", -1, without_orders ? 2 : 3);
  const py::ssize_t width = without_orders ? 2 : 3;
  const py::ssize_t n = rows.size() / width;
  py::array_t<int> table({n, py::ssize_t{3}});
  int* out = table.mutable_data();
  for (py::ssize_t i = 0; i < n; ++i, out += 3) {
    const int* row = rows.data() + width * i;
    std::copy_n(row, 2, out);
    out[2] = without_orders ? 1 : row[2];
    if (std::min(out[0], out[1]) < 0 || std::max(out[0], out[1]) >= atoms || out[0] == out[1]) {
      refuse("bonds", "two atoms below " + std::to_string(atoms),
             std::to_string(out[0]) + " and " + std::to_string(out[1]));
    }
    if (out[2] < 0 || out[2] > 4) {
      refuse("bonds", "orders from 0 to 4", std::to_string(out[2]));
    }
  }
  return table;
}

void set_bonds(const Molecule& molecule, const py::object& values) {
  const py::array_t<int> table = checked_bonds(values, molecule.size());
  const Session session;
  NxMCMolBase& mol = molecule.model();
  // Those that are there are wired anew, so that indices do not grow without end.
  const int* row = table.data();
  const int* const end = row + table.size();
  std::vector<NxBondBase*> surplus;
  for (NxBondBase& bond : mol.GetBonds()) {
    if (row == end) {
      surplus.push_back(&bond);
      continue;
    }
    bond.SetBgn(mol.GetAtom(row[0]));
    bond.SetEnd(mol.GetAtom(row[1]));
    bond.SetOrder(row[2]);
    row += 3;
  }
  for (NxBondBase* const bond : surplus) {
    mol.DeleteBond(bond);
  }
  for (; row != end; row += 3) {
    mol.NewBond(mol.GetAtom(row[0]), mol.GetAtom(row[1]), row[2]);
  }
}

}  // namespace

std::string_view name_of(const NxAtomBase& atom) {
  const std::string& own = atom.GetName();
  return own.empty() ? NxChem::NxGetAtomicSymbol(atom.GetAtomicNum()) : trimmed(own);
}

void bind_atom_arrays(py::class_<Molecule>& type) {
  type.def_property("coordinates", &view_of_coordinates, &set_coordinates)
      .def_property("charges", &view_of_column<&NxAtomStore::PartialCharges>,
                    [](const Molecule& molecule, const py::object& values) {
                      set_column<&NxAtomStore::PartialCharges>(molecule, values, "charges");
                    })
      .def_property("radii", &view_of_column<&NxAtomStore::Radii>,
                    [](const Molecule& molecule, const py::object& values) {
                      set_column<&NxAtomStore::Radii>(molecule, values, "radii");
                    })
      .def("_get_elements", &elements)
      .def("_set_elements", &set_elements)
      .def("_get_atomic_numbers",
           [](const Molecule& molecule) {
             return ints_of(molecule, [](const NxAtomBase& atom) { return static_cast<int>(atom.GetAtomicNum()); });
           })
      .def("_get_formal_charges",
           [](const Molecule& molecule) {
             return ints_of(molecule, [](const NxAtomBase& atom) { return atom.GetFormalCharge(); });
           })
      .def("_set_formal_charges", &set_formal_charges)
      .def("_get_names", [](const Molecule& molecule) { return texts_of_atoms(molecule, name_of); })
      .def("_set_names", &set_names)
      .def("_get_residue_names",
           [](const Molecule& molecule) {
             return texts_of_atoms(molecule,
                                   [](const NxAtomBase& atom) { return trimmed(residue_of(atom).GetName()); });
           })
      .def("_set_residue_names", &set_residue_names)
      .def("_get_residue_numbers",
           [](const Molecule& molecule) {
             return ints_of(molecule, [](const NxAtomBase& atom) { return residue_of(atom).GetResidueNumber(); });
           })
      .def("_set_residue_numbers", &set_residue_numbers)
      .def("_get_chains", [](const Molecule& molecule) { return single_characters(molecule, &NxResidue::GetChainID); })
      .def("_set_chains", &set_chains)
      .def("_get_insertion_codes",
           [](const Molecule& molecule) { return single_characters(molecule, &NxResidue::GetInsertCode); })
      .def("_set_insertion_codes", &set_insertion_codes)
      .def("_get_bonds", &bonds)
      .def("_set_bonds", &set_bonds);
}

}  // namespace nxpy
