#include "fuzz/structures.h"

#include <nxbriochem/nxbriochem.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "apps/nxbrio/failure.h"
#include "apps/nxbrio/molecule.h"
#include "fuzz/check.h"

namespace fuzz {
namespace {

bool is_one_line(std::string_view text) {
  for (const char c : text) {
    if (c < ' ' || c > '~') {
      return false;
    }
  }
  return !text.empty();
}

void check_model(const nxbrio::Structure& model) {
  const auto n = static_cast<int>(model.atoms.size());
  for (const nxbrio::Atom& atom : model.atoms) {
    for (const float x : atom.position) {
      check(std::isfinite(x), "a place is finite");
    }
    check(std::isfinite(atom.charge) && std::isfinite(atom.radius) && atom.radius >= 0.0F, "charge and radius");
    check(atom.element >= 0 && atom.element <= 118, "an element has a number");
    check(atom.sequence_number >= 1 && atom.sequence_number <= model.residues, "an atom is in a residue");
  }
  for (const nxbrio::Bond& bond : model.bonds) {
    check(bond.begin >= 0 && bond.begin < n && bond.end >= 0 && bond.end < n && bond.begin != bond.end,
          "a bond is between two atoms");
    check(bond.order >= 1 && bond.order <= 3, "a bond has an order");
  }
}

}  // namespace

void use_models(std::vector<nxbrio::Structure>& models) {
  for (nxbrio::Structure& model : models) {
    if (model.atoms.empty()) {
      continue;
    }
    nxbrio::number_residues(model);
    check_model(model);
    try {
      nxbrio::Molecule molecule(model);
      nxbrio::make_bonds_by_distance(molecule);
      const nxbrio::Summary summary = nxbrio::summarise(model, molecule);
      check(summary.atoms == static_cast<int>(model.atoms.size()), "every atom is in the molecule");
    } catch (const nxbrio::Failure& failure) {
      check(is_one_line(failure.what()), "a failure is one line");
    }
  }
}

int read_structures(Reader reader, const uint8_t* data, std::size_t size) {
  if (size == 0 || std::memchr(data, 0, size) != nullptr) {
    return 0;
  }
  const std::vector<char> text(data, data + size);  // no byte more, so that the address sanitizer sees a read behind it
  for (const nxbrio::Models which : {nxbrio::Models::First, nxbrio::Models::All}) {
    try {
      std::vector<nxbrio::Structure> models = reader("input", {text.data(), text.size()}, which);
      use_models(models);
    } catch (const nxbrio::Failure& failure) {
      check(is_one_line(failure.what()), "a failure is one line");
    }
  }
  return 0;
}

}  // namespace fuzz
