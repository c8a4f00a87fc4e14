// Chemistry from geometry: which atoms are bonded, and with which bond orders. C++ only.
#ifndef NXBRIOCHEM_TOOLKIT_NXPERCEIVE_H
#define NXBRIOCHEM_TOOLKIT_NXPERCEIVE_H

#include <nxbriochem/export.h>
#include <nxbriochem/toolkit/nxchem.h>

namespace NxChem {

// Adds a single bond between every two atoms whose distance is at least 0.4 angstrom and at most the sum of their
// covalent radii and 0.45 angstrom. Existing bonds stay and are not doubled; new ones are made in the order of their
// atoms' indices. The search for neighbours takes expected O(n) time for n atoms at a molecule's density, putting the
// bonds in order O(n log n).
//
// - An atom takes no more neighbours than its element can have (hydrogen one, oxygen three, carbon and nitrogen four,
//   ...); of more candidates the best ones are bonded, by distance less sum of radii.
// - A bond that closes a three-membered ring is not longer than the sum of the radii and 0.2 angstrom.
// - Metals bond to nonmetals other than hydrogen, within 0.3 angstrom of the sum; alkali and alkaline-earth metals,
//   noble gases and dummy atoms bond to nothing.
// - Atoms of different alternate locations (both set in their residue records) are not bonded to one another.
// - Atoms with a coordinate that is not finite, and atoms that stand exactly where an earlier one does, are left out.
NX_API void NxDetermineConnectivity(NxMolBase& mol);

// Sets bond orders and formal charges of a molecule whose atoms are connected, from geometry and valence. Orders and
// charges that were set before are replaced; placeholders, bonds of an atom with itself, second bonds between the same
// two atoms and the charges of unbonded atoms other than common ions stay as they are.
//
// - Where hydrogens are present (judged for each bonded fragment, for carbons and for other atoms apart) the valences
//   decide; an atom that is short of a neighbour or has one too many gets the formal charge: carboxylate O-, ammonium
//   and guanidinium N+, thiolate S-. Where they are not, bond lengths, angles and flat rings of five and six decide,
//   and hydrogens that a neutral atom may carry are taken to be there; charges are set only where the heavy atoms alone
//   ask for them (carboxylate, nitro, phosphate, sulfonate, quaternary nitrogen).
// - Aromatic rings get alternating single and double bonds, nitro groups N+ and O-, sulfones and phosphates
//   double bonds.
// - Bonds of metals to nitrogen, oxygen and the like are dative: order 1, not counted in the valence of either atom.
//   Alkali, alkaline-earth, zinc, cadmium and aluminium ions and unbonded halogens get their ionic charges; metals of
//   varying charge stay at 0.
NX_API void NxPerceiveBondOrders(NxMolBase& mol);

}  // namespace NxChem

#endif
