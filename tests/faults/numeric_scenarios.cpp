#include <algorithm>
#include <array>

#include <nxbriochem/nxbriochem.h>

#include "tests/faults/scenarios.h"

namespace faults {
namespace {

constexpr int kSize = 4;

int opt;
int terms;

template <class Real>
struct Rows {
  Real cells[kSize][kSize] = {{4, 1, 0, 0.5F}, {1, 3, 1, 0}, {0, 1, 2, 1}, {0.5F, 0, 1, 5}};
  Real* rows[kSize] = {cells[0], cells[1], cells[2], cells[3]};
};

template <class Real>
Real square(Real* x, int n) {
  Real sum = 0;
  for (int i = 0; i < n; ++i) {
    sum += static_cast<Real>(i + 1) * x[i] * x[i];
  }
  return sum;
}

template <class Real>
Real square_gradient(Real* x, Real* gradient, int n) {
  for (int i = 0; i < n; ++i) {
    gradient[i] = static_cast<Real>(2 * (i + 1)) * x[i];
  }
  return square(x, n);
}

template <class Real>
Real square_hessian(Real* x, Real* hessian, int n) {
  std::fill_n(hessian, n * n, Real(0));
  for (int i = 0; i < n; ++i) {
    hessian[i * n + i] = static_cast<Real>(2 * (i + 1));
  }
  return square(x, n);
}

template <class Real>
Real extended(Real* x, int n, int /*handle*/) {
  return square(x, n);
}

template <class Real>
Real extended_gradient(Real* x, Real* gradient, int n, int /*handle*/) {
  return square_gradient(x, gradient, n);
}

template <class Real>
Real extended_hessian(Real* x, Real* hessian, int n, int /*handle*/) {
  return square_hessian(x, hessian, n);
}

void fill_terms() {
  nx_add_energy_function_to_list(square<float>, 0, terms);
  nx_add_energy_function_to_list_double(square<double>, 0, terms);
  nx_add_gradient_function_to_list(square_gradient<float>, 0, terms);
  nx_add_gradient_function_to_list_double(square_gradient<double>, 0, terms);
  nx_add_hessian_function_to_list(square_hessian<float>, 0, terms);
  nx_add_hessian_function_to_list_double(square_hessian<double>, 0, terms);
  nx_add_extended_energy_function_to_list(extended<float>, 1, 0, terms);
  nx_add_extended_energy_function_to_list_double(extended<double>, 1, 0, terms);
  nx_add_extended_gradient_function_to_list(extended_gradient<float>, 1, 0, terms);
  nx_add_extended_gradient_function_to_list_double(extended_gradient<double>, 1, 0, terms);
  nx_add_extended_hessian_function_to_list(extended_hessian<float>, 1, 0, terms);
  nx_add_extended_hessian_function_to_list_double(extended_hessian<double>, 1, 0, terms);
}

void make_optimiser() {
  terms = nx_make_function_list();
  nx_protect_function_list_variables(terms);
  fill_terms();
  opt = nx_init_opt(3, square<double>);
  nx_set_opt_function_list(terms, opt);
  nx_set_opt_gradient_list(terms, opt);
}

void jacobi() {
  Rows<float> a;
  Rows<float> v;
  Rows<double> a2;
  Rows<double> v2;
  float d[kSize];
  double d2[kSize];
  int rotations = 0;
  vf_jacobi(a.rows, kSize, d, v.rows, &rotations);
  vf_jacobi_double_precision(a2.rows, kSize, d2, v2.rows, &rotations);
  eigen_solve(a.rows, kSize, d, v.rows);
  eigen_solve_double_precision(a2.rows, kSize, d2, v2.rows);
  eigen_solve_3_by_3(a.rows, d, v.rows);
}

void eigenvectors() {
  const auto start = std::to_array<double>({4, 1, 0, 0.5, 1, 3, 1, 0, 0, 1, 2, 1, 0.5, 0, 1, 5});
  double d[kSize];
  double e[kSize];
  auto a = start;
  HouseHolderReduction(a.data(), d, e, kSize);
  a = start;
  DetermineEigenVectors(a.data(), d, kSize, 0);
  a = start;
  nx_l_tridiagonalize(a.data(), d, kSize);
  a = start;
  double inverse[kSize * kSize];
  nx_invert_matrix_using_eigenvalues_double(a.data(), inverse, kSize);
  float single[kSize * kSize];
  float result[kSize * kSize];
  std::transform(start.begin(), start.end(), single, [](double x) { return static_cast<float>(x); });
  nx_invert_matrix_using_eigenvalues(single, result, kSize);
  nx_invert_matrix_using_eigenvalues_base(single, result, kSize, 0);
  const float b[] = {1, 2, 3, 4};
  nx_solve_bilinear_equation_f(single, b, result, kSize);
  nx_convert_distance_to_metric_matrix(single, result, kSize);
}

void axes() {
  float m[] = {4, 1, 0, 1, 3, 1, 0, 1, 2};
  const double wide[] = {4, 1, 0, 1, 3, 1, 0, 1, 2};
  float r[9];
  float values[3];
  double roots[3];
  get_roots_3(m, values);
  get_roots_3_3(m, values);
  get_roots_of_3_by_3(m, values);
  get_roots_of_3_by_3_matrix(m, values);
  make_rmat(m, r, 0);
  make_rmat1(m, r, 0);
  make_rmat2(m, r, 0);
  nx_make_rmat(m, r, 0);
  nx_make_rmat2(m, r, roots);
  nx_make_rmat_alt(m, r, roots);
  nx_make_rmat_alt_d(wide, r, roots);
  const float diagonal[] = {3, 0, 0, 0, 2, 0, 0, 0, 1};
  make_rmat(diagonal, r, 0);
  float points[] = {0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 1, 1, 1};
  nx_orient_coordinates_to_inertial_frame(points, 4, 1);
}

void records() {
  float first[3 * NX_RECORD_FLOATS] = {};
  float second[3 * NX_RECORD_FLOATS] = {};
  for (int i = 0; i < 3; ++i) {
    first[i * NX_RECORD_FLOATS] = static_cast<float>(i);
    second[i * NX_RECORD_FLOATS + 1] = static_cast<float>(i + 1);
  }
  const float charges[] = {1, -1, 0.5F};
  const float dipoles[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  nxi_c_bind(first, charges, 3, second, charges, 3, 4);
  nxi_c_bind_cut1(first, charges, 3, second, charges, 3, 4, 1);
  nxi_c_bind_dipolar(first, charges, 3, second, charges, 3, 4, dipoles, dipoles);
}

void function_lists() {
  terms = nx_make_function_list();
  nx_protect_function_list_variables(terms);
  nx_protect_function_list_gradient(terms);
  fill_terms();
  float x[] = {1, 2, 3};
  double x2[] = {1, 2, 3};
  float g[3];
  double g2[3];
  float h[9];
  double h2[9];
  nx_function_list(x, 3, terms);
  nx_function_list_double(x2, 3, terms);
  nx_gradient_list(x, g, 3, terms);
  nx_gradient_list_double(x2, g2, 3, terms);
  nx_hessian_list(x, h, 3, terms);
  nx_hessian_list_double(x2, h2, 3, terms);
  nx_delete_function_list(terms);
}

void many_function_lists() {
  std::array<int, 70> lists{};
  for (int& each : lists) {
    each = nx_make_function_list();
  }
  for (const int each : lists) {
    nx_delete_function_list(each);
  }
}

void optimisers() {
  std::array<int, 70> made{};
  for (int& each : made) {
    each = nx_init_opt(3, square<double>);
  }
  terms = nx_make_function_list();
  fill_terms();
  nx_set_opt_function_list(terms, made[0]);
  nx_set_opt_gradient_list(terms, made[0]);
  nx_set_opt_size(5, made[0]);
  for (const int each : made) {
    nx_clear_opt(each);
    nx_delete_opt(each);
  }
  nx_delete_function_list(terms);
}

// Every method, on the three entry points.
void minimisations() {
  for (const int method : {0, 1, 2, 3}) {
    const int each = nx_init_opt(3, square<double>);
    nx_set_opt_method(each, method);
    nx_set_opt_maximum_iterations(each, 3);
    double value = 0;
    double x[] = {1, 2, 3};
    nx_minimize(x, &value, each);
    nx_set_opt_gradient(square_gradient<double>, each);
    double x2[] = {1, 2, 3};
    nx_minimize_d(x2, &value, each);
    float x3[] = {1, 2, 3};
    float value3 = 0;
    nx_set_opt_hessian(square_hessian<double>, each);
    nx_minimize_f(x3, &value3, each);
    nx_delete_opt(each);
  }
}

void line_searches() {
  for (auto* search : {nxi_au_section, nxi_bi_section, nxi_armijo_section, nx_LineMinimize2}) {
    double x[] = {1, 2, 3};
    double g0[3];
    double g[3];
    double value = square_gradient(x, g0, 3);
    double d[] = {-g0[0], -g0[1], -g0[2]};
    double step = 0.1;
    search(3, x, d, g0, g, &value, &step, opt - 1);
  }
}

}  // namespace

std::vector<Scenario> numeric_scenarios() {
  return {
      {"jacobi", kBlock | kBooks, nullptr, jacobi},
      {"eigenvectors", kBlock | kBooks, nullptr, eigenvectors},
      {"axes", kReturned, nullptr, axes},
      {"records", kBlock | kBooks, nullptr, records},
      {"function_lists", kBlock | kBooks, nullptr, function_lists},
      {"many_function_lists", kBlock | kBooks, nullptr, many_function_lists},
      {"optimisers", kBlock | kBooks, nullptr, optimisers},
      {"minimisations", kBlock | kBooks, nullptr, minimisations},
      {"line_searches", kBlock, make_optimiser, line_searches},
  };
}

}  // namespace faults
