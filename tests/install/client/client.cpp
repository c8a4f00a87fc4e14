// A program that uses the installed library: makes a molecule through the toolkit and reads it through handles.
#include <nxbriochem/nxbriochem.h>
#include <nxbriochem/toolkit/nxperceive.h>

#include <cstdio>

int main() {
  NxChem::NxMol water;
  const float places[9] = {0.0F, 0.0F, 0.0F, 0.757F, 0.586F, 0.0F, -0.757F, 0.586F, 0.0F};
  water.NewAtom(8);
  water.NewAtom(1);
  water.NewAtom(1);
  water.SetCoords(places);
  water.SetData(NxSystem::NxGetTag("client"), 1);
  for (NxChem::NxAtomBase& atom : water.GetAtoms()) {
    atom.SetName(NxChem::NxGetAtomicSymbol(atom.GetAtomicNum()));
  }
  NxChem::NxDetermineConnectivity(water);
  const int handle = NxBrioChem::NxAcquireHandle(water);
  nx_assign_bondi_radii(handle);
  float x[9] = {};
  nx_get_molecule_coordinates(x, handle);
  std::printf("atoms %d, bonds %u, handle %d, x %g, errors %d\n", nx_get_molecule_atom_number(handle), water.NumBonds(),
              handle, static_cast<double>(x[3]), nx_number_of_errors());
  NxBrioChem::NxReleaseHandle(handle);
}
