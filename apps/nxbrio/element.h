// Elements by symbol, and the element that an atom's name means where the file does not say.
#ifndef NXBRIOCHEM_APPS_NXBRIO_ELEMENT_H
#define NXBRIOCHEM_APPS_NXBRIO_ELEMENT_H

#include <string>
#include <string_view>

namespace nxbrio {

// The atomic number of a symbol, in any case; 0 for none.
int atomic_number(std::string_view symbol);
// The symbol of an atomic number; "X" for 0.
std::string element_symbol(int atomic_number);
// The atomic number that a name means in a residue; 0 when it means none. An ion is known by its name being its
// residue's; other two-letter elements only where they cannot be taken for carbon, hydrogen or nitrogen.
int guess_element(std::string_view atom_name, std::string_view residue_name);
// The atomic number of the element whose radius nx_assign_bondi_radii gives an atom of this name; 0 where that is none.
int element_of_bondi_radius(std::string_view atom_name, std::string_view residue_name);

}  // namespace nxbrio

#endif
