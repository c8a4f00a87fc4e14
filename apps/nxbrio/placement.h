// Where a rigid ligand goes at a pose of libnxbriodock, and how far.
#ifndef NXBRIOCHEM_APPS_NXBRIO_PLACEMENT_H
#define NXBRIOCHEM_APPS_NXBRIO_PLACEMENT_H

#include <nxbriodock/nxbriodock.h>

#include <Eigen/Core>
#include <array>
#include <vector>

#include "geometry.h"
#include "structure.h"

namespace nxbrio {

using Pose = std::array<double, NXD_POSE>;
inline constexpr Pose kStart{1, 0, 0, 0, 0, 0, 0};

// A column for each atom, angstrom.
using Places = Eigen::Matrix3Xd;
Places places_of(const Structure& structure);
Places moved_places(const Structure& structure, const Pose& pose);
// A copy that stands at the pose.
Structure moved(const Structure& structure, const Pose& pose);

// The motion from the start to the pose, and its sizes.
struct Displacement {
  Motion motion;
  // Of the centre, angstrom; of the ligand, degrees.
  double translation = 0.0;
  double rotation = 0.0;
};
Displacement displacement(const Structure& structure, const Pose& pose);

// Sorts structures into clusters: the first that is in none begins the next one, and all of the same atoms join it that
// are within `cutoff` of it, as root mean square distance in place, angstrom. For each structure, which one began its
// cluster.
std::vector<std::size_t> cluster(const std::vector<const Structure*>& structures, const std::vector<Pose>& poses,
                                 double cutoff);

}  // namespace nxbrio

#endif
