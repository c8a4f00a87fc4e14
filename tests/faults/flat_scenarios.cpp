// The states that the rows of tests/driver/calls.def put the process into before a call whose allocations fail, and the
// rows themselves.
#include <algorithm>
#include <cstdio>
#include <string>

#include <nxbriochem/nxbriochem.h>

#include "tests/faults/failing_heap.h"
#include "tests/faults/scenarios.h"
#include "tests/support/flat_molecule.h"

namespace faults {

std::string written_path;

namespace {

int list;
int number;
float out[64];
int ints[64] = {1, 2, 3, 4, 5, 6, 7, 8, 9};

// ---- Registry, memory, files

int object;
uint32_t handle;
void* block;
std::FILE* stream;
int* cursor;
int members[200];

void tracked() { block = nx_malloc(8); }

void types() { nxi_register_object(14, "ECONSTRUCT", 16, 2); }

void objects() {
  list = nx_make_list();
  object = nx_make_list();
  nx_add_to_list(object, list);
  nx_add_to_list(5, object);
  cursor = members;
}

void padded() {
  objects();
  nxi_set_memory_padding(object, 1);
  block = nx_object_malloc(object, 100, 8, "padded", nullptr);
}

void large() {
  objects();
  for (int i = 0; i < 40; ++i) {
    nx_object_malloc_new(object, 1, 4, "many");
  }
}

void saved() {
  objects();
  stream = std::tmpfile();
  nx_attach_floats_to_object("values", 20, object);
  nxi_write_memory_table(stream, object);
}

// A table whose owner is no object, so that the report of exhausted memory must look the owner up while the registry is
// being made.
void owned_elsewhere() { nxi_add_memory_table(1); }

void many_objects() {
  for (int i = 0; i < 16383; ++i) {
    nx_make_list();
  }
}

void opened() { stream = nxi_fopen("/dev/null", "r"); }

std::FILE* rewound() {
  std::rewind(stream);
  return stream;
}

const char* lengthy() {
  static const std::string digits = (faults::Aside(), std::string(1999, '0'));
  return digits.c_str();
}

// ---- Molecules

int mol;
int other;
char text[100];

constexpr const char* kLongText = "a text that is too long to be kept within the string itself";
constexpr const char* kLongNames = "A\0B\0C\0D\0E\0F\0G\0H\0CCCCCCCCCCCCCCCCCCCCCCCCCCCCCCCC\0";
constexpr float kTurn[] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
constexpr int kBonds[] = {0, 1, 1, 1, 2, 1};
// Unusual bond orders are stored separately.
constexpr int kOddBonds[] = {0, 1, 1000, 1, 2, 1000};
constexpr PdbStruct kRecords[2] = {};

// The heavy atoms of propionamide and a hydrogen, followed by a ring of three: chains, rings, two residues. No tags
// exist: those of masks, transforms and file names are made at their first use, which is then the call under test.
void bare() {
  mol = test_support::make_molecule({{"CA", "ALA", 0, 0, 0, 0.1F},
                                     {"CB", "ALA", 1.53F, 0, 0, -0.1F},
                                     {"C", "ALA", 2.1F, 1.4F, 0, 0.5F},
                                     {"O", "ALA", 1.4F, 2.4F, 0, -0.5F},
                                     {"N", "NME", 3.4F, 1.5F, 0, -0.3F},
                                     {"HN", "NME", 3.9F, 0.7F, 0, 0.3F},
                                     {"C1", "CPR", 4.1F, 2.8F, 0, 0},
                                     {"C2", "CPR", 4.9F, 3.2F, 1.2F, 0},
                                     {"C3", "CPR", 5.4F, 3.3F, -0.2F, 0}});
  nx_set_molecule_element("CCCONHCCC", mol);
  const float radii[] = {1.7F, 1.7F, 1.7F, 1.5F, 1.6F, 1.1F, 1.7F, 1.7F, 1.7F};
  nx_set_molecule_radii(radii, mol);
}

void bonded() {
  bare();
  nx_make_bonds_by_distance(mol);
  other = nx_copy_molecule(mol);
  list = nx_make_list();
  nx_add_to_list(mol, list);
  nx_add_to_list(other, list);
}

// Atoms were deleted, so that the remaining points are copied before they are superposed.
void thinned() {
  bonded();
  for (const int each : {mol, other}) {
    nx_set_molecule_atom_number(nx_get_molecule_atom_number(each) - 1, each);
  }
}

void turned() {
  bare();
  nx_set_molecule_transform(kTurn, mol);
}

// A changed bond makes the next query perceive rings again.
void unperceived() {
  bonded();
  nx_set_molecule_bonds_element(kBonds, 0, mol);
}

void unnamed() {
  mol = nx_make_molecule();
  nx_set_molecule_atom_number(9, mol);
}

void unwired() {
  unnamed();
  nx_set_molecule_bond_number(2, mol);
}

// Names too long for a string's internal buffer, so that they are allocated. A residue record that changes is copied
// with its name.
void long_names() {
  bare();
  std::string names;
  for (int i = 0; i < 9; ++i) {
    names += kLongText + std::string(1, '\0');
  }
  nx_set_molecule_residue_names(names.c_str(), mol);
  nx_set_molecule_atom_names(names.c_str(), mol);
  nx_set_molecule_name(kLongText, mol);
}

// ---- Numbers

constexpr int kSize = 4;

int opt;
int terms;
float tensor[] = {3, 0, 0, 0, 2, 0, 0, 0, 1};  // diagonal: sorted
constexpr double wide_tensor[] = {3, 0, 0, 0, 2, 0, 0, 0, 1};

constexpr float kAtoms[4 * NX_RECORD_FLOATS] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 1, 1, 1, 1, 1,
                                                1, 1, 1, 5, 5, 5, 1, 0, 0, 0, 0, 0, 3, 2, 1};
constexpr float kCharges[] = {1, -1};

template <class Real>
struct Matrix {
  Real cells[kSize][kSize] = {{4, 1, 0, 0.5F}, {1, 3, 1, 0}, {0, 1, 2, 1}, {0.5F, 0, 1, 5}};
  Real* rows[kSize] = {cells[0], cells[1], cells[2], cells[3]};
  Real eigenvectors[kSize][kSize] = {};
  Real* vectors[kSize] = {eigenvectors[0], eigenvectors[1], eigenvectors[2], eigenvectors[3]};
  Real values[kSize] = {1, 2, 3, 4};
  Real more[kSize * kSize] = {};
};
Matrix<float> single;
Matrix<double> wide;

struct {
  double x[3] = {1, 2, 3};
  double g0[3] = {2, 8, 18};
  double d[3] = {-2, -8, -18};
  double g[3] = {};
  double value = 36;
  double step = 0.1;
} line;

// Callbacks, plain or with handles.
template <class Real, class... Handle>
Real square(Real* x, int n, Handle...) {
  Real sum = 0;
  for (int i = 0; i < n; ++i) {
    sum += static_cast<Real>(i + 1) * x[i] * x[i];
  }
  return sum;
}

template <class Real, class... Handle>
Real square_gradient(Real* x, Real* gradient, int n, Handle...) {
  for (int i = 0; i < n; ++i) {
    gradient[i] = static_cast<Real>(2 * (i + 1)) * x[i];
  }
  return square(x, n);
}

template <class Real, class... Handle>
Real square_hessian(Real* x, Real* hessian, int n, Handle...) {
  std::fill_n(hessian, n * n, Real(0));
  for (int i = 0; i < n; ++i) {
    hessian[i * n + i] = static_cast<Real>(2 * (i + 1));
  }
  return square(x, n);
}

void terms_alone() { terms = nx_make_function_list(); }

void optimiser() {
  terms_alone();
  nx_protect_function_list_variables(terms);
  nx_protect_function_list_gradient(terms);
  nx_add_energy_function_to_list(square<float>, 0, terms);
  nx_add_energy_function_to_list_double(square<double>, 0, terms);
  nx_add_gradient_function_to_list(square_gradient<float>, 0, terms);
  nx_add_gradient_function_to_list_double(square_gradient<double>, 0, terms);
  opt = nx_init_opt(3, square<double>);
  nx_set_opt_function_list(terms, opt);
  nx_set_opt_gradient_list(terms, opt);
}

int minimise(int method) {
  nx_set_opt_method(opt, method);
  nx_set_opt_hessian(square_hessian<double>, opt);
  std::fill_n(wide.values, 3, 1.0);
  return nx_minimize_d(wide.values, wide.more, opt);
}

}  // namespace

std::vector<Family> flat_families() {
  std::vector<Family> families;
#define HEADER(stem) families.push_back({#stem, {}});
#define PLAIN(function, kinds)
#define PURE(function, kinds)
#define ENDS(function, kinds)
#define FAILS(...) families.back().scenarios.push_back(CALL(__VA_ARGS__));
#define FAILS_AS(...) families.back().scenarios.push_back(CALL_AS(__VA_ARGS__));
#include "tests/driver/calls.def"
  std::erase_if(families, [](const Family& family) { return family.scenarios.empty(); });
  return families;
}

}  // namespace faults
