// The element of an atom by its name, by two rules. For records of a PDB file the columns of the name count, and the
// result may be any element. For element codes the columns do not count, and the result is an element that has a code;
// nx_make_element_list in mol_func2.h describes that rule. Radii by name follow a third rule, without elements:
// nx_assign_bondi_radii. Not exported.
#ifndef NXBRIOCHEM_MOLECULES_ATOM_NAMES_INTERNAL_H
#define NXBRIOCHEM_MOLECULES_ATOM_NAMES_INTERNAL_H

#include <string_view>

namespace briochem {

// The atomic number by the custom of PDB files, 0 for none. A name of four columns, blanks included, has the element
// symbol right-aligned in the first two: " CA " is carbon and "CA  " calcium. Any other name means the element of its
// first letter, and digits in front are skipped ("HG11", "1HB"). Exceptions with two letters are an ion, named like its
// residue ("ZN"); elements that no other name starts with ("FE1", "CL2"); and a first letter that is no element ("MG").
unsigned element_of_name(std::string_view name, std::string_view residue_name);

// The one-letter element code, 'Z' for none, as nx_make_element_list describes.
char element_code_of_name(std::string_view name, std::string_view residue_name);

}  // namespace briochem

#endif
