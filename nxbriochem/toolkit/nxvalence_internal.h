// The valences of elements, as perception assumes them. Internal to the toolkit.
#ifndef NXBRIOCHEM_TOOLKIT_NXVALENCE_INTERNAL_H
#define NXBRIOCHEM_TOOLKIT_NXVALENCE_INTERNAL_H

namespace NxChem {

// Metals proper; germanium, tin, lead, antimony, bismuth and their like form covalent bonds and do not count.
bool NxIsMetal(unsigned atomic_num);

// Charge of the ion that a metal always forms (group 1: +1; group 2, zinc, cadmium: +2; aluminium: +3); 0 for other
// metals and for what is no metal.
int NxMetalIonCharge(unsigned atomic_num);

// Alkali and alkaline-earth metals: their contacts are those of ions, not bonds.
bool NxIsIonicMetal(unsigned atomic_num);

bool NxIsHalogen(unsigned atomic_num);

// Oxygen, sulphur, selenium, tellurium.
bool NxIsChalcogen(unsigned atomic_num);

// How many neighbours an atom of the element can have at most; 0 for dummies and noble gases.
unsigned NxMaxNeighbours(unsigned atomic_num);

// The lowest usual valence of a nonmetal; 0 where none is usual.
int NxNormalValence(unsigned atomic_num);

}  // namespace NxChem

#endif
