// Molecule and grid handles: the process-wide table that maps handles to toolkit objects and counts how often each
// object was handed out. C++17; callers that speak in handles alone never need it.
//
// Molecule handles are -1, -2, ...; grid handles -1000000001, -1000000002, ... The table never destroys an object. It
// is not locked: callers that use handles from several threads hold NxGetBrioChemLock around every call.
#ifndef NXBRIOCHEM_MOLECULES_MEMMGR_H
#define NXBRIOCHEM_MOLECULES_MEMMGR_H

#include <nxbriochem/export.h>
#include <nxbriochem/toolkit/nxchem.h>
#include <nxbriochem/toolkit/nxplatform.h>
#include <nxbriochem/toolkit/nxsystem.h>

namespace NxBrioChem {

// The object's handle, with one more reference on it: the same one for an object that has a handle already, else the
// one released last, else the next. 0 with a warning when handles are used up. Through this handle the molecule cannot
// be used as a multi-conformer one.
NX_API int NxAcquireHandle(const NxChem::NxMolBase& mol);
// As for a const molecule.
NX_API int NxAcquireHandle(NxChem::NxMolBase& mol);
// As for NxMolBase, but the molecule can be used as a multi-conformer one through a handle that is new.
NX_API int NxAcquireHandle(NxChem::NxMCMolBase& mol);
// As for the multi-conformer molecule that it is.
NX_API int NxAcquireHandle(NxChem::NxMol& mol);
// As for molecules, of a grid.
NX_API int NxAcquireGridHandle(NxSystem::NxBrioGrid& grid);

// Drops one reference; the last one frees the handle. False with a warning when the object has no handle.
NX_API bool NxReleaseHandle(const NxChem::NxMolBase& mol);
// Drops one reference by handle, also to a molecule that nx_delete_molecule has destroyed since. False with a warning
// for a free handle; a handle out of range is fatal.
NX_API bool NxReleaseHandle(int handle);
// As for molecules.
NX_API bool NxReleaseGridHandle(const NxSystem::NxBrioGrid& grid);
// As for molecules.
NX_API bool NxReleaseGridHandle(int handle);

// Drops every reference at once. False, without a warning, when the object has no handle.
NX_API bool NxReleaseAllHandles(const NxChem::NxMolBase& mol);
// As for molecules.
NX_API bool NxReleaseAllGridHandles(const NxSystem::NxBrioGrid& grid);

// The molecule behind a handle. Fatal for a handle that is out of range or free.
NX_API NxChem::NxMolBase* NxDerefMolHandle(int handle);
// The multi-conformer molecule behind a handle. Fatal for a handle that is out of range, free, or not acquired as such.
NX_API NxChem::NxMCMolBase* NxDerefMCMolHandle(int handle);
// The grid behind a handle. Fatal for a handle that is out of range or free.
NX_API NxSystem::NxBrioGrid* NxDerefGridHandle(int handle);

// Whether the handle was acquired as multi-conformer. Fatal out of range.
NX_API bool NxIsMultiConf(int handle);

// Slots of both tables, in steps of 100 each. Kept: programs rely on this being the capacity, not the number of live
// handles.
NX_API int NxGetNumHandles();

// The one process-wide lock of this layer. The library itself never takes it.
NX_API NxPlatform::NxMutex& NxGetBrioChemLock();

}  // namespace NxBrioChem

#endif
