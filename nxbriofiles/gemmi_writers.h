// What gemmi does with structures besides reading them. Valid C++17.
#ifndef NXBRIOFILES_GEMMI_WRITERS_H
#define NXBRIOFILES_GEMMI_WRITERS_H

#include <string>
#include <vector>

#include "structure.h"

namespace nxbrio::files {

// The models as one mmCIF file.
std::string mmcif_text(const std::vector<Structure>& models);

// Whether each atom is meant by a selection in gemmi's language. Throws Failure for a text that is none.
std::vector<bool> select_by_gemmi(const Structure& structure, const std::string& text);

}  // namespace nxbrio::files

#endif
