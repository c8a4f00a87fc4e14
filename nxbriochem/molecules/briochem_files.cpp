// Molecules as structure files, and bonds by distance, which such files seldom contain.
#include <nxbriochem/molecules/briochem_files_internal.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/briochem_internal.h>
#include <nxbriochem/objects/codes_internal.h>
#include <nxbriochem/objects/list_obj.h>
#include <nxbriochem/objects/obj_man.h>
#include <nxbriochem/toolkit/nxmolostream.h>
#include <nxbriochem/toolkit/nxperceive.h>

namespace briochem {

using NxChem::NxAtomBase;
using NxChem::NxFileType;
using NxChem::NxMolBase;
using NxChem::NxResidue;

bool is_filename_given(const char* filename) {
  if (filename == nullptr) {
    NxSystem::NxThrow.Warning("Unrecognized blank filename");
  }
  return filename != nullptr;
}

bool are_names_given(const char* filename, const char* format) {
  if (!is_filename_given(filename)) {
    return false;
  }
  if (format == nullptr) {
    NxSystem::NxThrow.Warning("Unrecognized blank file format");
  }
  return format != nullptr;
}

void warn_of_unknown_format(const char* format) { NxSystem::NxThrow.Warning("Unrecognized file format '%s'", format); }

bool can_be_read(const char* filename) {
  const int file = open(filename, O_RDONLY | O_NONBLOCK | O_CLOEXEC);  // does not wait for a pipe's other end
  struct stat status {};
  bool opened = file >= 0 && fstat(file, &status) == 0;
  if (opened && S_ISDIR(status.st_mode)) {
    opened = false;
    errno = EISDIR;
  }
  if (!opened) {
    NxSystem::NxThrow.Warning("Unable to open %s for reading: %s", filename, std::strerror(errno));
  }
  if (file >= 0) {
    close(file);
  }
  return opened;
}

bool is_list(int list) {
  if (nxi_return_type_of_handle(list) != objects::kListType) {
    NxSystem::NxThrow.Warning("Unrecognized list %d", list);
    return false;
  }
  return true;
}

std::vector<int> molecules_of_list(int list) {
  std::vector<int> members(static_cast<std::size_t>(nx_get_list_length_recurse(list)));
  int* end = members.data();
  nxi_unroll_list(&end, list);
  members.resize(static_cast<std::size_t>(end - members.data()));
  // A program may have registered type 3 for objects of its own; molecules have negative handles.
  std::erase_if(members,
                [](int member) { return member >= 0 || nxi_return_type_of_handle(member) != objects::kMoleculeType; });
  return members;
}

namespace {

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

// Writes a file with what `write` puts into the stream. Callers rely on the order of the checks: names, the file, the
// format, and then the contents. No file appears when `write` returns false.
template <class Write>
int write_file(const char* filename, const char* format, Write write) {
  if (!are_names_given(filename, format)) {
    return 0;
  }
  return guarded([&] {
    const Format found = find_format(format);
    NxChem::nxmolostream stream;
    if (!stream.open(filename)) {
      return 0;  // the stream has reported the reason
    }
    if (found.type == NxFileType::Undefined) {
      warn_of_unknown_format(format);
      return 0;
    }
    stream.SetFormat(found.type);
    stream.SetFlavor(found.type, found.flavor);
    return static_cast<int>(write(stream) && stream.close());
  });
}

// A dummy atom per point. The blanks in the name keep it in columns 13-14, where readers look for an element symbol:
// "DU" there is no element, while "D" in column 14 would be deuterium.
void fill_with_points(NxMolBase& mol, const float* points, int n) {
  NxResidue residue;
  residue.SetName("PTS");
  residue.SetResidueNumber(1);
  residue.SetHetAtom(true);
  mol.Reserve(static_cast<unsigned>(n), 0);
  for (int i = 0; i < n; ++i) {
    NxAtomBase& atom = *mol.NewAtom(0);
    atom.SetName("DU  ");
    NxChem::NxAtomSetResidue(atom, residue);
  }
  mol.SetCoords(points);
}

}  // namespace
}  // namespace briochem

using namespace briochem;

int nx_write_molecule(const char* filename, const char* format, int mol) {
  return write_file(filename, format,
                    [mol](NxChem::nxmolostream& stream) { return NxChem::NxWriteMolecule(stream, model(mol)); });
}

int nx_write_list_of_molecules(const char* filename, const char* format, int list) {
  return write_file(filename, format, [list](NxChem::nxmolostream& stream) {
    if (!is_list(list)) {
      return false;
    }
    const std::vector<int> molecules = molecules_of_list(list);
    return std::all_of(molecules.begin(), molecules.end(),
                       [&stream](int mol) { return NxChem::NxWriteMolecule(stream, model(mol)); });
  });
}

int nx_write_points_as_pdb(const char* filename, const float* points, int n) {
  if (n < 0 || (points == nullptr && n > 0)) {
    return 0;
  }
  return write_file(filename, "pdb", [points, n](NxChem::nxmolostream& stream) {
    NxChem::NxMol mol;
    fill_with_points(mol, points, n);
    return NxChem::NxWriteMolecule(stream, mol);
  });
}

int nx_make_bonds_by_distance(int mol) {
  NxMolBase& molecule = model(mol);
  return guarded([&] {
    NxChem::NxDetermineConnectivity(molecule);
    NxChem::NxPerceiveBondOrders(molecule);
    return 1;
  });
}
