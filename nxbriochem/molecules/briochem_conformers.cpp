// Conformers: which one is active, and how many there are.
#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/briochem_internal.h>

namespace briochem {
namespace {

using NxChem::NxConfBase;
using NxChem::NxMCMolBase;

// The molecule as one with conformers. Null with a warning when its handle was not acquired as such.
NxMCMolBase* conformers_or_warn(int mol, const char* function) {
  model(mol);  // a handle that names no molecule is fatal, not a warning
  if (!NxBrioChem::NxIsMultiConf(mol)) {
    NxSystem::NxThrow.Warning("called %s with NxMolBase", function);
    return nullptr;
  }
  return NxBrioChem::NxDerefMCMolHandle(mol);
}

// Makes the nearest conformer above (step 1) or below (step -1) the active one active.
int step_to_next(NxMCMolBase* molecule, int step) {
  if (molecule == nullptr || molecule->GetActive() == nullptr) {
    return 0;
  }
  const auto& table = NxChem::NxMolInternals::Confs(*molecule);
  const unsigned idx = molecule->GetActive()->GetIdx();
  const unsigned next = step > 0 ? table.Next(idx + 1) : table.Previous(idx);
  if (next == table.Bound()) {
    return 0;
  }
  molecule->ClearActiveStack();  // after a step nobody returns to the saved conformers
  molecule->SetActive(table.Get(next));
  return 1;
}

bool add_conformers(NxMCMolBase& molecule, unsigned more) {
  const std::size_t coordinates = 3 * sizeof(float) * std::size_t{molecule.GetMaxAtomIdx()};
  if (!there_is_room(more, sizeof(NxConfBase) + coordinates)) {
    return false;
  }
  for (; more > 0; --more) {
    molecule.NewConf();  // with the active one's coordinates
  }
  return true;
}

void remove_conformers(NxMCMolBase& molecule, unsigned surplus) {
  // Kept: programs rely on deletion from the front; the last ones remain.
  for (; surplus > 0; --surplus) {
    molecule.DeleteConf(&*molecule.GetConfs());
  }
}

}  // namespace
}  // namespace briochem

using namespace briochem;

int nx_get_molecule_conformer(int* conformer, int mol) {
  const NxMCMolBase* molecule = conformers_or_warn(mol, "nx_get_molecule_conformer");
  if (molecule == nullptr || molecule->GetActive() == nullptr || conformer == nullptr) {
    return 0;
  }
  *conformer = static_cast<int>(molecule->GetActive()->GetIdx());
  return 1;
}

int nx_set_molecule_conformer(int conformer, int mol) {
  NxMCMolBase* molecule = conformers_or_warn(mol, "nx_set_molecule_conformer");
  return molecule == nullptr ? 0 : static_cast<int>(molecule->SetActive(molecule->GetConf(conformer)));
}

int nx_increment_molecule_conformer(int mol) {
  return step_to_next(conformers_or_warn(mol, "nx_increment_molecule_conformer"), 1);
}

int nx_decrement_molecule_conformer(int mol) {
  // The doubled letter is part of the message.
  return step_to_next(conformers_or_warn(mol, "nx_deccrement_molecule_conformer"), -1);
}

int nx_get_molecule_conformer_number(int mol) {
  const NxMCMolBase* molecule = conformers_or_warn(mol, "nx_get_molecule_conformer_number");
  return molecule == nullptr ? 0 : static_cast<int>(molecule->NumConfs());
}

int nx_set_molecule_conformer_number(int n, int mol) {
  NxMCMolBase* molecule = conformers_or_warn(mol, "nx_set_molecule_conformer_number");
  if (molecule == nullptr || n < 1) {
    return 0;
  }
  return guarded([&] {
    const auto wanted = static_cast<unsigned>(n);
    const unsigned have = molecule->NumConfs();
    if (wanted > have) {
      return static_cast<int>(add_conformers(*molecule, wanted - have));
    }
    remove_conformers(*molecule, have - wanted);
    return 1;
  });
}

int nx_is_molecule_conformer_number_set(int mol) {
  return static_cast<int>(conformers_or_warn(mol, "nx_is_molecule_conformer_number_set") != nullptr);
}
