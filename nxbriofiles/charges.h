// Formal charges where a file has no partial ones.
#ifndef NXBRIOFILES_CHARGES_H
#define NXBRIOFILES_CHARGES_H

#include "structure.h"

namespace nxbrio::files {

// Gives every atom its charge, as nxf_charge_source tells, and notes what is left neutral. Residues must be numbered.
void assign_formal_charges(Structure& structure);

}  // namespace nxbrio::files

#endif
