#include <nxbriochem/toolkit/nxvalence_internal.h>

namespace NxChem {
namespace {

bool IsBetween(unsigned atomic_num, unsigned first, unsigned last) { return atomic_num >= first && atomic_num <= last; }

bool IsAlkaliMetal(unsigned z) { return z == 3 || z == 11 || z == 19 || z == 37 || z == 55 || z == 87; }

bool IsAlkalineEarthMetal(unsigned z) { return z == 12 || z == 20 || z == 38 || z == 56 || z == 88; }

bool IsNobleGas(unsigned z) { return z == 2 || z == 10 || z == 18 || z == 36 || z == 54 || z == 86; }

}  // namespace

bool NxIsIonicMetal(unsigned atomic_num) { return IsAlkaliMetal(atomic_num) || IsAlkalineEarthMetal(atomic_num); }

bool NxIsMetal(unsigned atomic_num) {
  return NxIsIonicMetal(atomic_num) || atomic_num == 4 || atomic_num == 13 || IsBetween(atomic_num, 21, 31) ||
         IsBetween(atomic_num, 39, 49) || IsBetween(atomic_num, 57, 81) || IsBetween(atomic_num, 89, 112);
}

int NxMetalIonCharge(unsigned atomic_num) {
  if (IsAlkaliMetal(atomic_num)) {
    return 1;
  }
  if (IsAlkalineEarthMetal(atomic_num) || atomic_num == 30 || atomic_num == 48) {
    return 2;
  }
  return atomic_num == 13 ? 3 : 0;
}

bool NxIsHalogen(unsigned atomic_num) {
  return atomic_num == 9 || atomic_num == 17 || atomic_num == 35 || atomic_num == 53 || atomic_num == 85;
}

bool NxIsChalcogen(unsigned atomic_num) {
  return atomic_num == 8 || atomic_num == 16 || atomic_num == 34 || atomic_num == 52;
}

unsigned NxMaxNeighbours(unsigned atomic_num) {
  switch (atomic_num) {
    case 0:
      return 0;
    case 1:
    case 9:
      return 1;
    case 5:   // Boranes and carboranes.
    case 14:  // Hexafluorosilicate.
      return 6;
    case 6:
    case 7:
    case 17:  // Perchlorate.
    case 35:
      return 4;
    case 8:
      return 3;
    case 15:
    case 16:
    case 33:
    case 34:
    case 53:
      return 6;
    default:
      return IsNobleGas(atomic_num) ? 0 : 12;
  }
}

int NxNormalValence(unsigned atomic_num) {
  switch (atomic_num) {
    case 1:
    case 9:
    case 17:
    case 35:
    case 53:
      return 1;
    case 8:
    case 16:
    case 34:
    case 52:
      return 2;
    case 5:
    case 7:
    case 15:
    case 33:
      return 3;
    case 6:
    case 14:
    case 32:
      return 4;
    default:
      return 0;
  }
}

}  // namespace NxChem
