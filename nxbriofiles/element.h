// Elements by symbol, the element that an atom's name means where the file does not say, and kinds of residues. C++17.
#ifndef NXBRIOFILES_ELEMENT_H
#define NXBRIOFILES_ELEMENT_H

#include <string>
#include <string_view>

namespace nxbrio::files {

// The atomic number of a symbol, in any case; 0 for none.
int atomic_number(std::string_view symbol);
// The symbol of an atomic number; "X" for 0.
std::string element_symbol(int atomic_number);
// The atomic number that a name means in a residue; 0 when it means none. An atom whose name equals that of its residue
// is an ion. Other two-letter elements are found only where they cannot be mistaken for carbon, hydrogen or nitrogen.
int guess_element(std::string_view atom_name, std::string_view residue_name);
// A residue's name in upper case, without the N or C in front by which force fields mark a chain's end.
std::string residue_kind(std::string_view residue_name);
// What a residue is, by its name, force fields' names of protonation states among them.
bool is_amino_acid(std::string_view residue_name);
bool is_nucleotide(std::string_view residue_name);
bool is_water(std::string_view residue_name);
// Whether a residue is one of these three kinds, in which atom names tell the elements.
bool is_standard_residue(std::string_view residue_name);
// The atomic number of the element whose radius nx_assign_bondi_radii gives an atom of this name; 0 where that is none.
int element_of_bondi_radius(std::string_view atom_name, std::string_view residue_name);

}  // namespace nxbrio::files

#endif
