// The graph that bond-order perception works on: atoms and bonds with their geometry, without the dative bonds of
// metals, and the properties of each atom that are known before bond orders. Internal to the toolkit.
#ifndef NXBRIOCHEM_TOOLKIT_NXBOND_GRAPH_INTERNAL_H
#define NXBRIOCHEM_TOOLKIT_NXBOND_GRAPH_INTERNAL_H

#include <array>
#include <vector>

#include <nxbriochem/toolkit/nxchem.h>

namespace NxChem {

struct NxGraphBond {
  NxBondBase* bond;
  unsigned a;
  unsigned b;
  // Angstrom; NaN when an end has no usable coordinates.
  double length;
  // Length less the sum of the covalent radii.
  double excess;
  int order = 1;
  // Part of a flat ring of five or six whose bonds are all short enough to be conjugated.
  bool in_flat_ring = false;
};

struct NxGraphAtom {
  NxAtomBase* atom;
  unsigned atomic_num;
  std::array<double, 3> xyz;
  // Bonds of the graph.
  std::vector<unsigned> bonds;
  // Every hydrogen that the atom has is in the structure.
  bool is_complete = false;
  // Size of the smallest flat ring through the atom, 0 outside flat rings. Computed for incomplete carbons only.
  unsigned flat_ring = 0;
};

class NxBondGraph {
 public:
  explicit NxBondGraph(const NxMolBase& mol);

  std::vector<NxGraphAtom> atoms;
  std::vector<NxGraphBond> bonds;

  unsigned Other(unsigned bond, unsigned atom) const { return bonds[bond].a == atom ? bonds[bond].b : bonds[bond].a; }
  unsigned Degree(unsigned atom) const { return static_cast<unsigned>(atoms[atom].bonds.size()); }
  unsigned AtomicNum(unsigned atom) const { return atoms[atom].atomic_num; }
  // Sum of the bond orders.
  int Valence(unsigned atom) const;
  // Angle at an atom with two neighbours, sum of the angles at an atom with three, in degrees; NaN without coordinates,
  // 0 for atoms of other degrees.
  double Angles(unsigned atom) const;
  bool IsLinear(unsigned atom) const { return Degree(atom) == 2 && Angles(atom) > 155.0; }
  // Three neighbours nearly in one plane with the atom. The angles at a tetrahedral atom add up to 328.5 degrees, at a
  // flat one to 360, and to 348 in the most curved fullerene.
  bool IsFlat(unsigned atom) const { return Degree(atom) == 3 && Angles(atom) > 344.0; }

 private:
  void AddBonds(const NxMolBase& mol, const std::vector<unsigned>& number_of);
  void MarkCompleteAtoms();
  void MarkFlatRings();
  void SearchRings(unsigned start, std::vector<unsigned>& path, std::vector<unsigned>& path_bonds);
  bool IsFlatRing(const std::vector<unsigned>& ring, const std::vector<unsigned>& ring_bonds) const;
};

}  // namespace NxChem

#endif
