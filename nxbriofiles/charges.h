// Formal charges where a file has no partial ones.
#ifndef NXBRIOFILES_CHARGES_H
#define NXBRIOFILES_CHARGES_H

#include "structure.h"

namespace nxbrio::files {

// Gives every atom its charge, as nxf_charge_source tells, and remarks on those that are left neutral. Residues must be
// numbered.
void assign_formal_charges(Structure& structure);

// Says whether the structure's atoms have charges, and adds notes on those that the remarks tell of. Residues must be
// numbered.
void note_formal_charges(Structure& structure);

}  // namespace nxbrio::files

#endif
