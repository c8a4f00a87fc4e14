// State of the molecule and grid handle tables, for their tests alone.
#ifndef NXBRIOCHEM_MOLECULES_MEMMGR_STATE_H
#define NXBRIOCHEM_MOLECULES_MEMMGR_STATE_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include <nxbriochem/toolkit/nxchem.h>
#include <nxbriochem/toolkit/nxsystem.h>

namespace memmgr {

// Free: all zero. A molecule that nx_delete_molecule destroyed leaves the references of other holders, without object.
struct MolEntry {
  NxChem::NxMolBase* object;
  bool multi_conf;
  int32_t references;
};
static_assert(sizeof(MolEntry) == 16 && offsetof(MolEntry, object) == 0 && offsetof(MolEntry, multi_conf) == 8 &&
              offsetof(MolEntry, references) == 12);

struct GridEntry {
  NxSystem::NxBrioGrid* object;
  int32_t references;
};
static_assert(sizeof(GridEntry) == 16 && offsetof(GridEntry, object) == 0 && offsetof(GridEntry, references) == 8);

extern MolEntry* MolHandle;
extern int HandleCount;
extern std::vector<int>& vFreeHandle;
extern GridEntry* GridHandle;
extern int GridHandleCount;
extern std::vector<int>& vFreeGridHandle;

}  // namespace memmgr

#endif
