// Poses and distances between them.
#include <nxbriochem/molecules/briochem.h>
#include <nxbriodock/pose.h>

#include <Eigen/LU>
#include <algorithm>
#include <cmath>
#include <numeric>

#include "energy_object.h"
#include "reports.h"

namespace nxbriodock {
namespace {

using RowMajor = Eigen::Matrix<double, 3, 3, Eigen::RowMajor>;

// The allowed deviation of a matrix from a rotation, enough for the rounding of floats and files.
constexpr double kNearlyRotation = 1e-3;

// Computed from the mean product of arms, without a loop over atoms: the mean square of (R1 - R2) a + m1 - m2, where
// the arms a have the mean 0.
double rms_between(const Energy& energy, const Placement& a, const Placement& b) {
  const Matrix3 turn = a.rotation - b.rotation;
  const double square = (turn * energy.spread * turn.transpose()).trace() + (a.move - b.move).squaredNorm();
  return std::sqrt(std::max(square, 0.0));
}

void require_ligand(const Energy& energy) {
  if (!energy.has_ligand()) {
    throw Refused("the energy has no ligand");
  }
}

}  // namespace
}  // namespace nxbriodock

using namespace nxbriodock;

int nxd_set_base_pose(const double* pose, int energy) {
  return guarded("nxd_set_base_pose", 0, [&] {
    const auto object = energy_of(energy);
    require_ligand(*object);
    object->base = object->placement_of_pose(pose);
    return 1;
  });
}

int nxd_get_base_pose(double* pose, int energy) {
  return guarded("nxd_get_base_pose", 0, [&] {
    const auto object = energy_of(energy);
    write_pose(object->base, object->centre, needed(pose, "pose"));
    return 1;
  });
}

int nxd_get_pose_at(const double* x, double* pose, int energy) {
  return guarded("nxd_get_pose_at", 0, [&] {
    const auto object = energy_of(energy);
    require_ligand(*object);
    const Placement placement = object->placement_at(needed(x, "x"));
    if (!placement.rotation.allFinite() || !placement.move.allFinite()) {
      throw Refused("x is not finite");
    }
    write_pose(placement, object->centre, needed(pose, "pose"));
    return 1;
  });
}

int nxd_get_pose_matrix(const double* pose, double* rotation, double* translation) {
  return guarded("nxd_get_pose_matrix", 0, [&] {
    Placement placement;
    if (!placement_of(needed(pose, "pose"), Vector3::Zero(), placement)) {
      throw Refused("the pose has no rotation or is not finite");
    }
    if (rotation != nullptr) {
      Eigen::Map<RowMajor> out(rotation);
      out = placement.rotation;
    }
    if (translation != nullptr) {
      Eigen::Map<Vector3> out(translation);
      out = placement.move;
    }
    return 1;
  });
}

int nxd_make_pose(const double* rotation, const double* translation, double* pose) {
  return guarded("nxd_make_pose", 0, [&] {
    Placement placement;
    placement.rotation = Eigen::Map<const RowMajor>(needed(rotation, "rotation"));
    placement.move = Vector3(needed(translation, "translation"));
    const Matrix3 product = placement.rotation * placement.rotation.transpose();
    // The negated comparison also refuses values that are not finite.
    if (!((product - Matrix3::Identity()).cwiseAbs().maxCoeff() < kNearlyRotation) ||
        placement.rotation.determinant() < 0.0 || !placement.move.allFinite()) {
      throw Refused("this is no rotation and translation");
    }
    write_pose(placement, Vector3::Zero(), needed(pose, "pose"));
    return 1;
  });
}

int nxd_set_molecule_pose(const double* pose, int mol) {
  return guarded("nxd_set_molecule_pose", 0, [&] {
    Placement placement;
    if (!placement_of(needed(pose, "pose"), Vector3::Zero(), placement)) {
      throw Refused("the pose has no rotation or is not finite");
    }
    float transform[NXD_POSE];
    std::transform(pose, pose + NXD_POSE, transform, [](double value) { return static_cast<float>(value); });
    return nx_set_molecule_transform(transform, mol);
  });
}

int nxd_get_molecule_pose(double* pose, int mol) {
  return guarded("nxd_get_molecule_pose", 0, [&] {
    float transform[NXD_POSE];
    if (nx_get_molecule_transform(transform, mol) == 0) {
      throw Refused("the molecule has no transform");
    }
    double given[NXD_POSE];
    std::transform(transform, transform + NXD_POSE, given, [](float value) { return static_cast<double>(value); });
    Placement placement;
    if (!placement_of(given, Vector3::Zero(), placement)) {
      throw Refused("the molecule's transform has no rotation or is not finite");
    }
    write_pose(placement, Vector3::Zero(), needed(pose, "pose"));
    return 1;
  });
}

int nxd_get_ligand_coordinates(const double* pose, double* coordinates, int energy) {
  return guarded("nxd_get_ligand_coordinates", 0, [&] {
    const auto object = energy_of(energy);
    require_ligand(*object);
    needed(coordinates, "coordinates");
    const Placement placement = object->placement_of_pose(pose);
    for (std::size_t i = 0; i < object->arms.size(); ++i) {
      Eigen::Map<Vector3> out(coordinates + 3 * i);
      out = object->place_of(i, placement);
    }
    return 1;
  });
}

int nxd_get_pose_rms(const double* pose1, const double* pose2, double* rms, int energy) {
  return guarded("nxd_get_pose_rms", 0, [&] {
    const auto object = energy_of(energy);
    require_ligand(*object);
    const Placement a = object->placement_of_pose(pose1);
    const Placement b = object->placement_of_pose(pose2);
    *needed(rms, "rms") = rms_between(*object, a, b);
    return 1;
  });
}

int nxd_cluster_poses(const double* poses, const double* energies, int n, double cutoff, int* clusters, int* leaders,
                      int energy) {
  return guarded("nxd_cluster_poses", -1, [&] {
    const auto object = energy_of(energy);
    require_ligand(*object);
    if (n < 0 || !(cutoff >= 0.0)) {
      throw Refused("%d poses, cutoff %g", n, cutoff);
    }
    if (n == 0) {
      return 0;
    }
    needed(poses, "poses");
    needed(clusters, "clusters");
    const auto count = static_cast<std::size_t>(n);
    std::vector<Placement> placements;
    for (std::size_t i = 0; i < count; ++i) {
      placements.push_back(object->placement_of_pose(poses + NXD_POSE * i));
    }
    std::vector<std::size_t> order(count);
    std::iota(order.begin(), order.end(), std::size_t{0});
    if (energies != nullptr) {
      std::erase_if(order, [&](std::size_t i) { return !std::isfinite(energies[i]); });
      std::stable_sort(order.begin(), order.end(),
                       [&](std::size_t a, std::size_t b) { return energies[a] < energies[b]; });
    }
    std::vector<int> cluster_of(count, -1);
    std::vector<std::size_t> begun_by;
    for (const std::size_t i : order) {
      const auto near = std::find_if(begun_by.begin(), begun_by.end(), [&](std::size_t leader) {
        return rms_between(*object, placements[leader], placements[i]) <= cutoff;
      });
      cluster_of[i] = static_cast<int>(near - begun_by.begin());
      if (near == begun_by.end()) {
        begun_by.push_back(i);
      }
    }
    std::copy(cluster_of.begin(), cluster_of.end(), clusters);
    if (leaders != nullptr) {
      std::transform(begun_by.begin(), begun_by.end(), leaders, [](std::size_t i) { return static_cast<int>(i); });
    }
    return static_cast<int>(begun_by.size());
  });
}
