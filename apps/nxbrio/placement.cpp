#include "placement.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <numbers>

#include "molecule.h"

namespace nxbrio {
namespace {

// The rigid motion of a pose.
Eigen::Isometry3d motion_of(const Pose& pose) {
  Eigen::Matrix<double, 3, 3, Eigen::RowMajor> rotation;
  Eigen::Vector3d translation;
  require(nxd_get_pose_matrix(pose.data(), rotation.data(), translation.data()), "a pose");
  Eigen::Isometry3d motion = Eigen::Isometry3d::Identity();
  motion.linear() = rotation;
  motion.translation() = translation;
  return motion;
}

bool same_atoms(const Structure& a, const Structure& b) {
  return std::equal(
      a.atoms.begin(), a.atoms.end(), b.atoms.begin(), b.atoms.end(),
      [](const Atom& one, const Atom& two) { return one.element == two.element && one.name == two.name; });
}

}  // namespace

Places places_of(const Structure& structure) {
  Places places(3, structure.atoms.size());
  Eigen::Index k = 0;
  for (const Atom& atom : structure.atoms) {
    places.col(k++) = Eigen::Map<const Eigen::Vector3f>(atom.position.data()).cast<double>();
  }
  return places;
}

Places moved_places(const Structure& structure, const Pose& pose) { return motion_of(pose) * places_of(structure); }

Structure moved(const Structure& structure, const Pose& pose) {
  Structure copy = structure;
  const Places places = moved_places(structure, pose);
  Eigen::Index k = 0;
  for (Atom& atom : copy.atoms) {
    Eigen::Map<Eigen::Vector3f>(atom.position.data()) = places.col(k++).cast<float>();
  }
  return copy;
}

Displacement displacement(const Structure& structure, const Pose& pose) {
  const Eigen::Isometry3d motion = motion_of(pose);
  const Eigen::Vector3d centre = places_of(structure).rowwise().mean();
  Displacement found;
  Eigen::Map<Eigen::Matrix<float, 3, 3, Eigen::RowMajor>>(found.motion.rotation.data()) = motion.linear().cast<float>();
  Eigen::Map<Eigen::Vector3f>(found.motion.translation.data()) = motion.translation().cast<float>();
  found.translation = (motion * centre - centre).norm();
  const Eigen::Quaterniond turn(pose[0], pose[1], pose[2], pose[3]);
  found.rotation = turn.angularDistance(Eigen::Quaterniond::Identity()) * 180.0 / std::numbers::pi;
  return found;
}

std::vector<std::size_t> cluster(const std::vector<const Structure*>& structures, const std::vector<Pose>& poses,
                                 double cutoff) {
  std::vector<std::size_t> leaders;
  std::vector<Places> places;
  std::vector<std::size_t> leader_of;
  for (std::size_t i = 0; i < structures.size(); ++i) {
    Places here = moved_places(*structures[i], poses[i]);
    const double largest = cutoff * cutoff * static_cast<double>(here.cols());
    std::size_t k = 0;
    while (k < leaders.size() &&
           !(same_atoms(*structures[leaders[k]], *structures[i]) && (places[k] - here).squaredNorm() <= largest)) {
      ++k;
    }
    if (k == leaders.size()) {
      leaders.push_back(i);
      places.push_back(std::move(here));
    }
    leader_of.push_back(leaders[k]);
  }
  return leader_of;
}

}  // namespace nxbrio
