// Which atoms of two structures are compared, and the comparison of a part of them.
#ifndef NXBRIOCHEM_APPS_NXBRIO_MATCHING_H
#define NXBRIOCHEM_APPS_NXBRIO_MATCHING_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "geometry.h"
#include "structure.h"

namespace nxbrio {

// How atoms are paired.
enum class Match {
  // By their order; both structures need the same number of atoms.
  Order,
  // By chain, residue number, insertion code and name.
  Names,
  // By name, in residues that alignments of the chains' sequences pair.
  Residues
};

struct FitOptions {
  Match match = Match::Order;
  // Which atoms of the first structure take part.
  std::optional<std::string> select;
  bool hydrogens = false;
  // Compare the structures as they stand: nothing is superposed.
  bool in_place = false;

  // Whether all atoms are compared by their order, which the library does by itself.
  bool is_plain() const { return match == Match::Order && !select && !in_place; }
};

// Indices of atoms of the first structure and of their partners.
using Pairs = std::vector<std::pair<int, int>>;

// The pairs that take part, in order of the first structure's atoms. Hydrogens are the atoms whose name there starts
// with H or h. Throws Failure when there are none, and UsageError for a faulty selection.
Pairs matched(const Structure& first, const Structure& second, const FitOptions& options);

// The root mean square distance of the pairs as they stand, angstrom.
float rms_in_place(const Structure& first, const Structure& second, const Pairs& pairs);
// The least root mean square distance over proper rotations and translations, and the motion of the second structure
// that gives it.
float least_rms(const Structure& first, const Structure& second, const Pairs& pairs, Motion& motion);
// Moves all atoms.
void apply_motion(const Motion& motion, Structure& structure);

}  // namespace nxbrio

#endif
