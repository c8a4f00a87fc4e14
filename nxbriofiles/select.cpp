#include <gemmi/select.hpp>

#include "failure.h"
#include "gemmi_model.h"
#include "gemmi_writers.h"

namespace nxbrio::files {

std::vector<bool> select_by_gemmi(const Structure& structure, const std::string& text) {
  gemmi::Selection selection;
  try {
    selection = gemmi::Selection(text);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    throw Failure(error.what());
  }
  std::vector<bool> chosen(structure.atoms.size());
  gemmi::Model model = gemmi_model(structure);
  for (const gemmi::Chain& chain : model.chains) {
    for (const gemmi::Residue& residue : chain.residues) {
      for (const gemmi::Atom& atom : residue.atoms) {
        chosen[static_cast<std::size_t>(atom.serial) - 1] = selection.matches(model) && selection.matches(chain) &&
                                                            selection.matches(residue) && selection.matches(atom);
      }
    }
  }
  return chosen;
}

}  // namespace nxbrio::files
