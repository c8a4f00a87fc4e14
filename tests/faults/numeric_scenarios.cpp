#include <algorithm>

#include <nxbriochem/nxbriochem.h>

#include "tests/faults/scenarios.h"

namespace faults {
namespace {

constexpr int kSize = 4;

int number;
int opt;
int terms;
float out[32];
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

std::vector<Scenario> numeric_scenarios() {
  return {
      // Matrices and eigenvectors.
      CALL(vf_jacobi, kBlock | kBooks, nullptr, (single.rows, 4, single.values, single.vectors, &number)),
      CALL(vf_jacobi_double_precision, kBlock | kBooks, nullptr, (wide.rows, 4, wide.values, wide.vectors, &number)),
      CALL(eigen_solve, kBlock | kBooks, nullptr, (single.rows, 4, single.values, single.vectors)),
      CALL(eigen_solve_double_precision, kBlock | kBooks, nullptr, (wide.rows, 4, wide.values, wide.vectors)),
      CALL(eigen_solve_3_by_3, kBlock | kBooks, nullptr, (single.rows, single.values, single.vectors)),
      CALL(HouseHolderReduction, kBlock | kBooks, nullptr, (wide.cells[0], wide.values, wide.more, 4)),
      CALL(DetermineEigenVectors, kBlock | kBooks, nullptr, (wide.cells[0], wide.values, 4, 2)),
      CALL(nx_l_tridiagonalize, kBlock | kBooks, nullptr, (wide.cells[0], wide.values, 4)),
      CALL(nx_invert_matrix_using_eigenvalues, kBlock | kBooks, nullptr, (single.cells[0], out, 4)),
      CALL(nx_invert_matrix_using_eigenvalues_double, kBlock | kBooks, nullptr, (wide.cells[0], wide.more, 4)),
      CALL(nx_invert_matrix_using_eigenvalues_base, kBlock | kBooks, nullptr, (single.cells[0], out, 4, 1)),
      CALL(nx_solve_bilinear_equation_f, kBlock | kBooks, nullptr, (single.cells[0], single.cells[1], out, 4)),
      CALL(nx_convert_distance_to_metric_matrix, kBlock | kBooks, nullptr, (single.cells[0], out, 4)),
      CALL(get_roots_3, kWithout, nullptr, (tensor, out)),
      CALL(get_roots_3_3, kWithout, nullptr, (tensor, out)),
      CALL(get_roots_of_3_by_3, kWithout, nullptr, (tensor, out)),
      CALL(get_roots_of_3_by_3_matrix, kWithout, nullptr, (tensor, out)),
      CALL(make_rmat, kWithout, nullptr, (tensor, out, 0)),
      CALL(make_rmat1, kWithout, nullptr, (tensor, out, 0)),
      CALL(make_rmat2, kWithout, nullptr, (tensor, out, 0)),
      CALL(nx_make_rmat, kWithout, nullptr, (tensor, out, 0)),
      CALL(nx_make_rmat2, kWithout, nullptr, (tensor, out, wide.values)),
      CALL(nx_make_rmat_alt, kWithout, nullptr, (tensor, out, wide.values)),
      CALL(nx_make_rmat_alt_d, kWithout, nullptr, (wide_tensor, out, wide.values)),
      CALL(nx_orient_coordinates_to_inertial_frame, kWithout, nullptr, (out, 3, 1)),
      // Binding.
      CALL(nxi_c_bind, kBlock | kBooks, nullptr, (kAtoms, kCharges, 2, kAtoms + 18, kCharges, 2, 4)),
      CALL(nxi_c_bind_dipolar, kBlock | kBooks, nullptr,
           (kAtoms, kCharges, 2, kAtoms + 18, kCharges, 2, 4, kAtoms, kAtoms)),
      // Optimisers and function lists.
      CALL(nx_make_function_list, kBlock | kBooks, nullptr, ()),
      CALL(nx_init_opt, kBlock | kBooks, nullptr, (3, square<double>)),
      CALL(nx_add_energy_function_to_list, kBlock, terms_alone, (square<float>, 0, terms)),
      CALL(nx_add_energy_function_to_list_double, kBlock, terms_alone, (square<double>, 0, terms)),
      CALL(nx_add_gradient_function_to_list, kBlock, terms_alone, (square_gradient<float>, 0, terms)),
      CALL(nx_add_gradient_function_to_list_double, kBlock, terms_alone, (square_gradient<double>, 0, terms)),
      CALL(nx_add_hessian_function_to_list, kBlock, terms_alone, (square_hessian<float>, 0, terms)),
      CALL(nx_add_hessian_function_to_list_double, kBlock, terms_alone, (square_hessian<double>, 0, terms)),
      CALL(nx_add_extended_energy_function_to_list, kBlock, terms_alone, (square<float, int>, 1, 0, terms)),
      CALL(nx_add_extended_energy_function_to_list_double, kBlock, terms_alone, (square<double, int>, 1, 0, terms)),
      CALL(nx_add_extended_gradient_function_to_list, kBlock, terms_alone, (square_gradient<float, int>, 1, 0, terms)),
      CALL(nx_add_extended_gradient_function_to_list_double, kBlock, terms_alone,
           (square_gradient<double, int>, 1, 0, terms)),
      CALL(nx_add_extended_hessian_function_to_list, kBlock, terms_alone, (square_hessian<float, int>, 1, 0, terms)),
      CALL(nx_add_extended_hessian_function_to_list_double, kBlock, terms_alone,
           (square_hessian<double, int>, 1, 0, terms)),
      CALL(nx_function_list, kBlock, optimiser, (out, 3, terms)),
      CALL(nx_function_list_double, kBlock, optimiser, (wide.values, 3, terms)),
      CALL(nx_gradient_list, kBlock, optimiser, (out, out + 3, 3, terms)),
      CALL(nx_gradient_list_double, kBlock, optimiser, (wide.values, wide.more, 3, terms)),
      CALL(nx_delete_function_list, kBlock, optimiser, (terms)),
      CALL(nx_set_opt_size, kBlock, optimiser, (100000, opt)),
      CALL(nx_minimize, kBlock, optimiser, (wide.values, wide.more, opt)),
      CALL(nx_minimize_d, kBlock, optimiser, (wide.values, wide.more, opt)),
      CALL(nx_minimize_f, kBlock, optimiser, (out, out + 3, opt)),
      CALL(LineMinimize, kBlock, optimiser,
           (3, line.x, line.d, line.g0, line.g, &line.value, &(line.step = 0.1), opt - 1)),
      CALL(nxi_au_section, kBlock, optimiser,
           (3, line.x, line.d, line.g0, line.g, &line.value, &(line.step = 0.1), opt - 1)),
      CALL(nxi_bi_section, kBlock, optimiser,
           (3, line.x, line.d, line.g0, line.g, &line.value, &(line.step = 0.1), opt - 1)),
      CALL(nxi_armijo_section, kBlock, optimiser,
           (3, line.x, line.d, line.g0, line.g, &line.value, &(line.step = 0.1), opt - 1)),
      CALL(nx_LineMinimize2, kBlock, optimiser,
           (3, line.x, line.d, line.g0, line.g, &line.value, &(line.step = 0.1), opt - 1)),
      CALL_AS("many function lists", kBlock | kBooks, nullptr, times<70>([] { nx_make_function_list(); })),
      CALL_AS("many optimisers", kBlock | kBooks, nullptr, times<69>([] { nx_init_opt(3, square<double>); })),
      CALL_AS("minimisation by method 0", kBlock, optimiser, minimise(0)),
      CALL_AS("minimisation by method 1", kBlock, optimiser, minimise(1)),
      CALL_AS("minimisation by method 2", kBlock, optimiser, minimise(2)),
  };
}

}  // namespace faults
