// Molecules as structure files.
#include <cstring>

#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/briochem_model.h>
#include <nxbriochem/toolkit/nxmolostream.h>

namespace briochem {
namespace {

using NxChem::NxFileType;

struct Format {
  NxFileType type;
  unsigned flavor;
};

// PDB with DelPhi's columns is the library's word; all others are the toolkit's.
Format find_format(const char* word) {
  if (std::strcmp(word, "delphi_pdb") == 0) {
    return {NxChem::NxGetFileType("pdb"), NxChem::kNxPdbFlavorDelPhi};
  }
  return {NxChem::NxGetFileType(word), 0};
}

int write_file(const char* filename, const char* format, int mol) {
  const Format found = find_format(format);
  NxChem::nxmolostream stream;
  if (!stream.open(filename)) {
    return 0;  // the stream said why
  }
  if (found.type == NxFileType::Undefined) {
    NxSystem::NxThrow.Warning("Unrecognized file format '%s'", format);
    return 0;
  }
  stream.SetFormat(found.type);
  if (found.flavor != 0) {
    stream.SetFlavor(found.type, found.flavor);
  }
  const bool written = NxChem::NxWriteMolecule(stream, model(mol));
  return static_cast<int>(stream.close() && written);
}

}  // namespace
}  // namespace briochem

using namespace briochem;

int nx_write_molecule(const char* filename, const char* format, int mol) {
  if (filename == nullptr) {
    NxSystem::NxThrow.Warning("Unrecognized blank filename");
    return 0;
  }
  if (format == nullptr) {
    NxSystem::NxThrow.Warning("Unrecognized blank file format");
    return 0;
  }
  return guarded([&] { return write_file(filename, format, mol); });
}
