// What gemmi does here besides reading. Valid C++17.
#ifndef NXBRIOFILES_GEMMI_WRITERS_H
#define NXBRIOFILES_GEMMI_WRITERS_H

#include <string>
#include <vector>

#include "structure.h"

namespace nxbrio::files {

// The models as one mmCIF file.
std::string mmcif_text(const std::vector<Structure>& models);

// Whether each atom belongs to a selection in gemmi's language. Throws Failure for an invalid text.
std::vector<bool> select_by_gemmi(const Structure& structure, const std::string& text);

}  // namespace nxbrio::files

#endif
