// Formal charges of a protein's side chains, and default Gaussian widths.
#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <string>
#include <string_view>

#include <nxbriochem/geometry/mol_func2.h>
#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/objects/print.h>
#include <nxbriochem/util/text_internal.h>

namespace {

using text::trimmed;

constexpr std::string_view kChargeInFull = "full";

// An atom of a charged side chain, with its name padded as in PDB files.
struct ChargedAtom {
  std::string_view name;
  std::string_view lower_name;
  float charge;
  std::array<std::string_view, 5> neutral_in;  // residues
};
constexpr ChargedAtom kChargedAtoms[] = {
    {" NZ ", " nz ", 1.0F, {"LYN", "LSN", "KCX", "ALY"}},
    {" NH1", " nh1", 0.5F, {"ARN", "AR0"}},
    {" NH2", " nh2", 0.5F, {"ARN", "AR0"}},
    {" OD1", " od1", -0.5F, {"ASN", "HYP", "ASH", "ASPP", "ASPH"}},
    {" OD2", " od2", -0.5F, {"ASH", "ASPP", "ASPH"}},
    {" OE1", " oe1", -0.5F, {"GLN", "GLH", "GLUP", "GLUH"}},
    {" OE2", " oe2", -0.5F, {"GLH", "GLUP", "GLUH"}},
};

// Compares the residue's name without regard to case, with or without the N or C in front that marks a chain's end.
bool is_neutral_in(const ChargedAtom& atom, std::string_view residue) {
  std::string kind;
  for (const char c : trimmed(residue)) {
    kind += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  }
  const auto is_listed = [&atom](std::string_view name) {
    return !name.empty() && std::find(atom.neutral_in.begin(), atom.neutral_in.end(), name) != atom.neutral_in.end();
  };
  const bool at_end = kind.starts_with('N') || kind.starts_with('C');
  return is_listed(kind) || (at_end && is_listed(std::string_view(kind).substr(1)));
}

// Null for an atom without formal charge. Some readers keep the blanks of a name and others do not.
const ChargedAtom* find_charged_atom(std::string_view name, std::string_view residue) {
  const std::string_view bare = trimmed(name);
  for (const ChargedAtom& atom : kChargedAtoms) {
    if (bare == trimmed(atom.name) || bare == trimmed(atom.lower_name)) {
      return is_neutral_in(atom, residue) ? nullptr : &atom;
    }
  }
  return nullptr;
}

bool is_named(int mol, std::string_view name) {
  const int length = nx_get_molecule_name_length(mol);
  if (length != static_cast<int>(name.size()) + 1) {
    return false;
  }
  std::string title(static_cast<std::size_t>(length), '\0');
  nx_get_molecule_name(title.data(), mol);
  title.pop_back();
  return title == name;
}

// The element's Bondi radius in angstrom; 0 for a code that has no width. E has none, since it stands for both iron and
// selenium.
float gaussian_radius(char element) {
  switch (element) {
    case 'H':
      return 1.2F;
    case 'C':
      return 1.7F;
    case 'N':
      return 1.55F;
    case 'O':
      return 1.52F;
    case 'F':
      return 1.47F;
    case 'G':
      return 2.1F;
    case 'P':
    case 'S':
      return 1.8F;
    case 'L':
      return 1.75F;
    case 'R':
      return 1.85F;
    case 'I':
      return 1.98F;
    default:
      return 0.0F;
  }
}

// Width over radius: the cube root of 4 / (3 p sqrt(pi)) with the height p = 2 sqrt(2).
constexpr float kWidthOverRadius = 0.643092F;

}  // namespace

int nx_charge_protein(int mol) {
  if (nx_is_molecule_atom_names_set(mol) == 0) {
    return 0;
  }
  const bool in_full = is_named(mol, kChargeInFull);
  const int length = nx_get_molecule_charges_length(mol);
  for (int atom = 0; atom < length; ++atom) {
    // Longer names and residues than these are cut and match nothing.
    char name[8] = "";
    char residue[8] = "";
    if (nx_get_molecule_atom_names_element(name, atom, sizeof name - 1, mol) == 0) {
      continue;
    }
    nx_get_molecule_residue_names_element(residue, atom, sizeof residue, mol);
    const ChargedAtom* charged = find_charged_atom(name, residue);
    if (charged != nullptr || in_full) {
      nx_set_molecule_charges_element(charged != nullptr ? charged->charge : 0.0F, atom, mol);
    }
  }
  return 1;
}

int nxi_assign_default_gaussians(float* widths, int mol) {
  if (widths == nullptr || nx_get_molecule_atom_number(mol) == 0) {
    return 0;
  }
  if (nx_is_molecule_element_set(mol) == 0) {
    nx_make_element_list(mol);
  }
  const int length = nx_get_molecule_element_length(mol);
  for (int atom = 0; atom < length; ++atom) {
    char element = '\0';
    if (nx_get_molecule_element_element(&element, atom, mol) == 0) {
      continue;
    }
    widths[atom] = gaussian_radius(element) * kWidthOverRadius;
    if (widths[atom] == 0.0F) {
      nx_printf(0, "atom %d didnt match\n", atom);
    }
  }
  return 1;
}
