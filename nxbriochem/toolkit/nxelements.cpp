#include <nxbriochem/toolkit/nxelements.h>

#include <algorithm>
#include <cctype>
#include <iterator>

namespace NxChem {
namespace {

constexpr std::string_view kSymbols[] = {
    "Du", "H",  "He", "Li", "Be", "B",  "C",  "N",  "O",  "F",  "Ne", "Na", "Mg", "Al", "Si", "P",  "S",
    "Cl", "Ar", "K",  "Ca", "Sc", "Ti", "V",  "Cr", "Mn", "Fe", "Co", "Ni", "Cu", "Zn", "Ga", "Ge", "As",
    "Se", "Br", "Kr", "Rb", "Sr", "Y",  "Zr", "Nb", "Mo", "Tc", "Ru", "Rh", "Pd", "Ag", "Cd", "In", "Sn",
    "Sb", "Te", "I",  "Xe", "Cs", "Ba", "La", "Ce", "Pr", "Nd", "Pm", "Sm", "Eu", "Gd", "Tb", "Dy", "Ho",
    "Er", "Tm", "Yb", "Lu", "Hf", "Ta", "W",  "Re", "Os", "Ir", "Pt", "Au", "Hg", "Tl", "Pb", "Bi", "Po",
    "At", "Rn", "Fr", "Ra", "Ac", "Th", "Pa", "U",  "Np", "Pu", "Am", "Cm", "Bk", "Cf", "Es", "Fm", "Md",
    "No", "Lr", "Rf", "Db", "Sg", "Bh", "Hs", "Mt", "Ds", "Rg", "Cn", "Nh", "Fl", "Mc", "Lv", "Ts", "Og"};
static_assert(std::size(kSymbols) == 119 && kSymbols[0] == "Du" && kSymbols[53] == "I" && kSymbols[118] == "Og");

// Cordero et al., Dalton Trans. 2008, 2832, table 2; C is sp3, Mn, Fe and Co are low-spin. The table ends at curium.
constexpr float kCovalentRadii[] = {
    0.00F, 0.31F, 0.28F, 1.28F, 0.96F, 0.84F, 0.76F, 0.71F, 0.66F, 0.57F, 0.58F, 1.66F, 1.41F, 1.21F,
    1.11F, 1.07F, 1.05F, 1.02F, 1.06F, 2.03F, 1.76F, 1.70F, 1.60F, 1.53F, 1.39F, 1.39F, 1.32F, 1.26F,
    1.24F, 1.32F, 1.22F, 1.22F, 1.20F, 1.19F, 1.20F, 1.20F, 1.16F, 2.20F, 1.95F, 1.90F, 1.75F, 1.64F,
    1.54F, 1.47F, 1.46F, 1.42F, 1.39F, 1.45F, 1.44F, 1.42F, 1.39F, 1.39F, 1.38F, 1.39F, 1.40F, 2.44F,
    2.15F, 2.07F, 2.04F, 2.03F, 2.01F, 1.99F, 1.98F, 1.98F, 1.96F, 1.94F, 1.92F, 1.92F, 1.89F, 1.90F,
    1.87F, 1.87F, 1.75F, 1.70F, 1.62F, 1.51F, 1.44F, 1.41F, 1.36F, 1.36F, 1.32F, 1.45F, 1.46F, 1.48F,
    1.40F, 1.50F, 1.50F, 2.60F, 2.21F, 2.15F, 2.06F, 2.00F, 1.96F, 1.90F, 1.87F, 1.80F, 1.69F};
static_assert(std::size(kCovalentRadii) == 97 && kCovalentRadii[1] == 0.31F && kCovalentRadii[53] == 1.39F &&
              kCovalentRadii[96] == 1.69F);

bool SameLetters(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
  });
}

}  // namespace

const char* NxGetAtomicSymbol(unsigned atomic_num) {
  return kSymbols[atomic_num < std::size(kSymbols) ? atomic_num : 0].data();
}

unsigned NxGetAtomicNum(std::string_view symbol) {
  if (SameLetters(symbol, "D") || SameLetters(symbol, "T")) {
    return 1;
  }
  const auto* const found = std::find_if(std::begin(kSymbols) + 1, std::end(kSymbols),
                                         [symbol](std::string_view known) { return SameLetters(symbol, known); });
  return found != std::end(kSymbols) ? static_cast<unsigned>(found - std::begin(kSymbols)) : 0;
}

float NxGetCovalentRadius(unsigned atomic_num) {
  return atomic_num < std::size(kCovalentRadii) ? kCovalentRadii[atomic_num] : 0.0F;
}

}  // namespace NxChem
