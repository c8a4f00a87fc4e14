#include "tests/support/frames.h"

#include <Eigen/Eigenvalues>

namespace test_support {

ExactPoints exact(const std::vector<float>& xyz) {
  return Eigen::Matrix3Xf::Map(xyz.data(), 3, static_cast<Eigen::Index>(xyz.size() / 3)).cast<long double>();
}

ExactVector centre_of(const ExactPoints& p, const Weights& weights) { return p.lazyProduct(weights) / weights.sum(); }
ExactVector centre_of(const ExactPoints& p) { return centre_of(p, Weights::Ones(p.cols())); }

ExactMatrix<3> second_moments_of(const ExactPoints& p, const Weights& weights) {
  return (p * weights.asDiagonal()).lazyProduct(p.transpose());
}

ExactVector exact_eigenvalues(const ExactMatrix<3>& m) {
  return Eigen::SelfAdjointEigenSolver<ExactMatrix<3>>(m, Eigen::EigenvaluesOnly).eigenvalues();
}

double exact_rms(const std::vector<float>& first, const std::vector<float>& second) {
  ExactPoints a = exact(first);
  ExactPoints b = exact(second);
  a.colwise() -= centre_of(a);
  b.colwise() -= centre_of(b);
  const ExactMatrix<3> s = b.lazyProduct(a.transpose());
  const ExactVector axial(s(1, 2) - s(2, 1), s(2, 0) - s(0, 2), s(0, 1) - s(1, 0));
  ExactMatrix<4> horn;
  horn << s.trace(), axial.transpose(), axial, s + s.transpose() - s.trace() * ExactMatrix<3>::Identity();
  const auto values = Eigen::SelfAdjointEigenSolver<ExactMatrix<4>>(horn, Eigen::EigenvaluesOnly).eigenvalues();
  const long double left = a.squaredNorm() + b.squaredNorm() - 2 * values[3];
  return static_cast<double>(std::sqrt(std::max(left, 0.0L) / static_cast<long double>(a.cols())));
}

}  // namespace test_support
