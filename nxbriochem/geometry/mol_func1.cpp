// List files of molecules. As in molecule_readers.cpp, the low-level readers end the process, so that the code after
// them is never reached.
#include <nxbriochem/geometry/mol_func1.h>

#include <nxbriochem/molecules/briochem_files_internal.h>
#include <nxbriochem/molecules/guarded_internal.h>
#include <nxbriochem/molecules/molecule_readers.h>
#include <nxbriochem/molecules/pdb_struct_internal.h>
#include <nxbriochem/objects/list_obj.h>
#include <nxbriochem/toolkit/nxsystem.h>

namespace mol_func1 {
namespace {

using briochem::PdbArray;

// A list file's kind and its number for the low-level reader.
struct Kind {
  const char* word;
  int number;
};

constexpr Kind kKinds[] = {{"alist", 0}, {"nlist", 1}};

// Reads the records of the molecules in the files that a list file names.
using Reader = int (*)(const File_list& files, PdbArray& array);

template <int kType>
int read_pdbs(const File_list& files, PdbArray& array) {
  int nmolecules = 0;
  array.natoms.assign(static_cast<std::size_t>(files.number), 0);
  return nxi_read_pdbs(kType, files, &array.atoms, array.natoms.data(), &nmolecules, 0, &array.radii, &array.charges);
}

int read_mol2s(const File_list& /*files*/, PdbArray& /*array*/) { return nx_read_mol2s(); }

// The kind of a list file that can be read; null, with a warning, when it cannot.
const Kind* find_kind(const char* filename, const char* kind) {
  if (kind == nullptr) {
    NxSystem::NxThrow.Warning("Unrecognized blank list file kind");
    return nullptr;
  }
  const Kind* found = briochem::find_row(kKinds, kind);
  if (found == nullptr) {
    NxSystem::NxThrow.Warning("Unrecognized list file kind '%s'", kind);
    return nullptr;
  }
  return briochem::can_be_read(filename) ? found : nullptr;
}

int add_molecules(const char* filename, const Kind& kind, Reader read, int list) {
  File_list files{};
  if (nxi_file_input_list(kind.number, filename, &files) == 0) {
    NxSystem::NxThrow.Warning("list file not read properly/exiting\n");
    return 0;
  }
  return NxBrioChem::guarded([&] {
    PdbArray array;
    if (read(files, array) == 0 || briochem::extract_molecules_from_pdb_array(array, list) == 0) {
      NxSystem::NxThrow.Warning("could not extract molecules from pdb array!");
      return 0;
    }
    return 1;
  });
}

// The body of the functions for one format.
int add_to_list(const char* filename, const char* kind, Reader read, int list) {
  if (!briochem::is_filename_given(filename)) {
    return 0;
  }
  const Kind* found = find_kind(filename, kind);
  return found != nullptr && briochem::is_list(list) ? add_molecules(filename, *found, read, list) : 0;
}

struct Format {
  const char* word;
  Reader read;
};

constexpr Format kFormats[] = {
    {"pdb", read_pdbs<0>},        {"delphi_pdb", read_pdbs<1>}, {"mol2", read_mol2s},
    {"mol2_charged", read_mol2s}, {"mol2_charge", read_mol2s},
};

}  // namespace
}  // namespace mol_func1

using namespace mol_func1;

int nx_get_list_of_molecules_from_list_file(const char* filename, const char* format, const char* kind, int* list) {
  const Format* found_format = briochem::find_format_row(kFormats, filename, format);
  const Kind* found_kind = found_format != nullptr ? find_kind(filename, kind) : nullptr;
  if (found_kind == nullptr || list == nullptr) {
    return 0;
  }
  const int made = nx_make_list();
  if (add_molecules(filename, *found_kind, found_format->read, made) == 0) {
    nx_delete_list(made);
    return 0;
  }
  *list = made;
  return 1;
}

int nx_add_molecules_to_list_from_list_file(const char* filename, const char* kind, int list) {
  return add_to_list(filename, kind, read_pdbs<0>, list);
}

int nx_add_delphi_molecules_to_list_from_list_file(const char* filename, const char* kind, int list) {
  return add_to_list(filename, kind, read_pdbs<1>, list);
}

int nx_add_mol2_molecules_to_list_from_list_file(const char* filename, const char* kind, int list) {
  return add_to_list(filename, kind, read_mol2s, list);
}
