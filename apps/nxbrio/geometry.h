// Principal frames of molecules and superpositions of two, by the library's geometry.
#ifndef NXBRIOCHEM_APPS_NXBRIO_GEOMETRY_H
#define NXBRIOCHEM_APPS_NXBRIO_GEOMETRY_H

#include <array>
#include <string>

#include "molecule.h"

namespace nxbrio {

// x' = rotation x + translation; the rotation row by row, the translation in angstrom.
struct Motion {
  std::array<float, 9> rotation{};
  std::array<float, 3> translation{};
};

// Which atoms make a principal frame, and whether each counts by the cube of its radius. Hydrogens are the atoms whose
// name starts with H or h.
struct FrameChoice {
  bool hydrogens = false;
  bool weighted = false;
};

// The extents along the principal axes, largest first: the square root of sum(w d^2) / n over the n atoms that take
// part, at the distances d from the centre along the axis. Angstrom with w = 1, angstrom^2.5 weighted.
using Moments = std::array<float, 3>;
Moments principal_moments(const Molecule& molecule, FrameChoice choice);

// The result of nx_perceive_top_symmetry for these moments.
int top_symmetry(const Molecule& molecule, FrameChoice choice, float tolerance);
// The name of the result. Moments here are extents: two equal large ones mean a disc (oblate), two equal small ones a
// rod (prolate). It is linear when both extents across the axis are below a thousandth of the largest.
std::string top_name(int symmetry, const Moments& moments);

// A molecule in its principal frame: its extents, and the motion that brought it there.
struct Orientation {
  FrameChoice choice;
  Moments moments{};
  Motion motion;
};
// Turns and moves the molecule into its principal frame; the motion stays its transform.
Orientation orient_molecule(const Molecule& molecule, FrameChoice choice);
// Moves one molecule by another one's transform.
void move_along(const Molecule& leader, const Molecule& follower);

// The least RMS deviation of two molecules with equal numbers of atoms, angstrom.
float least_rms(const Molecule& first, const Molecule& second, bool hydrogens);
// Moves the second onto the first and gives the RMS deviation; `motion` is what moved it.
float move_onto(const Molecule& first, const Molecule& second, bool hydrogens, Motion& motion);

// The number of atoms that take part in a superposition onto the molecule.
int fitted_atoms(const Molecule& molecule, bool hydrogens);

}  // namespace nxbrio

#endif
