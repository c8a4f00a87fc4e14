#include <nxbriochem/molecules/atom_names_internal.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <cstring>
#include <string>

#include <nxbriochem/toolkit/nxelements.h>
#include <nxbriochem/util/text_internal.h>

namespace briochem {
namespace {

using text::trimmed;

bool is_letter(char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0; }

char upper(char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); }

// Characters of an atom's name in a PDB file.
constexpr std::size_t kColumns = 4;

// Two-letter elements with which no atom name of amino acids and nucleotides starts.
constexpr std::array<std::string_view, 6> kUnmistakable = {"BR", "CL", "CU", "FE", "SE", "SI"};

// Elements of two letters that an element code can stand for. One named like its residue is an ion; `where` says when
// the name alone is enough.
enum class TwoLetters { as_ion, alone, before_no_letter, always };
struct TwoLetterElement {
  char symbol[3];
  char code;
  TwoLetters where;
};
constexpr TwoLetterElement kTwoLetterElements[] = {
    {"LI", 'T', TwoLetters::as_ion},
    {"NA", 'D', TwoLetters::as_ion},
    {"MG", 'M', TwoLetters::always},
    {"AL", 'G', TwoLetters::as_ion},
    {"CL", 'L', TwoLetters::before_no_letter},
    {"MN", 'A', TwoLetters::always},
    {"FE", 'U', TwoLetters::alone},
    {"SE", 'E', TwoLetters::alone},
    {"BR", 'R', TwoLetters::before_no_letter},
    // Lone pairs, and ions without a code of their own. Without these rows their first letter would decide.
    {"LP", 'Z', TwoLetters::always},
    {"CA", 'Z', TwoLetters::as_ion},
    {"CU", 'Z', TwoLetters::as_ion},
    {"CO", 'Z', TwoLetters::as_ion},
    {"CD", 'Z', TwoLetters::as_ion},
    {"CS", 'Z', TwoLetters::as_ion},
    {"NI", 'Z', TwoLetters::as_ion},
    {"HG", 'Z', TwoLetters::as_ion},
    {"PB", 'Z', TwoLetters::as_ion},
    {"PT", 'Z', TwoLetters::as_ion},
    {"SR", 'Z', TwoLetters::as_ion},
    {"BA", 'Z', TwoLetters::as_ion},
    {"SI", 'Z', TwoLetters::alone},
    {"DU", 'Z', TwoLetters::alone},
};

bool equal_letters(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) {
    return false;
  }
  for (std::size_t k = 0; k < a.size(); ++k) {
    if (upper(a[k]) != upper(b[k])) {
      return false;
    }
  }
  return true;
}

bool applies(const TwoLetterElement& element, std::string_view name, std::string_view residue) {
  if (name.size() < 2 || !equal_letters(name.substr(0, 2), element.symbol)) {
    return false;
  }
  const bool alone = name.size() == 2;
  switch (element.where) {
    case TwoLetters::always:
      return true;
    case TwoLetters::before_no_letter:
      return alone || !is_letter(name[2]);
    case TwoLetters::alone:
      return alone;
    case TwoLetters::as_ion:
      break;
  }
  return alone && equal_letters(residue, element.symbol);
}

}  // namespace

unsigned element_of_name(std::string_view name, std::string_view residue_name) {
  while (name.size() > kColumns && name.back() == ' ') {
    name.remove_suffix(1);
  }
  const auto* const begin = std::find_if(name.begin(), name.end(), is_letter);
  std::string letters(begin, std::find_if_not(begin, name.end(), is_letter));
  std::transform(letters.begin(), letters.end(), letters.begin(), upper);
  const std::string_view start = std::string_view(letters).substr(0, 2);
  const unsigned one = NxChem::NxGetAtomicNum(start.substr(0, 1));
  const unsigned two = start.size() == 2 ? NxChem::NxGetAtomicNum(start) : 0;

  const bool is_aligned = name.size() == kColumns && name.find(' ') != std::string_view::npos;
  const bool is_ion = trimmed(name) == trimmed(residue_name) && letters.size() == 2;
  const bool is_unmistakable = std::find(kUnmistakable.begin(), kUnmistakable.end(), start) != kUnmistakable.end();
  const bool has_two_letters = is_aligned ? begin == name.begin() : is_ion || is_unmistakable;
  return two != 0 && (has_two_letters || one == 0) ? two : one;
}

char element_code_of_name(std::string_view whole_name, std::string_view whole_residue) {
  const std::string_view name =
      trimmed(whole_name.substr(std::min(whole_name.find_first_not_of(" 0123456789"), whole_name.size())));
  const std::string_view residue = trimmed(whole_residue);
  for (const TwoLetterElement& element : kTwoLetterElements) {
    if (applies(element, name, residue)) {
      return element.code;
    }
  }
  const char first = name.empty() ? '\0' : upper(name[0]);
  if (first == 'D') {
    return 'H';
  }
  const bool known = first != '\0' && std::strchr("BCNOFPSKIH", first) != nullptr;
  return known ? first : 'Z';
}

}  // namespace briochem
