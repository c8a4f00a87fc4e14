// State of the molecule and grid handle tables, for their tests alone.
#ifndef NXBRIOCHEM_MOLECULES_MEMMGR_STATE_H
#define NXBRIOCHEM_MOLECULES_MEMMGR_STATE_H

#include <cstdint>
#include <vector>

#include <nxbriochem/toolkit/nxchem.h>
#include <nxbriochem/toolkit/nxsystem.h>

namespace memmgr {

struct MolEntry {
  NxChem::NxMolBase* object;
  bool multi_conf;
  int32_t references;
};

struct GridEntry {
  NxSystem::NxBrioGrid* object;
  int32_t references;
};

extern MolEntry* MolHandle;
extern int HandleCount;
extern std::vector<int> vFreeHandle;
extern GridEntry* GridHandle;
extern int GridHandleCount;
extern std::vector<int> vFreeGridHandle;

}  // namespace memmgr

#endif
