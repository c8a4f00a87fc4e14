// Radii by element code, by atom name and by atom type, and element codes from atom names.
#include <algorithm>
#include <bit>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <string_view>

#include <nxbriochem/geometry/mol_func1_atoms_internal.h>
#include <nxbriochem/geometry/mol_func2.h>
#include <nxbriochem/molecules/atom_names_internal.h>
#include <nxbriochem/molecules/briochem.h>

namespace mol_func2 {

float element_radii[256];
int element_radius_set[256];
int element_defaults_filled = 0;

}  // namespace mol_func2

using mol_func1::WorkArray;
using mol_func2::element_defaults_filled;
using mol_func2::element_radii;
using mol_func2::element_radius_set;

namespace {

// Kept: programs rely on the odd last digits, which distinguish a radius of this table from one that was read.
constexpr float kFluorineRadius = 1.2001F;
constexpr float kBondiPhosphorus = 1.8001F;
constexpr float kBondiLithium = 1.8002F;
static_assert(std::bit_cast<uint32_t>(kFluorineRadius) == 0x3f999ce0U);
static_assert(std::bit_cast<uint32_t>(kBondiPhosphorus) == 0x3fe669adU);
static_assert(std::bit_cast<uint32_t>(kBondiLithium) == 0x3fe66cf4U);

constexpr float kOtherRadius = 1.9F;

constexpr unsigned char index_of(char code) { return static_cast<unsigned char>(code); }

void fill_defaults_once() {
  if (element_defaults_filled == 0) {
    set_default_element_radii();
  }
}

// An atom's name, without leading blanks and cut to 9 characters, and its residue's name.
struct AtomLabel {
  char name_text[12] = "";
  char residue_text[12] = "";
  std::string_view name;
  std::string_view residue;

  // False when no atom has the index.
  bool read(int atom, int mol) {
    // With a length of 9 the getter copies up to 9 characters and adds a NUL only if there is room.
    if (nx_get_molecule_atom_names_element(name_text, atom, 9, mol) == 0) {
      return false;
    }
    name_text[9] = '\0';
    name = name_text;
    name.remove_prefix(std::min(name.find_first_not_of(' '), name.size()));
    residue_text[0] = '\0';
    nx_get_molecule_residue_names_element(residue_text, atom, sizeof residue_text, mol);
    residue = residue_text;
    return true;
  }
};

// The letter in upper case. Mask 223 takes away the bit that tells a lower-case letter from its upper-case form.
constexpr char upper(char c) { return static_cast<char>(c & 223); }

bool is_letter(char c) { return std::isalpha(index_of(c)) != 0; }

struct BondiRadius {
  char first;
  char second;  // '\0': any
  float radius;
};

// The first row that fits a name counts.
constexpr BondiRadius kBondiRadii[] = {
    {'1', '\0', 1.2F},          {'2', '\0', 1.2F},  {'3', '\0', 1.2F},  {'H', '\0', 1.2F},
    {'B', 'O', 1.17F},          {'B', '\0', 1.85F}, {'C', 'L', 1.75F},  {'C', '\0', 1.7F},
    {'F', '\0', 1.47F},         {'I', '\0', 1.98F}, {'L', 'I', 1.82F},  {'L', 'P', 0.0F},
    {'L', '\0', kBondiLithium}, {'N', '\0', 1.55F}, {'O', '\0', 1.52F}, {'P', '\0', kBondiPhosphorus},
    {'S', 'E', 1.9F},           {'S', 'I', 2.1F},   {'S', '\0', 1.8F},  {'Z', 'N', 1.39F},
    {'Z', '\0', 0.0F},
};
constexpr float kBondiCalcium = 1.14F;

// `name` has no blanks in front.
float bondi_radius_of_name(std::string_view name, std::string_view residue) {
  if (name.empty()) {
    return kOtherRadius;
  }
  const char first = is_letter(name[0]) ? upper(name[0]) : name[0];
  const char second = name.size() > 1 ? upper(name[1]) : '\0';
  // CA is calcium in a residue of its own and an alpha carbon elsewhere.
  const bool in_calcium = residue.size() >= 2 && upper(residue[0]) == 'C' && upper(residue[1]) == 'A';
  if (first == 'C' && second == 'A' && in_calcium) {
    return kBondiCalcium;
  }
  const auto* const row = std::find_if(std::begin(kBondiRadii), std::end(kBondiRadii), [&](const BondiRadius& bondi) {
    return bondi.first == first && (bondi.second == '\0' || bondi.second == second);
  });
  return row != std::end(kBondiRadii) ? row->radius : kOtherRadius;
}

float bondi_radius_of_type(int type) {
  switch (type) {
    case 0:
      return 0.0F;
    case 1:
      return 1.2F;
    case 5:
      return 1.17F;
    case 6:
      return 1.7F;
    case 7:
    case 80:
      return 1.55F;
    case 8:
      return 1.52F;
    case 9:
      return 1.47F;
    case 14:
      return 2.1F;
    case 3:
    case 16:
    case 19:
      return 1.8F;
    case 17:
      return 1.75F;
    case 20:
      return 1.14F;
    case 26:
    case 29:
    case 30:
      return 1.39F;
    case 35:
      return 1.85F;
    case 53:
      return 1.98F;
    default:
      return kOtherRadius;
  }
}

}  // namespace

void set_default_element_radii() {
  element_defaults_filled = 1;
  const auto fill = [](char code, float radius) {
    if (element_radius_set[index_of(code)] == 0) {
      element_radii[index_of(code)] = radius;
    }
  };
  for (int code = 0; code < 256; ++code) {
    fill(static_cast<char>(code), kOtherRadius);
  }
  fill('C', 1.7F);
  for (const char code : {'H', '1', '2', '3', '4'}) {
    fill(code, 1.0F);
  }
  fill('N', 1.65F);
  fill('O', 1.6F);
  fill('F', kFluorineRadius);
  // Kept: programs rely on these two replacing a value that they set before.
  element_radii[index_of('Z')] = 1.34F;
  element_radii[index_of('X')] = 0.0F;
}

int nx_set_element_radius(char code, float radius) {
  element_radii[index_of(code)] = radius;
  element_radius_set[index_of(code)] = 1;
  std::printf("set element %d to %f\n", static_cast<signed char>(code), static_cast<double>(radius));
  return 1;
}

int nx_get_element_radius(char code, float* out) {
  fill_defaults_once();
  if (out == nullptr) {
    return 0;
  }
  *out = element_radii[index_of(code)];
  return 1;
}

int nx_assign_radii_by_element(int mol) {
  fill_defaults_once();
  if (nx_get_molecule_atom_number(mol) == 0) {
    return 0;
  }
  if (nx_is_molecule_element_set(mol) == 0) {
    nx_make_element_list(mol);
  }
  const int length = nx_get_molecule_radii_length(mol);
  const WorkArray<float> radii(mol, length, 1, "radii");
  const WorkArray<char> element(mol, length, 1, "element");
  if (!radii || !element) {
    return 0;
  }
  nx_get_molecule_element(element.data(), mol);
  for (int atom = 0; atom < length; ++atom) {
    radii[atom] = element_radii[index_of(element[atom])];
  }
  nx_set_molecule_radii(radii.data(), mol);
  return 1;
}

int nx_make_element_list(int mol) {
  if (nx_get_molecule_atom_number(mol) == 0) {
    return 0;
  }
  const int length = nx_get_molecule_element_length(mol);
  AtomLabel label;
  for (int atom = 0; atom < length; ++atom) {
    if (label.read(atom, mol)) {
      nx_set_molecule_element_element(briochem::element_code_of_name(label.name, label.residue), atom, mol);
    }
  }
  return 1;
}

int nx_assign_bondi_radii(int mol) {
  const bool by_name = nx_is_molecule_atom_names_set(mol) != 0;
  if (!by_name && nx_is_molecule_atom_type_set(mol) == 0) {
    return 0;
  }
  const int length = nx_get_molecule_radii_length(mol);
  AtomLabel label;
  for (int atom = 0; atom < length; ++atom) {
    int type = 0;
    if (by_name) {
      if (label.read(atom, mol)) {
        nx_set_molecule_radii_element(bondi_radius_of_name(label.name, label.residue), atom, mol);
      }
    } else if (nx_get_molecule_atom_type_element(&type, atom, mol) != 0) {
      nx_set_molecule_radii_element(bondi_radius_of_type(type), atom, mol);
    }
  }
  return 1;
}
