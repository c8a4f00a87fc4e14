// The bond array: three ints per bond.
#include <cstring>

#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/briochem_internal.h>

namespace briochem {
namespace {

using NxChem::NxAtomBase;
using NxChem::NxBondBase;
using NxChem::NxMolBase;

constexpr int kIntsPerBond = 3;
constexpr char kPerBond[] = "bond_number*3";

// Wires a bond from its three ints. A bond is left as it is when one of the atoms does not exist.
int wire(const NxMolBase& molecule, NxBondBase& bond, const int* ints) {
  NxAtomBase* begin = molecule.GetAtom(ints[0]);
  NxAtomBase* end = molecule.GetAtom(ints[1]);
  if (begin == nullptr || end == nullptr) {
    NxSystem::NxThrow.Warning("Invalid bond specified: bgn = %d, end = %d", ints[0], ints[1]);
    return 0;
  }
  bond.SetBgn(begin);
  bond.SetEnd(end);
  bond.SetOrder(ints[2]);
  return 1;
}

void unwire(const NxBondBase& bond, int* ints) {
  ints[0] = bond.GetBgnIdx();
  ints[1] = bond.GetEndIdx();
  ints[2] = bond.GetOrder();
}

}  // namespace
}  // namespace briochem

using namespace briochem;

int nx_set_molecule_bonds(const int* bonds, int mol) {
  const NxMolBase& molecule = model(mol);
  if (bonds == nullptr) {
    return static_cast<int>(molecule.NumBonds() == 0);
  }
  return guarded([&] {
    for (NxBondBase& bond : molecule.GetBonds()) {
      wire(molecule, bond, bonds + std::size_t{kIntsPerBond} * bond.GetIdx());
    }
    return 1;
  });
}

int nx_get_molecule_bonds(int* bonds, int mol) {
  const NxMolBase& molecule = model(mol);
  if (bonds == nullptr) {
    return static_cast<int>(molecule.NumBonds() == 0);
  }
  using Chunk = NxChem::NxChunk<NxBondBase>;
  const auto& table = NxChem::NxMolInternals::Bonds(molecule);
  table.Stretches([&](unsigned begin, unsigned end) {
    for (unsigned idx = begin; idx < end; ++idx) {
      unwire(*table.ChunkOf(idx)->At(idx % Chunk::kSize), bonds + std::size_t{kIntsPerBond} * idx);
    }
  });
  return 1;
}

int nx_is_molecule_bonds_set(int mol) {
  for (const NxBondBase& bond : model(mol).GetBonds()) {
    if (bond.GetBgn() != nullptr && bond.GetEnd() != nullptr) {
      return 1;
    }
  }
  return 0;
}

int nx_get_molecule_bonds_length(int mol) { return kIntsPerBond * static_cast<int>(model(mol).GetMaxBondIdx()); }

int nx_get_molecule_bonds_length_string(char* out, int mol) {
  if (out == nullptr || nx_is_molecule_bonds_set(mol) == 0) {
    return 0;
  }
  std::memcpy(out, kPerBond, sizeof kPerBond);
  return 1;
}

int nx_get_molecule_bonds_element(int* bond_out, int bond, int mol) {
  const NxBondBase* found = model(mol).GetBond(bond);
  if (found == nullptr || bond_out == nullptr) {
    return 0;
  }
  unwire(*found, bond_out);
  return 1;
}

int nx_set_molecule_bonds_element(const int* bond_in, int bond, int mol) {
  const NxMolBase& molecule = model(mol);
  NxBondBase* found = molecule.GetBond(bond);
  if (found == nullptr || bond_in == nullptr) {
    return 0;
  }
  return guarded([&] { return wire(molecule, *found, bond_in); });
}
