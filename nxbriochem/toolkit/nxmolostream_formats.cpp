#include <nxbriochem/toolkit/nxmolostream_formats_internal.h>

#include <cmath>

#include <nxbriochem/toolkit/nxelements.h>

namespace NxChem {
namespace {

NxResidue MakeUnknownLigand() {
  NxResidue residue;
  residue.SetName(kNxUnknownLigand);
  residue.SetResidueNumber(1);
  residue.SetHetAtom(true);
  return residue;
}

}  // namespace

bool NxRefuse(const NxMolBase& mol, const NxAtomBase& atom, int serial, const std::string& reason) {
  return NxRefuse(mol, "atom " + std::to_string(serial) + " (" + NxOneLine(NxAtomLabel(atom)) + "): " + reason);
}

bool NxRefuse(const NxMolBase& mol, const std::string& reason) {
  NxSystem::NxThrow.Warning("Unable to write molecule \"%s\": %s", NxOneLine(mol.GetTitle()).c_str(), reason.c_str());
  return false;
}

bool NxRequireNumbers(const NxMolBase& mol, NxNeeds needs) {
  const float* const coords = mol.CoordData();
  if (coords == nullptr) {
    return mol.NumAtoms() == 0 || NxRefuse(mol, "it has no coordinates");
  }
  int serial = 0;
  for (const NxAtomBase& atom : mol.GetAtoms()) {
    ++serial;
    for (std::size_t k = 0; k < 3; ++k) {
      const float x = coords[3 * static_cast<std::size_t>(atom.GetIdx()) + k];
      if (!std::isfinite(x)) {
        return NxRefuse(mol, atom, serial, "coordinate " + std::to_string(x));
      }
    }
    if (needs >= NxNeeds::Charges && !std::isfinite(atom.GetPartialCharge())) {
      return NxRefuse(mol, atom, serial, "charge " + std::to_string(atom.GetPartialCharge()));
    }
    if (needs >= NxNeeds::ChargesAndRadii && !std::isfinite(atom.GetRadius())) {
      return NxRefuse(mol, atom, serial, "radius " + std::to_string(atom.GetRadius()));
    }
  }
  return true;
}

std::string_view NxDefaultAtomLabel(const NxAtomBase& atom) {
  return atom.GetAtomicNum() == 0 ? "X" : NxGetAtomicSymbol(atom.GetAtomicNum());
}

const NxResidue& NxWrittenResidue(const NxAtomBase& atom) {
  static const NxResidue& unknown_ligand = *new NxResidue(MakeUnknownLigand());  // never destroyed
  return NxHasResidue(atom) ? NxAtomGetResidue(atom) : unknown_ligand;
}

std::vector<int> NxAtomSerials(const NxMolBase& mol) {
  std::vector<int> serials(mol.GetMaxAtomIdx());
  int serial = 0;
  for (const NxAtomBase& atom : mol.GetAtoms()) {
    serials[atom.GetIdx()] = ++serial;
  }
  return serials;
}

bool NxIsWritten(const NxBondBase& bond) {
  return bond.GetBgn() != nullptr && bond.GetEnd() != nullptr && bond.GetBgn() != bond.GetEnd();
}

std::vector<NxWrittenBond> NxWrittenBonds(const NxMolBase& mol) {
  std::vector<NxWrittenBond> bonds;
  if (mol.NumBonds() == 0) {
    return bonds;
  }
  const std::vector<int> serials = NxAtomSerials(mol);
  bonds.reserve(mol.NumBonds());
  for (const NxBondBase& bond : mol.GetBonds()) {
    if (NxIsWritten(bond)) {
      bonds.push_back({serials[bond.GetBgn()->GetIdx()], serials[bond.GetEnd()->GetIdx()], bond.GetOrder()});
    }
  }
  return bonds;
}

}  // namespace NxChem
