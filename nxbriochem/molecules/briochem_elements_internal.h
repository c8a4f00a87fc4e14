// The one-letter element codes. The two tables are not inverse to each other; see briochem.h. Not exported.
#ifndef NXBRIOCHEM_MOLECULES_BRIOCHEM_ELEMENTS_INTERNAL_H
#define NXBRIOCHEM_MOLECULES_BRIOCHEM_ELEMENTS_INTERNAL_H

#include <array>
#include <cstddef>

namespace briochem {

struct Letter {
  int atomic_number;
  char symbol;
};

inline constexpr char kNoLetter = 'Z';

inline constexpr Letter kLetters[] = {{1, 'H'},  {3, 'T'},  {5, 'B'},  {6, 'C'},  {7, 'N'},  {8, 'O'},  {9, 'F'},
                                      {11, 'D'}, {12, 'M'}, {14, 'G'}, {15, 'P'}, {16, 'S'}, {17, 'L'}, {19, 'K'},
                                      {25, 'A'}, {26, 'E'}, {29, 'U'}, {34, 'E'}, {35, 'R'}, {53, 'I'}};

constexpr std::array<char, 54> make_symbols() {
  std::array<char, 54> symbols{};
  symbols.fill(kNoLetter);
  for (const Letter& letter : kLetters) {
    symbols[static_cast<std::size_t>(letter.atomic_number)] = letter.symbol;
  }
  return symbols;
}

inline constexpr std::array<char, 54> kSymbols = make_symbols();
static_assert(kSymbols[0] == 'Z' && kSymbols[1] == 'H' && kSymbols[53] == 'I');

// A to U.
inline constexpr std::array<unsigned, 21> kNumbers = {25, 5,  6, 11, 34, 9, 13, 1,  53, 0, 19,
                                                      17, 12, 7, 8,  15, 0, 35, 16, 3,  26};
static_assert(kNumbers['C' - 'A'] == 6 && kNumbers['U' - 'A'] == 26);

// The code of an atomic number.
constexpr char letter_of(unsigned atomic_number) {
  return atomic_number < kSymbols.size() ? kSymbols[atomic_number] : kNoLetter;
}

// The atomic number of a code.
constexpr unsigned number_of(int symbol) {
  return symbol >= 'A' && symbol <= 'U' ? kNumbers[static_cast<std::size_t>(symbol - 'A')] : 0;
}

}  // namespace briochem

#endif
