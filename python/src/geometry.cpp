// Principal frames, superposition and eigenvalues.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include <nxbriochem/toolkit/nxelements.h>

#include "core.h"

namespace nxpy {
namespace {

// What the library leaves out of frames and fits without hydrogens.
bool is_hydrogen(const NxChem::NxAtomBase& atom) {
  const std::string& name = atom.GetName();
  const char first = name.empty() ? NxChem::NxGetAtomicSymbol(atom.GetAtomicNum())[0] : name[0];
  return first == 'H' || first == 'h';
}

int fitted_atoms(const Molecule& molecule, bool hydrogens) {
  int count = 0;
  for (const NxChem::NxAtomBase& atom : molecule.model().GetAtoms()) {
    count += hydrogens || !is_hydrogen(atom) ? 1 : 0;
  }
  return count;
}

// The number of atoms that are compared.
int check_pair(const Molecule& first, const Molecule& second, bool hydrogens) {
  if (first.size() != second.size()) {
    throw py::value_error("two molecules of as many atoms are needed, not of " + std::to_string(first.size()) +
                          " and " + std::to_string(second.size()));
  }
  if (first.size() == 0) {
    throw py::value_error("molecules without atoms cannot be compared");
  }
  const int atoms = fitted_atoms(first, hydrogens);
  if (atoms == 0) {
    throw py::value_error("no atoms but hydrogens, which only hydrogens=True takes in");
  }
  return atoms;
}

void require_finite(double value) {
  if (!std::isfinite(value)) {
    throw Failure("coordinates are not finite or beyond single precision");
  }
}

double rms_as_they_stand(const Molecule& first, const Molecule& second, bool hydrogens, int atoms) {
  const float* a = first.model().CoordData();
  const float* b = second.model().CoordData();
  double sum = 0.0;
  for (const NxChem::NxAtomBase& atom : first.model().GetAtoms()) {
    for (int k = 0; k < 3 && (hydrogens || !is_hydrogen(atom)); ++k) {
      const double d = static_cast<double>(a[k]) - static_cast<double>(b[k]);
      sum += d * d;
    }
    a += 3;
    b += 3;
  }
  return std::sqrt(sum / atoms);
}

double rmsd(const Molecule& first, const Molecule& second, bool fit, bool hydrogens) {
  Session session;
  const int atoms = check_pair(first, second, hydrogens);
  float found = 0.0F;
  if (fit) {
    session.require((hydrogens ? nx_get_rms_using_hydrogens : nx_get_rms)(first.handle(), second.handle(), &found),
                    "the molecules cannot be compared");
  }
  const double value = fit ? static_cast<double>(found) : rms_as_they_stand(first, second, hydrogens, atoms);
  require_finite(value);
  session.end();
  return value;
}

double rmsd_of_points(const py::object& first, const py::object& second, bool fit) {
  const py::array_t<float> a = float_array(first, "a", -1, 3);
  const py::array_t<float> b = float_array(second, "b", a.shape(0), 3);
  if (a.size() == 0) {
    throw py::value_error("no points to compare");
  }
  const Session session;
  if (!fit) {
    double sum = 0.0;
    for (py::ssize_t i = 0; i < a.size(); ++i) {
      const double d = static_cast<double>(a.data()[i]) - static_cast<double>(b.data()[i]);
      sum += d * d;
    }
    return std::sqrt(sum / static_cast<double>(a.shape(0)));
  }
  float found = 0.0F;
  session.require(nx_rms_between_points(a.data(), b.data(), static_cast<int>(a.shape(0)), &found),
                  "the points cannot be compared");
  return static_cast<double>(found);
}

py::array_t<double> square_of(const float* values) {
  py::array_t<double> matrix({3, 3});
  std::copy_n(values, 9, matrix.mutable_data());
  return matrix;
}

py::array_t<double> vector_of(const float* values) {
  py::array_t<double> vector(3);
  std::copy_n(values, 3, vector.mutable_data());
  return vector;
}

py::tuple superpose(const Molecule& reference, const Molecule& moving, bool hydrogens) {
  Session session;
  const int atoms = check_pair(reference, moving, hydrogens);
  const int a = reference.handle();
  const int b = moving.handle();
  std::array<float, 12> motion{};
  float rms = 0.0F;
  session.require(
      (hydrogens ? nx_get_superimpose_matrix_using_hydrogens : nx_get_superimpose_matrix)(a, b, motion.data()),
      "coordinates are not finite or beyond single precision");
  session.require(
      (hydrogens ? nx_superimpose_second_onto_first_with_hydrogens : nx_superimpose_second_onto_first)(a, b, &rms),
      "coordinates are not finite or beyond single precision");
  session.end();
  return py::make_tuple(static_cast<double>(rms), square_of(motion.data()), vector_of(motion.data() + 9), atoms);
}

// A copy without atom names, of which the library takes no atom for a hydrogen by its name: elements go too.
Molecule nameless_copy(const Molecule& molecule) {
  Molecule copy(nx_copy_molecule(molecule.handle()));
  for (NxChem::NxAtomBase& atom : copy.model().GetAtoms()) {
    atom.SetName("X");
  }
  return copy;
}

// The kind of top, in the words of the command-line program.
const char* top_name(const Molecule& molecule, bool hydrogens, bool weighted, const float* moments, float tolerance) {
  constexpr float kLinear = 1e-3F;
  if (moments[0] == 0.0F) {
    return "point";
  }
  if (moments[1] < kLinear * moments[0]) {
    return "linear";
  }
  int (*const perceive)(int, float) = weighted ? nx_perceive_top_symmetry_mass_weighted : nx_perceive_top_symmetry;
  // There is no such function with hydrogens.
  const int symmetry = perceive(hydrogens ? nameless_copy(molecule).handle() : molecule.handle(), tolerance);
  constexpr std::array<const char*, 4> kNames = {"asymmetric", "symmetric, oblate", "symmetric, prolate", "spherical"};
  return kNames.at(static_cast<std::size_t>(symmetry));
}

// Moves the molecule into its principal frame. What is said of it is of the molecule as it was.
py::tuple orient(const Molecule& molecule, bool hydrogens, bool weighted, float tolerance) {
  Session session;
  if (molecule.size() == 0) {
    throw py::value_error("a molecule without atoms has no principal frame");
  }
  // nx_orient_m_i_base's number; the weighted function that is called "with hydrogens" leaves them out.
  constexpr int kWeightedWithHydrogens = 8;
  const int mol = molecule.handle();
  std::array<float, 3> moments{};
  if (weighted && hydrogens) {
    session.require(nx_orient_m_i_base(mol, kWeightedWithHydrogens, moments.data()), "there are no moments");
  } else {
    (weighted    ? nx_moments_of_inertia_mass_weighted
     : hydrogens ? nx_moments_of_inertia_with_hydrogens
                 : nx_moments_of_inertia)(mol, moments.data());
  }
  for (const float moment : moments) {
    require_finite(static_cast<double>(moment));
  }
  const char* const top = top_name(molecule, hydrogens, weighted, moments.data(), tolerance);
  int (*const by_moments)(int) =
      weighted ? (hydrogens ? nx_orient_by_moments_of_inertia_with_hydrogens_mass_weighted
                            : nx_orient_by_moments_of_inertia_mass_weighted)
               : (hydrogens ? nx_orient_by_moments_of_inertia_with_hydrogens : nx_orient_by_moments_of_inertia);
  session.require(by_moments(mol), "coordinates are not finite or beyond single precision");
  std::array<float, 9> rotation{};
  std::array<float, 3> translation{};
  session.require(nx_get_molecule_transform_matrix(rotation.data(), translation.data(), mol), "there is no transform");
  session.end();
  return py::make_tuple(vector_of(moments.data()), square_of(rotation.data()), vector_of(translation.data()), top);
}

// Eigenvalues in descending order, and eigenvectors in columns, of a symmetric matrix.
py::tuple eigh(const py::array_t<double, py::array::c_style>& matrix) {
  const auto n = static_cast<std::size_t>(matrix.shape(0));
  py::array_t<double> values(matrix.shape(0));
  py::array_t<double> vectors({matrix.shape(0), matrix.shape(0)});
  std::vector<double> copy(matrix.data(), matrix.data() + n * n);
  std::vector<double*> rows(n);
  std::vector<double*> columns(n);
  for (std::size_t i = 0; i < n; ++i) {
    rows[i] = copy.data() + i * n;
    columns[i] = vectors.mutable_data() + i * n;
  }
  double* const found = values.mutable_data();
  const Session session;
  const py::gil_scoped_release others_run;
  eigen_solve_double_precision(rows.data(), static_cast<int>(n), found, columns.data());
  const py::gil_scoped_acquire back;
  return py::make_tuple(values, vectors);
}

}  // namespace

void bind_geometry(py::module_& module) {
  module.def("rmsd", &rmsd);
  module.def("rmsd_of_points", &rmsd_of_points);
  module.def("superpose", &superpose);
  module.def("orient", &orient);
  module.def("eigh", &eigh);
}

}  // namespace nxpy
