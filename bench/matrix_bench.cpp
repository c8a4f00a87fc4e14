// The principal axes of symmetric 3 x 3 matrices against Eigen's closed form, in float and in double, over the same
// matrices. Besides the times: the worst ||M - R^T L R|| / ||M|| and ||R R^T - 1|| of both.
#include <benchmark/benchmark.h>
#include <nxbriochem/geometry/matrix.h>
#include <nxbriochem/geometry/symmetric3_internal.h>

#include <Eigen/Dense>

#include <array>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "bench/paired.h"

namespace {

constexpr int kCount = 4096;

using Floats = std::array<float, 9>;
template <class Real>
using RowMajor = Eigen::Matrix<Real, 3, 3, Eigen::RowMajor>;
template <class Real>
using Solver = Eigen::SelfAdjointEigenSolver<Eigen::Matrix<Real, 3, 3>>;

// Random eigenvalues in random directions, rounded to floats. Kinds: random; clustered, with two or three closer than
// 1e-3 or equal; graded over up to 12 decades; or an axis with a 2 x 2 block, graded by rows and columns.
enum class Kind { random, clustered, graded, graded_rows };
constexpr std::array<const char*, 4> kKinds = {"random", "clustered", "graded", "graded_rows"};

std::vector<Floats> matrices(Kind kind) {
  std::mt19937_64 random(7);
  std::normal_distribution<double> normal;
  std::uniform_real_distribution<double> uniform;
  const auto decades = [&](double least, double most) {
    return std::pow(10.0, least + (most - least) * uniform(random));
  };
  std::vector<Floats> all(kCount);
  for (Floats& floats : all) {
    Eigen::Vector4d q;
    Eigen::Vector3d l;
    for (double& value : q) {
      value = normal(random);
    }
    for (double& value : l) {
      value = kind == Kind::random ? normal(random) : decades(-12, 0);
    }
    if (kind == Kind::clustered) {
      l = {1, 1 + decades(-9, -3), 1 + decades(-9, -3)};
    }
    const Eigen::Matrix3d turn = Eigen::Quaterniond(q).normalized().toRotationMatrix();
    Eigen::Matrix3d m = turn * l.asDiagonal() * turn.transpose();
    if (kind == Kind::graded_rows) {
      const Eigen::Vector3d d = l.cwiseSqrt();
      m = d.asDiagonal() * (turn * Eigen::Vector3d(0.5, 1, 1.5).asDiagonal() * turn.transpose()) * d.asDiagonal();
    }
    // Scaled up, so that make_rmat's absolute tolerances take none of them for diagonal.
    m *= 0x1p60;
    Eigen::Map<RowMajor<float>>(floats.data()) = m.cast<float>().selfadjointView<Eigen::Upper>();
  }
  return all;
}

struct Worst {
  double residual = 0.0;
  double skew = 0.0;

  void add(const Floats& floats, const Eigen::Matrix3d& rows, const Eigen::Vector3d& values) {
    const Eigen::Matrix3d m = Eigen::Map<const RowMajor<float>>(floats.data()).cast<double>();
    residual = std::max(residual, (m - rows.transpose() * values.asDiagonal() * rows).norm() / m.norm());
    skew = std::max(skew, (rows * rows.transpose() - Eigen::Matrix3d::Identity()).norm());
  }
};

template <class Real>
void eigen_axes(const Floats& floats, Solver<Real>& solver) {
  solver.computeDirect(Eigen::Map<const RowMajor<float>>(floats.data()).cast<Real>());
}

// make_rmat against Eigen in Real.
template <class Real>
void compare(benchmark::State& state, Kind kind) {
  const std::vector<Floats> all = matrices(kind);
  Worst ours;
  Worst ours_double;
  Worst theirs;
  Solver<Real> solver;
  Floats r = {};
  std::array<double, 3> roots = {};
  int statuses = 0;
  for (const Floats& m : all) {
    statuses += nx_make_rmat_alt(m.data(), r.data(), roots.data()) == 1 ? 1 : 0;
    ours.add(m, Eigen::Map<RowMajor<float>>(r.data()).cast<double>(), Eigen::Vector3d(roots.data()));
    std::array<double, 9> wide;
    std::copy(m.begin(), m.end(), wide.begin());
    const symmetric3::PrincipalAxes axes = symmetric3::principal_axes(wide);
    ours_double.add(m, Eigen::Map<const RowMajor<double>>(axes.axes.data()), Eigen::Vector3d(axes.values.data()));
    eigen_axes<Real>(m, solver);
    theirs.add(m, solver.eigenvectors().transpose().template cast<double>(),
               solver.eigenvalues().template cast<double>());
  }
  bench::paired(
      state, kCount,
      [&] {
        for (const Floats& m : all) {
          benchmark::DoNotOptimize(make_rmat(m.data(), r.data(), 0));
          benchmark::DoNotOptimize(r);
        }
      },
      [&] {
        for (const Floats& m : all) {
          eigen_axes<Real>(m, solver);
          benchmark::DoNotOptimize(solver);
        }
      });
  state.counters["status_1"] = statuses;
  state.counters["residual"] = ours.residual;
  state.counters["residual_unrounded"] = ours_double.residual;
  state.counters["yardstick_residual"] = theirs.residual;
  state.counters["skew"] = ours.skew;
  state.counters["yardstick_skew"] = theirs.skew;
}

bool register_all() {
  for (std::size_t k = 0; k < kKinds.size(); ++k) {
    const Kind kind{static_cast<int>(k)};
    const std::string name = std::string("make_rmat/") + kKinds[k];
    benchmark::RegisterBenchmark((name + "/eigen_float").c_str(),
                                 [kind](benchmark::State& state) { compare<float>(state, kind); })
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark((name + "/eigen_double").c_str(),
                                 [kind](benchmark::State& state) { compare<double>(state, kind); })
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond);
  }
  return true;
}

const bool registered = register_all();

}  // namespace
