#include "element.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <gemmi/elem.hpp>
#include <gemmi/resinfo.hpp>
#include <utility>

#include "text.h"

namespace nxbrio::files {
namespace {

// The letters at the start of a name, upper case, after any digits: "HB" of "1HB1", "CL" of "Cl-".
std::string letters_of(std::string_view name) {
  const auto alphabetic = [](char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0; };
  const auto* const begin = std::find_if(name.begin(), name.end(), alphabetic);
  return upper_case(std::string_view(begin, std::find_if_not(begin, name.end(), alphabetic)));
}

// Ions that force fields give names of their own.
constexpr std::array<std::pair<std::string_view, std::string_view>, 4> kIonNames{
    {{"SOD", "NA"}, {"POT", "K"}, {"CLA", "CL"}, {"CAL", "CA"}}};

int ion(const std::string& letters, const std::string& residue_letters) {
  if (letters != residue_letters) {
    return 0;
  }
  for (const auto& [name, symbol] : kIonNames) {
    if (letters == name) {
      return atomic_number(symbol);
    }
  }
  return letters.size() <= 2 ? atomic_number(letters) : 0;
}

// Two-letter elements of ligands, cofactors and modified residues.
int two_letter_element(const std::string& letters, std::string_view residue_name) {
  constexpr std::array<std::string_view, 9> kSymbols{"CL", "BR", "FE", "ZN", "MG", "MN", "CU", "SE", "SI"};
  const std::string start = letters.substr(0, 2);
  if (is_standard_residue(residue_name) || std::find(kSymbols.begin(), kSymbols.end(), start) == kSymbols.end()) {
    return 0;
  }
  return atomic_number(start);
}

}  // namespace

int atomic_number(std::string_view symbol) {
  if (symbol.empty() || symbol.size() > 2) {
    return 0;
  }
  return gemmi::Element(std::string(symbol)).atomic_number();
}

std::string element_symbol(int atomic_number) { return gemmi::Element(atomic_number).name(); }

std::string residue_kind(std::string_view residue_name) {
  std::string kind = upper_case(trimmed(residue_name));
  if (kind.size() == 4 && (kind[0] == 'N' || kind[0] == 'C')) {
    kind.erase(0, 1);
  }
  return kind;
}

bool is_amino_acid(std::string_view residue_name) {
  constexpr std::array<std::string_view, 12> kForms{"HID", "HIE", "HIP", "HSD", "HSE", "HSP",
                                                    "CYX", "CYM", "ASH", "GLH", "LYN", "MSE"};
  const std::string kind = residue_kind(residue_name);
  return gemmi::find_tabulated_residue(kind).is_amino_acid() ||
         std::find(kForms.begin(), kForms.end(), kind) != kForms.end();
}

bool is_nucleotide(std::string_view residue_name) {
  constexpr std::array<std::string_view, 5> kBases{"A", "C", "G", "T", "U"};
  std::string kind = upper_case(trimmed(residue_name));
  if (gemmi::find_tabulated_residue(kind).is_nucleic_acid()) {
    return true;
  }
  // Force fields: RA, RA5, DA3 and so on.
  if (kind.size() > 1 && (kind.back() == '3' || kind.back() == '5')) {
    kind.pop_back();
  }
  if (kind.size() == 2 && (kind[0] == 'R' || kind[0] == 'D')) {
    kind.erase(0, 1);
  }
  return std::find(kBases.begin(), kBases.end(), kind) != kBases.end();
}

bool is_water(std::string_view residue_name) {
  constexpr std::array<std::string_view, 8> kNames{"WAT", "TIP", "TIP3", "TIP4", "TP3", "TP4", "SPC", "SOL"};
  const std::string kind = upper_case(trimmed(residue_name));
  return gemmi::find_tabulated_residue(kind).is_water() ||
         std::find(kNames.begin(), kNames.end(), kind) != kNames.end();
}

bool is_standard_residue(std::string_view residue_name) {
  return is_water(residue_name) || is_nucleotide(residue_name) ||
         (is_amino_acid(residue_name) && residue_kind(residue_name) != "MSE");
}

int guess_element(std::string_view atom_name, std::string_view residue_name) {
  const std::string letters = letters_of(atom_name);
  if (letters.empty()) {
    return 0;
  }
  if (const int element = ion(letters, letters_of(residue_name)); element != 0) {
    return element;
  }
  if (const int element = two_letter_element(letters, residue_name); element != 0) {
    return element;
  }
  return atomic_number(letters.substr(0, 1));
}

int element_of_bondi_radius(std::string_view atom_name, std::string_view residue_name) {
  const std::string name = upper_case(atom_name.substr(std::min(atom_name.find_first_not_of(' '), atom_name.size())));
  if (name.empty()) {
    return 0;
  }
  const std::string start = name.substr(0, 2);
  for (const std::string_view symbol : {"CL", "LI", "SE", "SI", "ZN"}) {
    if (start == symbol) {
      return atomic_number(symbol);
    }
  }
  if (start == "CA" && starts_with(upper_case(residue_name), "CA")) {
    return atomic_number("CA");
  }
  switch (name[0]) {
    case '1':
    case '2':
    case '3':
      return 1;
    case 'B':
      return atomic_number(start == "BO" ? "B" : "BR");
    case 'C':
    case 'F':
    case 'H':
    case 'I':
    case 'N':
    case 'O':
    case 'P':
    case 'S':
      return atomic_number(start.substr(0, 1));
    default:
      return 0;
  }
}

}  // namespace nxbrio::files
