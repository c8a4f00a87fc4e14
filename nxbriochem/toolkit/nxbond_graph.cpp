#include <nxbriochem/toolkit/nxbond_graph_internal.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include <nxbriochem/toolkit/nxelements.h>
#include <nxbriochem/toolkit/nxvalence_internal.h>
#include <nxbriochem/util/vector3_internal.h>

namespace NxChem {
namespace {

using vector3::cross;
using vector3::dot;
using vector3::minus;
using vector3::Vector;

constexpr unsigned kNone = std::numeric_limits<unsigned>::max();
constexpr double kDegrees = 180.0 / std::numbers::pi;
constexpr std::size_t kLargestFlatRing = 6;
// Ring search stops at atoms with more ring bonds than any organic ring atom has.
constexpr std::size_t kMostRingBonds = 4;

double AngleBetween(const Vector& a, const Vector& b) {
  const Vector normal = cross(a, b);
  return std::atan2(std::sqrt(dot(normal, normal)), dot(a, b)) * kDegrees;
}

double Distance(const Vector& a, const Vector& b) {
  const Vector d = minus(a, b);
  return std::sqrt(dot(d, d));
}

// A dative bond, of a nonmetal's lone pair to a metal. Carbon and hydrogen form ordinary bonds to metals, and so do
// halogens to metals without a known charge.
bool IsDative(unsigned z1, unsigned z2) {
  const unsigned metal = NxIsMetal(z1) ? z1 : z2;
  const unsigned other = NxIsMetal(z1) ? z2 : z1;
  if (!NxIsMetal(metal) || NxIsMetal(other)) {
    return false;
  }
  return other != 6 && other != 1 && !(NxIsHalogen(other) && NxMetalIonCharge(metal) == 0);
}

}  // namespace

NxBondGraph::NxBondGraph(const NxMolBase& mol) {
  std::vector<unsigned> number_of(mol.GetMaxAtomIdx(), kNone);
  std::vector<float> coords(std::size_t{3} * mol.GetMaxAtomIdx(), 0.0F);
  mol.GetCoords(coords.data());
  atoms.reserve(mol.NumAtoms());
  for (NxAtomBase& atom : mol.GetAtoms()) {
    const std::size_t at = std::size_t{3} * atom.GetIdx();
    number_of[atom.GetIdx()] = static_cast<unsigned>(atoms.size());
    atoms.push_back({&atom, atom.GetAtomicNum(), {coords[at], coords[at + 1], coords[at + 2]}, {}});
  }
  AddBonds(mol, number_of);
  MarkCompleteAtoms();
  MarkFlatRings();
}

void NxBondGraph::AddBonds(const NxMolBase& mol, const std::vector<unsigned>& number_of) {
  bonds.reserve(mol.NumBonds());
  std::vector<unsigned> seen_from(atoms.size(), kNone);
  for (unsigned a = 0; a < atoms.size(); ++a) {
    for (NxBondBase* bond : atoms[a].atom->GetBonds()) {
      const NxAtomBase* other = bond->GetNbr(*atoms[a].atom);
      const unsigned b = other != nullptr ? number_of[other->GetIdx()] : a;
      if (b <= a || seen_from[b] == a) {
        continue;
      }
      seen_from[b] = a;
      const unsigned z1 = AtomicNum(a);
      const unsigned z2 = AtomicNum(b);
      if (z1 == 0 || z2 == 0 || IsDative(z1, z2)) {
        bond->SetOrder(1);
        continue;
      }
      const double length = Distance(atoms[a].xyz, atoms[b].xyz);
      const auto number = static_cast<unsigned>(bonds.size());
      bonds.push_back({bond, a, b, std::isfinite(length) ? length : std::numeric_limits<double>::quiet_NaN(), 0.0});
      bonds.back().excess = bonds.back().length - static_cast<double>(NxGetCovalentRadius(z1)) -
                            static_cast<double>(NxGetCovalentRadius(z2));
      atoms[a].bonds.push_back(number);
      atoms[b].bonds.push_back(number);
    }
  }
}

int NxBondGraph::Valence(unsigned atom) const {
  int sum = 0;
  for (const unsigned bond : atoms[atom].bonds) {
    sum += bonds[bond].order;
  }
  return sum;
}

double NxBondGraph::Angles(unsigned atom) const {
  const NxGraphAtom& center = atoms[atom];
  if (center.bonds.size() != 2 && center.bonds.size() != 3) {
    return 0.0;
  }
  std::array<Vector, 3> to{};
  for (std::size_t k = 0; k < center.bonds.size(); ++k) {
    if (!std::isfinite(bonds[center.bonds[k]].length)) {
      return std::numeric_limits<double>::quiet_NaN();
    }
    to[k] = minus(atoms[Other(center.bonds[k], atom)].xyz, center.xyz);
  }
  const double first = AngleBetween(to[0], to[1]);
  return center.bonds.size() == 2 ? first : first + AngleBetween(to[1], to[2]) + AngleBetween(to[2], to[0]);
}

// Structures come with all hydrogens, with those of nitrogen, oxygen and sulphur only, or with none; a protein and its
// ligand in one molecule may differ, so each fragment is judged by its own atoms.
void NxBondGraph::MarkCompleteAtoms() {
  std::vector<char> visited(atoms.size(), 0);
  std::vector<unsigned> fragment;
  for (unsigned start = 0; start < atoms.size(); ++start) {
    if (visited[start] != 0) {
      continue;
    }
    bool carbon_has = false;
    bool other_has = false;
    fragment.assign(1, start);
    visited[start] = 1;
    for (std::size_t head = 0; head < fragment.size(); ++head) {
      const unsigned at = fragment[head];
      for (const unsigned bond : atoms[at].bonds) {
        const unsigned next = Other(bond, at);
        if (AtomicNum(next) == 1) {
          carbon_has = carbon_has || AtomicNum(at) == 6;
          other_has = other_has || AtomicNum(at) != 6;
        }
        if (visited[next] == 0) {
          visited[next] = 1;
          fragment.push_back(next);
        }
      }
    }
    for (const unsigned at : fragment) {
      atoms[at].is_complete = carbon_has || (other_has && AtomicNum(at) != 6) || AtomicNum(at) == 1;
    }
  }
}

void NxBondGraph::MarkFlatRings() {
  std::vector<unsigned> path;
  std::vector<unsigned> path_bonds;
  for (unsigned start = 0; start < atoms.size(); ++start) {
    const unsigned smallest = atoms[start].atom->GetSmallestRingSize();
    if (smallest >= 5 && smallest <= kLargestFlatRing) {
      path.assign(1, start);
      path_bonds.clear();
      SearchRings(start, path, path_bonds);
    }
  }
}

// Walks on from the end of the path and judges every ring of five or six that comes back to the start. A ring is found
// from its lowest atom, in the direction of the lower of that atom's neighbours, so just once.
void NxBondGraph::SearchRings(unsigned start, std::vector<unsigned>& path, std::vector<unsigned>& path_bonds) {
  const unsigned at = path.back();
  if (atoms[at].bonds.size() > kMostRingBonds) {
    return;
  }
  for (const unsigned bond : atoms[at].bonds) {
    const unsigned next = Other(bond, at);
    if (next == start && path.size() >= 5 && path[1] < at) {
      path_bonds.push_back(bond);
      const bool matters = std::any_of(
          path.begin(), path.end(), [this](unsigned atom) { return AtomicNum(atom) == 6 && !atoms[atom].is_complete; });
      if (matters && IsFlatRing(path, path_bonds)) {
        const auto size = static_cast<unsigned>(path.size());
        for (std::size_t k = 0; k < path.size(); ++k) {
          unsigned& known = atoms[path[k]].flat_ring;
          known = known == 0 ? size : std::min(known, size);
          bonds[path_bonds[k]].in_flat_ring = true;
        }
      }
      path_bonds.pop_back();
    }
    if (next > start && path.size() < kLargestFlatRing && std::find(path.begin(), path.end(), next) == path.end() &&
        bonds[bond].bond->IsInRing() && bonds[bond].bond->GetSmallestRingSize() <= kLargestFlatRing) {
      path.push_back(next);
      path_bonds.push_back(bond);
      SearchRings(start, path, path_bonds);
      path.pop_back();
      path_bonds.pop_back();
    }
  }
}

bool NxBondGraph::IsFlatRing(const std::vector<unsigned>& ring, const std::vector<unsigned>& ring_bonds) const {
  const std::size_t n = ring.size();
  double sum = 0.0;
  double n_carbon_bonds = 0.0;
  for (std::size_t k = 0; k < n; ++k) {
    const unsigned z = AtomicNum(ring[k]);
    const bool can_conjugate = z == 5 || z == 6 || z == 7 || z == 15 || NxIsChalcogen(z);
    if (!can_conjugate || Degree(ring[k]) > 3 || (z == 6 && Degree(ring[k]) == 3 && !IsFlat(ring[k]))) {
      return false;
    }
    // No bond may be a full single bond. Bonds between heteroatoms may be nearly as long as one (the N-O of isoxazole).
    const bool has_carbon = z == 6 || AtomicNum(ring[(k + 1) % n]) == 6;
    const double excess = bonds[ring_bonds[k]].excess;
    if (!(excess <= (has_carbon ? 0.0 : 0.06))) {
      return false;
    }
    sum += has_carbon ? excess : 0.0;
    n_carbon_bonds += has_carbon ? 1.0 : 0.0;
    const Vector& p0 = atoms[ring[k]].xyz;
    const Vector& p1 = atoms[ring[(k + 1) % n]].xyz;
    const Vector& p2 = atoms[ring[(k + 2) % n]].xyz;
    const Vector& p3 = atoms[ring[(k + 3) % n]].xyz;
    const Vector middle = minus(p2, p1);
    const double torsion = AngleBetween(cross(minus(p1, p0), middle), cross(middle, minus(p3, p2)));
    if (!(torsion < 15.0)) {
      return false;
    }
  }
  // Together the bonds are clearly shorter than single bonds; the sum shows that in a blurred structure, too.
  return sum <= -0.07 * n_carbon_bonds;
}

}  // namespace NxChem
