// Orienting a molecule by its principal axes through its handle, against Eigen on bare arrays: centroid, second
// moments, closed-form axes and rotation, all in double. Both start from a copy of the same coordinates; the copy is
// part of the time.
#include <benchmark/benchmark.h>
#include <nxbriochem/nxbriochem.h>

#include <Eigen/Dense>
#include <algorithm>
#include <random>
#include <vector>

#include "bench/paired.h"

namespace {

using Points = Eigen::Matrix<float, 3, Eigen::Dynamic>;

// An ellipsoid of unequal axes, turned and away from the origin.
Points ellipsoid(int n) {
  std::mt19937 random(9);
  std::normal_distribution<float> normal;
  const Eigen::Matrix3f turn = Eigen::Quaternionf(0.8F, 0.2F, -0.4F, 0.4F).normalized().toRotationMatrix();
  Points points(3, n);
  for (int i = 0; i < n; ++i) {
    const float x = normal(random);
    const float y = normal(random);
    points.col(i) = turn * Eigen::Vector3f(30 * x, 20 * y, 10 * normal(random)) + Eigen::Vector3f(20, -10, 5);
  }
  return points;
}

void orient_by_eigen(Points& points) {
  const Eigen::Vector3d centre = points.cast<double>().rowwise().mean();
  Eigen::Matrix3d moments = Eigen::Matrix3d::Zero();
  for (Eigen::Index i = 0; i < points.cols(); ++i) {
    const Eigen::Vector3d d = points.col(i).cast<double>() - centre;
    moments += d * d.transpose();
  }
  Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> solver;
  solver.computeDirect(moments);
  // Eigen sorts in ascending order; reversed, the largest extent is along x.
  Eigen::Matrix3d axes = solver.eigenvectors().rowwise().reverse().transpose();
  if (axes.determinant() < 0) {
    axes.row(2) = -axes.row(2);
  }
  for (Eigen::Index i = 0; i < points.cols(); ++i) {
    points.col(i) = (axes * (points.col(i).cast<double>() - centre)).cast<float>();
  }
}

void orient(benchmark::State& state) {
  const auto n = static_cast<int>(state.range(0));
  const Points original = ellipsoid(n);
  const int mol = nx_make_molecule();
  nx_set_molecule_atom_number(n, mol);
  Points theirs;
  const int repeats = std::max(1, 20000 / n);
  bench::paired(
      state, repeats,
      [&] {
        for (int k = 0; k < repeats; ++k) {
          nx_set_molecule_coordinates(original.data(), mol);
          nx_orient_by_moments_of_inertia_with_hydrogens(mol);
        }
      },
      [&] {
        for (int k = 0; k < repeats; ++k) {
          theirs = original;
          orient_by_eigen(theirs);
          benchmark::DoNotOptimize(theirs.data());
        }
      });
  // The signs of two axes are free.
  Points ours(3, n);
  nx_get_molecule_coordinates(ours.data(), mol);
  if ((ours.cwiseAbs() - theirs.cwiseAbs()).cwiseAbs().maxCoeff() > 0.05F) {
    state.SkipWithError("the orientations differ");
  }
  nx_delete_molecule(mol);
}

BENCHMARK(orient)->RangeMultiplier(10)->Range(100, 100000)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace
