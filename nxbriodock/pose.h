// Poses of a rigid ligand: 7 doubles, a quaternion (a, b, c, d) and a translation in angstrom, in the form that
// nx_set_molecule_transform takes as floats. An atom at p, where the ligand was set, goes to M p + t with the M of
// nxbriochem/molecules/briochem.h. So {1, 0, 0, 0, 0, 0, 0} is the ligand as it was set. Quaternions may have any
// length but 0; poses that are written have one of length 1 with a not negative.
#ifndef NXBRIODOCK_POSE_H
#define NXBRIODOCK_POSE_H

#include <nxbriochem/export.h>

NX_BEGIN_DECLS

// The numbers of a pose.
enum { NXD_POSE = 7 };

// Sets the base pose, to which the six variables are relative (energy.h).
NX_API int nxd_set_base_pose(const double* pose, int energy);
// Writes the base pose.
NX_API int nxd_get_base_pose(double* pose, int energy);
// Writes the pose that the six variables x stand for.
NX_API int nxd_get_pose_at(const double* x, double* pose, int energy);
// Writes M, 9 doubles row by row, and the translation, 3 doubles; either may be null.
NX_API int nxd_get_pose_matrix(const double* pose, double* rotation, double* translation);
// Writes the pose of a rotation (9 doubles row by row) and a translation (3 doubles); 0 for what is no rotation.
NX_API int nxd_make_pose(const double* rotation, const double* translation, double* pose);
// Makes the pose a molecule's transform; nx_transform_molecule then moves it.
NX_API int nxd_set_molecule_pose(const double* pose, int mol);
// Writes a molecule's transform as a pose; 0 when none is set.
NX_API int nxd_get_molecule_pose(double* pose, int mol);
// Writes where the ligand's atoms are at a pose: 3 doubles for each.
NX_API int nxd_get_ligand_coordinates(const double* pose, double* coordinates, int energy);

// Writes the root mean square distance of the ligand's atoms at one pose from themselves at another, in place: nothing
// is superposed.
NX_API int nxd_get_pose_rms(const double* pose1, const double* pose2, double* rms, int energy);
// Sorts n poses (7n doubles) into clusters, by energy: the lowest pose that is in none begins the next one, and all
// that are within `cutoff` of it (RMS deviation in place, angstrom) join it. Writes each pose's cluster, counted from 0
// in order of the energies of those that began them, and, unless null, the index of the pose that began each (room for
// n). A pose whose energy is not finite belongs to none, -1. With null energies the order is that of the poses. The
// number of clusters; -1 when it fails.
NX_API int nxd_cluster_poses(const double* poses, const double* energies, int n, double cutoff, int* clusters,
                             int* leaders, int energy);

NX_END_DECLS

#endif
