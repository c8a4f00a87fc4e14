// Properties of the chemical elements. C++ only.
#ifndef NXBRIOCHEM_TOOLKIT_NXELEMENTS_H
#define NXBRIOCHEM_TOOLKIT_NXELEMENTS_H

#include <string_view>

#include <nxbriochem/export.h>

namespace NxChem {

// Symbol as written in formulas ("C", "Cl"); "Du" for atomic number 0 and for numbers above 118. Never null.
NX_API const char* NxGetAtomicSymbol(unsigned atomic_num);
// The atomic number of a symbol in any case; "D" and "T" are hydrogen. 0 for text that is no element symbol.
NX_API unsigned NxGetAtomicNum(std::string_view symbol);
// Single-bond covalent radius in angstrom (Cordero et al., Dalton Trans. 2008, 2832); 0 when not tabulated.
NX_API float NxGetCovalentRadius(unsigned atomic_num);

}  // namespace NxChem

#endif
