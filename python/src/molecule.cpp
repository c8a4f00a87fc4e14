// Molecules as wholes: made, copied, in parts, moved; their conformers, radii, charges and bonds.
#include <algorithm>
#include <climits>
#include <cmath>

#include <nxbriochem/toolkit/nxelements.h>
// Not installed: where columns of atoms lie.
#include <nxbriochem/toolkit/nxchem_internal.h>

#include "atom_arrays.h"
#include "molecule_state.h"

namespace nxpy {
namespace {

using NxChem::NxAtomBase;
using NxChem::NxAtomStore;
using NxChem::NxMCMolBase;

NxAtomStore& store_of(NxMCMolBase& mol) { return NxChem::NxMolInternals::Store(mol); }

Molecule make(py::ssize_t atoms) {
  if (atoms < 0 || atoms > INT_MAX / 3) {
    refuse("elements", "fewer atoms", std::to_string(atoms));
  }
  Session session;
  Molecule molecule(nx_make_molecule());
  session.require(nx_set_molecule_atom_number(static_cast<int>(atoms), molecule.handle()), "no memory for the atoms");
  session.end();
  return molecule;
}

Molecule copy(const Molecule& molecule) {
  const Session session;
  return Molecule(nx_copy_molecule(molecule.handle()));
}

Molecule part(const Molecule& molecule, const py::array_t<bool, py::array::c_style | py::array::forcecast>& mask) {
  if (mask.ndim() != 1 || mask.size() != molecule.size()) {
    refuse("mask", "shape (" + std::to_string(molecule.size()) + ",)", shape_of(mask));
  }
  const Session session;
  std::vector<int> entries(mask.data(), mask.data() + mask.size());
  entries.push_back(0);  // never empty: null stands for all atoms
  auto chosen = std::make_unique<NxChem::NxMol>(molecule.model(), entries.data());
  Molecule made(NxBrioChem::NxAcquireHandle(*chosen));
  static_cast<void>(chosen.release());
  return made;
}

std::string name(const Molecule& molecule) {
  const Session session;
  return molecule.model().GetTitle();
}

void set_name(const Molecule& molecule, const std::string& text) {
  if (text.find('\0') != std::string::npos) {
    refuse("name", "a string without NUL characters", "one with them");
  }
  const Session session;
  molecule.model().SetTitle(text);
}

int conformers(const Molecule& molecule) {
  const Session session;
  return nx_get_molecule_conformer_number(molecule.handle());
}

void set_conformers(const Molecule& molecule, int n) {
  if (n < 1) {
    refuse("n_conformers", "a number above 0", std::to_string(n));
  }
  const Session session;
  const int mol = molecule.handle();
  if (n < nx_get_molecule_conformer_number(mol) && molecule.body().coordinate_views > 0) {
    PyErr_SetString(PyExc_BufferError, "conformers cannot be taken away while arrays of coordinates are in use");
    throw py::error_already_set();
  }
  // From the end; the library would take the first ones. The active one stays if it can.
  NxMCMolBase& model = molecule.model();
  while (static_cast<int>(model.NumConfs()) > n) {
    NxChem::NxConfBase* last = nullptr;
    for (NxChem::NxConfBase& conformer : model.GetConfs()) {
      last = &conformer;
    }
    model.DeleteConf(last);
  }
  session.require(nx_set_molecule_conformer_number(n, mol), "no memory for the conformers");
}

// Conformers are counted from 0 in their order; indices in the library may have gaps.
int active_conformer(const Molecule& molecule) {
  const Session session;
  int place = 0;
  for (const NxChem::NxConfBase& conformer : molecule.model().GetConfs()) {
    if (&conformer == molecule.model().GetActive()) {
      return place;
    }
    ++place;
  }
  return place;
}

void set_active_conformer(const Molecule& molecule, int wanted) {
  const Session session;
  NxMCMolBase& model = molecule.model();
  int place = 0;
  for (NxChem::NxConfBase& conformer : model.GetConfs()) {
    if (place++ == wanted) {
      model.SetActive(&conformer);
      return;
    }
  }
  refuse("active_conformer", "0 to " + std::to_string(place - 1), std::to_string(wanted));
}

// Whether 9 floats are a rotation, as far as single precision and printed tables tell.
bool is_rotation(const float* r) {
  constexpr double kNearly = 1e-3;
  const auto at = [r](int i, int k) { return static_cast<double>(r[3 * i + k]); };
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) {
      const double product = at(i, 0) * at(j, 0) + at(i, 1) * at(j, 1) + at(i, 2) * at(j, 2);
      if (std::abs(product - (i == j ? 1.0 : 0.0)) > kNearly) {
        return false;
      }
    }
  }
  return at(0, 0) * (at(1, 1) * at(2, 2) - at(1, 2) * at(2, 1)) -
             at(0, 1) * (at(1, 0) * at(2, 2) - at(1, 2) * at(2, 0)) +
             at(0, 2) * (at(1, 0) * at(2, 1) - at(1, 1) * at(2, 0)) >
         0.0;
}

void transform(const Molecule& molecule, const py::object& rotation, const py::object& translation) {
  py::array_t<float> turn;
  py::array_t<float> move;
  if (!rotation.is_none()) {
    turn = float_array(rotation, "rotation", 3, 3);
    if (!is_rotation(turn.data())) {
      refuse("rotation", "a proper rotation matrix", "one that stretches, shears or mirrors");
    }
  }
  if (!translation.is_none()) {
    move = float_array(translation, "translation", 3, 0);
  }
  Session session;
  const int mol = molecule.handle();
  session.require(nx_set_molecule_transform_matrix(rotation.is_none() ? nullptr : turn.data(),
                                                   translation.is_none() ? nullptr : move.data(), mol),
                  "the library refuses the rotation");
  session.require(nx_transform_molecule(mol), "the library refuses the motion");
  session.end();
}

// Whether atoms are called by their elements, as they are where nobody has named them.
bool are_named_by_elements(NxMCMolBase& mol) {
  for (const NxAtomBase& atom : mol.GetAtoms()) {
    const std::string_view symbol = NxChem::NxGetAtomicSymbol(atom.GetAtomicNum());
    if (name_of(atom) != symbol && !(atom.GetAtomicNum() == 0 && name_of(atom) == "X")) {
      return false;
    }
  }
  return true;
}

void assign_radii(const Molecule& molecule) {
  Session session;
  const int mol = molecule.handle();
  if (molecule.size() == 0) {
    return;
  }
  if (!are_named_by_elements(molecule.model())) {
    session.require(nx_assign_bondi_radii(mol), "no radii: no atom has a name");
    return session.end();
  }
  // Of a molecule without names the library takes the callers' atom types for atomic numbers.
  const Molecule nameless(nx_copy_molecule(mol));
  nxi_unset_molecule_atom_names(nameless.handle());
  NxAtomStore& store = store_of(nameless.model());
  std::copy_n(store.AtomicNums(), store.Size(), store.IntTypes());
  // It refuses a molecule of nothing but unknown elements, which have no radius.
  if (nx_assign_bondi_radii(nameless.handle()) != 1) {
    std::fill_n(store.Radii(), store.Size(), 0.0F);
  }
  std::copy_n(store.Radii(), store.Size(), store_of(molecule.model()).Radii());
  session.end();
}

void assign_charges(const Molecule& molecule) {
  Session session;
  session.require(nx_charge_protein(molecule.handle()), "no charges: no atom has a name");
  session.end();
}

void perceive_bonds(const Molecule& molecule) {
  Session session;
  const int mol = molecule.handle();
  int status = 0;
  {
    const py::gil_scoped_release others_run;
    status = nx_make_bonds_by_distance(mol);
  }
  session.require(status, "bonds cannot be made");
  session.end();
}

}  // namespace

void bind_molecule(py::module_& module) {
  py::class_<Molecule> type(module, "Molecule");
  bind_atom_arrays(type);
  type.def(py::init(&make), py::arg("atoms"))
      .def("__len__", [](const Molecule& molecule) { return molecule.size(); })
      .def_property_readonly("handle", &Molecule::handle)
      .def_property_readonly("closed", &Molecule::closed)
      .def("close", &Molecule::close)
      .def_property("name", &name, &set_name)
      .def("_copy", &copy)
      .def("_part", &part)
      .def("_state", &state_of)
      .def_static("_from_state", &from_state)
      .def_property("n_conformers", &conformers, &set_conformers)
      .def_property("active_conformer", &active_conformer, &set_active_conformer)
      .def("transform", &transform, py::arg("rotation") = py::none(), py::arg("translation") = py::none())
      .def("assign_radii", &assign_radii)
      .def("assign_charges", &assign_charges)
      .def("perceive_bonds", &perceive_bonds);
}

}  // namespace nxpy
