// Jacobi's method against the plain sweep at -O2 (paired.h's counters: below 1 is faster than the yardstick): whole
// calls, with their work vectors on both sides, and each instruction set. Then against Eigen's solver, which uses
// another method and need not reproduce the sweep's bits; and the eigenvector iteration by size.
#include <benchmark/benchmark.h>
#include <nxbriochem/geometry/eigen_jag.h>
#include <nxbriochem/geometry/instruction_set_internal.h>
#include <nxbriochem/geometry/jacobi_sweeps_internal.h>
#include <nxbriochem/geometry/r_eig.h>

#include <tests/support/plain_jacobi.h>
#include <tests/support/symmetric_matrices.h>
#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cstdlib>
#include <random>
#include <vector>

#include "bench/paired.h"

namespace {

using instruction_set::InstructionSet;
using test_support::Square;

#if defined(__clang__)
#define YARDSTICK __attribute__((noinline))
#else
#define YARDSTICK __attribute__((noinline, optimize("O2")))
#endif

template <class T>
YARDSTICK void yardstick(T** a, int n, T* d, T** v, int* nrot) {
  auto* b = static_cast<T*>(std::malloc(static_cast<std::size_t>(n) * sizeof(T)));
  auto* z = static_cast<T*>(std::malloc(static_cast<std::size_t>(n) * sizeof(T)));
  test_support::plain_jacobi(a, n, d, v, nrot, b, z);
  std::free(b);
  std::free(z);
}

void jacobi(float** a, int n, float* d, float** v, int* nrot) { vf_jacobi(a, n, d, v, nrot); }
void jacobi(double** a, int n, double* d, double** v, int* nrot) { vf_jacobi_double_precision(a, n, d, v, nrot); }

// Copies of one random matrix, enough of them for a time that can be measured; each call destroys its copy.
template <class T>
class Matrices {
 public:
  explicit Matrices(int n) : n_(n), v_(n), d_(v_.n), b_(v_.n), z_(v_.n), rows_(v_.rows()) {
    std::mt19937 random(60);
    original_ = test_support::random_symmetric<T>(random, n).elements;
    copies_.resize(static_cast<std::size_t>(n < 20 ? 2000 / n : 1), Square<T>(n));
  }

  int count() const { return static_cast<int>(copies_.size()); }
  const std::vector<T>& original() const { return original_; }

  // Copying the matrix is part of the time, on both sides.
  template <class Solver>
  void solve_all(Solver solver) {
    for (Square<T>& copy : copies_) {
      std::copy(original_.begin(), original_.end(), copy.elements.begin());
      solver(copy.rows(), n_, d_.data(), rows_, &nrot_);
      benchmark::DoNotOptimize(d_.data());
      benchmark::ClobberMemory();
    }
  }

  void solve_all_with(InstructionSet set) {
    solve_all([this, set](T** a, int n, T* d, T** v, int* nrot) {
      eigen_jag::diagonalise(a, n, d, v, nrot, b_.data(), z_.data(), set);
    });
  }

 private:
  int n_;
  Square<T> v_;
  std::vector<T> d_;
  std::vector<T> b_;
  std::vector<T> z_;
  T** rows_;
  std::vector<T> original_;
  std::vector<Square<T>> copies_;
  int nrot_ = 0;
};

template <class T>
void against_plain_sweep(benchmark::State& state) {
  Matrices<T> matrices(static_cast<int>(state.range(0)));
  bench::paired(
      state, matrices.count(),
      [&] { matrices.solve_all([](T** a, int n, T* d, T** v, int* nrot) { jacobi(a, n, d, v, nrot); }); },
      [&] { matrices.solve_all([](T** a, int n, T* d, T** v, int* nrot) { yardstick(a, n, d, v, nrot); }); });
}

template <class T>
void version_against_plain_sweep(benchmark::State& state) {
  const auto set = static_cast<InstructionSet>(state.range(1));
  state.SetLabel(instruction_set::name_of(set));
  Matrices<T> matrices(static_cast<int>(state.range(0)));
  bench::paired(
      state, matrices.count(), [&] { matrices.solve_all_with(set); },
      [&] { matrices.solve_all([](T** a, int n, T* d, T** v, int* nrot) { yardstick(a, n, d, v, nrot); }); });
}

template <class T>
void against_eigen(benchmark::State& state) {
  using Matrix = Eigen::Matrix<T, Eigen::Dynamic, Eigen::Dynamic>;
  const int n = static_cast<int>(state.range(0));
  Matrices<T> matrices(n);
  const Matrix matrix = Eigen::Map<const Matrix>(matrices.original().data(), n, n);
  Eigen::SelfAdjointEigenSolver<Matrix> solver(n);
  bench::paired(
      state, matrices.count(),
      [&] { matrices.solve_all([](T** a, int size, T* d, T** v, int* nrot) { jacobi(a, size, d, v, nrot); }); },
      [&] {
        for (int i = 0; i < matrices.count(); ++i) {
          solver.compute(matrix);
          benchmark::DoNotOptimize(solver.eigenvalues().data());
        }
      });
}

void eigenvector_iteration(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  std::mt19937 random(61);
  const Square<double> a = test_support::random_symmetric<double>(random, n);
  const Eigen::MatrixXd matrix = Eigen::Map<const Eigen::MatrixXd>(a.elements.data(), n, n);
  Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> solver(n);
  std::vector<double> values(a.n);
  bench::paired(
      state, 1,
      [&] {
        std::vector<double> v = a.elements;
        benchmark::DoNotOptimize(DetermineEigenVectors(v.data(), values.data(), n, 2));
      },
      [&] {
        solver.compute(matrix);
        benchmark::DoNotOptimize(solver.eigenvalues().data());
      });
}

const std::vector<int64_t> kSizes = {3, 10, 50, 200};

std::vector<int64_t> supported_sets() {
  std::vector<int64_t> sets;
  for (const InstructionSet set : instruction_set::supported()) {
    sets.push_back(static_cast<int64_t>(set));
  }
  return sets;
}

BENCHMARK(against_plain_sweep<float>)->ArgsProduct({kSizes})->UseManualTime();
BENCHMARK(against_plain_sweep<double>)->ArgsProduct({kSizes})->UseManualTime();
BENCHMARK(version_against_plain_sweep<float>)->ArgsProduct({{50, 200}, supported_sets()})->UseManualTime();
BENCHMARK(version_against_plain_sweep<double>)->ArgsProduct({{50, 200}, supported_sets()})->UseManualTime();
BENCHMARK(against_eigen<float>)->ArgsProduct({kSizes})->UseManualTime();
BENCHMARK(against_eigen<double>)->ArgsProduct({kSizes})->UseManualTime();
BENCHMARK(eigenvector_iteration)->Arg(10)->Arg(30)->Arg(100)->Arg(300)->UseManualTime();

}  // namespace
