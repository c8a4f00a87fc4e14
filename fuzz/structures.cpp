#include "fuzz/structures.h"

#include <nxbriochem/nxbriochem.h>
#include <nxbriofiles/nxbriofiles.h>

#include <cmath>
#include <cstring>
#include <string_view>
#include <vector>

#include "fuzz/check.h"

namespace fuzz {
namespace {

void check_last_error(std::string_view start) {
  const std::string_view text = nxf_last_error();
  for (const char c : text) {
    check(c >= ' ' && c <= '~', "a failure is one line");
  }
  check(text.substr(0, start.size()) == start, "a failure names the file");
}

template <class T>
std::vector<T> values(int (*get)(T*, int), std::size_t n, int mol) {
  std::vector<T> found(n);
  check(n == 0 || get(found.data(), mol) == 1, "an array can be had");
  return found;
}

void check_atoms(int mol, std::size_t n) {
  for (const float x : values(nx_get_molecule_coordinates, 3 * n, mol)) {
    check(std::isfinite(x), "a place is finite");
  }
  for (const float charge : values(nx_get_molecule_charges, n, mol)) {
    check(std::isfinite(charge), "a charge is finite");
  }
  for (const float radius : values(nx_get_molecule_radii, n, mol)) {
    check(std::isfinite(radius) && radius >= 0.0F, "a radius is finite and not negative");
  }
  for (const int element : values(nxf_get_atomic_numbers, n, mol)) {
    check(element >= 0 && element <= 118, "an element has a number");
  }
}

void check_bonds(int mol, std::size_t n) {
  const auto number = static_cast<std::size_t>(nx_get_molecule_bond_number(mol));
  const std::vector<int> bonds = values(nx_get_molecule_bonds, 3 * number, mol);
  for (std::size_t i = 0; i < bonds.size(); i += 3) {
    check(bonds[i] >= 0 && bonds[i] < static_cast<int>(n) && bonds[i + 1] >= 0 && bonds[i + 1] < static_cast<int>(n) &&
              bonds[i] != bonds[i + 1],
          "a bond is between two atoms");
    check(bonds[i + 2] >= 1 && bonds[i + 2] <= 4, "a bond has an order");
  }
}

void check_words(int mol) {
  check(*nxf_molecule_format(mol) != '\0' && *nxf_charge_source(mol) != '\0', "a molecule has its words");
  for (int k = 0; k < nxf_number_of_notes(mol); ++k) {
    check(nxf_note(k, mol) != nullptr, "a note can be had");
  }
  for (int k = 0; k < nxf_number_of_fields(mol); ++k) {
    check(nxf_field(nxf_field_name(k, mol), mol) != nullptr, "a field can be had by its name");
  }
}

// Takes the molecule through writing and choosing too.
void use(int mol) {
  const auto n = static_cast<std::size_t>(nx_get_molecule_atom_number(mol));
  check(n > 0, "a molecule has atoms");
  check_atoms(mol, n);
  check_bonds(mol, n);
  check_words(mol);
  std::vector<int> mask(n);
  check(nxf_select(mask.data(), "protein or not ( hetero and water )", mol) == 1, "atoms can be chosen");
  std::size_t size = 0;
  for (const char* format : {"mmcif", "sdf"}) {
    const char* const text = nxf_molecule_text(&size, format, mol);
    check(text == nullptr || std::strlen(text) == size, "a text is as long as it says");
  }
}

}  // namespace

int read_structures(const char* format, const uint8_t* data, std::size_t size) {
  const std::vector<char> bytes(data, data + size);  // no byte more, so that the sanitizer sees a read behind it
  const int reader = nxf_open_memory_reader(bytes.data(), bytes.size(), "input", format);
  if (reader == 0) {
    check_last_error("input");
    return 0;
  }
  int mol = 0;
  int records = 0;
  while (nxf_read_record(&mol, reader) == 1) {
    check(nxf_record_number(reader) == ++records, "records are counted");
    if (mol == 0) {
      check_last_error("input");
      continue;
    }
    use(mol);
    check(nx_delete_molecule(mol) == 1, "a molecule can be deleted");
  }
  check(nxf_close_reader(reader) == 1, "a reader can be closed");
  mol = nxf_read_molecule_from_memory(bytes.data(), bytes.size(), "input", format);
  check(records > 0 || mol == 0, "no record, no molecule");
  if (mol != 0) {
    nx_delete_molecule(mol);
  }
  return 0;
}

}  // namespace fuzz
