// The entry points are complete: they contain the code that uses the low-level readers' results, although none of those
// readers returns.
#include <nxbriochem/molecules/molecule_readers.h>

#include <string>
#include <vector>

#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/briochem_files_internal.h>
#include <nxbriochem/molecules/briochem_internal.h>
#include <nxbriochem/molecules/pdb_struct_internal.h>
#include <nxbriochem/objects/list_obj.h>
#include <nxbriochem/toolkit/nxmolostream.h>

namespace briochem {
namespace {

constexpr int kDelphiType = 1;  // PDB with radius and charge in the columns of occupancy and temperature factor

// ---- Reading ----

// Reads one molecule.
struct MoleculeReader {
  const char* word;
  int (*read)();
};

constexpr MoleculeReader kMoleculeReaders[] = {
    {"delphi", nxi_read_pdb_connect},
    {"delphi_pdb", nxi_read_pdb_connect},
    {"mol2", nxi_read_mol2},
    {"mol2_charged", nxi_read_mol2},
};

// Reads the records of a file's molecules.
struct ArrayReader {
  const char* word;
  int (*read)(const char* filename, PdbArray& array);
};

int read_pdb(const char* filename, PdbArray& array) {
  array.natoms.assign(1, 0);
  return nxi_read_pdb(kDelphiType, filename, 0, &array.atoms, array.natoms.data(), &array.radii, &array.charges);
}

int read_mol2(const char* /*filename*/, PdbArray& /*array*/) { return nxi_read_mol2(); }

constexpr ArrayReader kListReaders[] = {
    {"delphi_pdb", read_pdb},
    {"mol2", read_mol2},
    {"mol2_charged", read_mol2},
};

// Stores the atom counts of the files' molecules in the array.
int with_counts(int result, const File_list& files, const int* natoms, PdbArray& array) {
  if (natoms != nullptr) {
    array.natoms.assign(natoms, natoms + files.number);
  }
  return result;
}

int read_binary(const char* filename, PdbArray& array) {
  File_list files{};
  int* natoms = nullptr;
  const int result = nxi_read_binary_pdb(0, filename, &files, &array.atoms, &natoms);
  return with_counts(result, files, natoms, array);
}

int read_delphi_binary(const char* filename, PdbArray& array) {
  File_list files{};
  int* natoms = nullptr;
  const int result =
      nxi_read_binary_pdb_r_q(kDelphiType, filename, &files, array.atoms, &natoms, &array.radii, &array.charges);
  return with_counts(result, files, natoms, array);
}

constexpr ArrayReader kBinaryReaders[] = {
    {"binary_pdb", read_binary},
    {"delphi_binary_pdb", read_delphi_binary},
};

// Reads a file into a new list. `complaint`, when there is one, is the warning when its molecules cannot be had.
template <std::size_t kRows>
int read_list(const ArrayReader (&readers)[kRows], const char* filename, const char* format, int* list,
              const char* complaint) {
  const ArrayReader* reader = find_format_row(readers, filename, format);
  if (reader == nullptr || !can_be_read(filename) || list == nullptr) {
    return 0;
  }
  return guarded([&] {
    PdbArray array;
    if (reader->read(filename, array) == 0) {
      return 0;
    }
    int made = nx_make_list();
    if (extract_molecules_from_pdb_array(array, made) == 0) {
      if (complaint != nullptr) {
        NxSystem::NxThrow.Warning("%s", complaint);
      }
      nx_delete_list(made);
      return 0;
    }
    *list = made;
    return 1;
  });
}

// ---- Writing ----

// What a binary file holds of a list of molecules.
struct Collected {
  std::vector<std::string> names;  // of the files that the molecules were read from
  std::vector<PdbStruct> atoms;
  std::vector<int> natoms;
  std::vector<float> radii;
  std::vector<float> charges;

  void add(int mol);
};

void Collected::add(int mol) {
  const NxChem::NxMolBase& molecule = model(mol);
  std::string name(static_cast<std::size_t>(nx_get_molecule_file_name_length(mol)), '\0');
  nx_get_molecule_file_name(name.data(), mol);
  names.push_back(name);
  natoms.push_back(static_cast<int>(molecule.NumAtoms()));
  for (const NxChem::NxAtomBase& atom : molecule.GetAtoms()) {
    atoms.push_back(record_of(molecule, atom));
    radii.push_back(atom.GetRadius());
    charges.push_back(atom.GetPartialCharge());
  }
}

int write_binary(const char* filename, File_list files, Collected& collected) {
  return nxi_write_binary_pdb(filename, files, collected.atoms.data(), collected.natoms.data());
}

int write_delphi_binary(const char* filename, File_list files, Collected& collected) {
  return nxi_write_binary_pdb_q_r(filename, files, collected.atoms.data(), collected.natoms.data(),
                                  collected.charges.data(), collected.radii.data());
}

struct BinaryWriter {
  const char* word;
  bool needs_radii_and_charges;
  int (*write)(const char* filename, File_list files, Collected& collected);
};

constexpr BinaryWriter kBinaryWriters[] = {
    {"binary_pdb", false, write_binary},
    {"delphi_binary_pdb", true, write_delphi_binary},
};

// Whether the molecule has a nonzero radius and a nonzero charge; warns when it has not.
bool has_radii_and_charges(int mol) {
  if (nx_is_molecule_radii_set(mol) == 0) {
    NxSystem::NxThrow.Warning("molecule radii not all set!\n");
    return false;
  }
  if (nx_is_molecule_charges_set(mol) == 0) {
    NxSystem::NxThrow.Warning("molecule charges not all set!\n");
    return false;
  }
  return true;
}

int write_list(const char* filename, const BinaryWriter& writer, int list) {
  if (!NxChem::nxmolostream().open(filename) || !is_list(list)) {
    return 0;  // opening changes nothing on disk; the stream has reported the reason
  }
  Collected collected;
  for (const int mol : molecules_of_list(list)) {
    collected.add(mol);
    if (writer.needs_radii_and_charges && !has_radii_and_charges(mol)) {
      return 0;
    }
  }
  std::vector<char*> names;
  for (std::string& name : collected.names) {
    names.push_back(name.data());
  }
  return writer.write(filename, {static_cast<int>(names.size()), names.data()}, collected);
}

}  // namespace
}  // namespace briochem

using namespace briochem;

int nx_get_molecule_object_from_file(const char* filename, const char* format, int* mol) {
  const MoleculeReader* reader = find_format_row(kMoleculeReaders, filename, format);
  if (reader == nullptr || !can_be_read(filename) || mol == nullptr) {
    return 0;
  }
  return reader->read();
}

int nx_get_list_of_molecules_from_file(const char* filename, const char* format, int* list) {
  return read_list(kListReaders, filename, format, list, nullptr);
}

int nx_get_list_of_molecules_from_binary_file(const char* filename, const char* format, int* list) {
  return read_list(kBinaryReaders, filename, format, list, "can not extract molecules from pdb array!");
}

int nx_write_list_of_molecules_to_binary_file(const char* filename, const char* format, int list) {
  const BinaryWriter* writer = find_format_row(kBinaryWriters, filename, format);
  if (writer == nullptr) {
    return 0;
  }
  return guarded([&] { return write_list(filename, *writer, list); });
}

// ---- The low-level readers and writers. Kept: programs rely on the texts as they stand. One lacks the function's
// prefix, some lack the word "Function", and one ends in a full stop. ----

int nxi_write_molecule(FILE* /*stream*/, int /*mol*/) {
  NxSystem::NxThrow.Fatal("Function nxi_write_molecule(FILE*,int) not implemented");
  return 0;
}

int nxi_read_molecule(FILE* /*stream*/) {
  NxSystem::NxThrow.Fatal("Function nxi_read_molecule(FILE*) not implemented");
  return 0;
}

int nx_read_molecule_object(const char* /*filename*/, int* /*mol*/) {
  NxSystem::NxThrow.Fatal("nx_read_molecule_object(char*,int*) not implemented");
  return 0;
}

int nx_read_mol2s(void) {
  NxSystem::NxThrow.Fatal("nx_read_mol2s() not implemented");
  return 0;
}

int nxi_read_PdbStruct(void) {
  NxSystem::NxThrow.Fatal("nx_read_PdbStruct() not implemented");
  return 0;
}

int nxi_read_mol2(void) {
  NxSystem::NxThrow.Fatal("nxi_read_mol2() not implemented");
  return 0;
}

int nxi_read_pdb_connect(void) {
  NxSystem::NxThrow.Fatal("nxi_read_pdb_connect() not implemented");
  return 0;
}

int nxi_file_input_list(int /*kind*/, const char* /*filename*/, File_list* /*files*/) {
  NxSystem::NxThrow.Fatal("nxi_file_input_list(int,char*,File_list*) not implemented");
  return 0;
}

int nxi_read_delphi_crg_or_rad_record(int /*kind*/, const char* /*filename*/, CRecord** /*records*/, int* /*count*/,
                                      int /*hash*/) {
  NxSystem::NxThrow.Fatal("nxi_read_delphi_crg_or_rad_record(int, char*, CRecord**,int*,int) not implemented.");
  return 0;
}

int nxi_read_pdb(int /*type*/, const char* /*filename*/, int /*connect*/, PdbStruct** /*atoms*/, int* /*natoms*/,
                 float** /*radii*/, float** /*charges*/) {
  NxSystem::NxThrow.Fatal("nxi_read_pdb(int,char*,int,PdbStruct**,int*,float**,float**) not implemented");
  return 0;
}

int nxi_read_pdbs(int /*type*/, File_list /*files*/, PdbStruct** /*atoms*/, int* /*natoms*/, int* /*nmolecules*/,
                  int /*connect*/, float** /*radii*/, float** /*charges*/) {
  NxSystem::NxThrow.Fatal("nxi_read_pdbs(int,File_list,PdbStruct**,int*,int*,int,float**,float**) not implemented");
  return 0;
}

int nxi_read_binary_pdb(int /*type*/, const char* /*filename*/, File_list* /*files*/, PdbStruct** /*atoms*/,
                        int** /*natoms*/) {
  NxSystem::NxThrow.Fatal("nxi_read_binary_pdb(int,char*,File_list*,PdbStruct**,int**) not implemented");
  return 0;
}

int nxi_read_binary_pdb_r_q(int /*type*/, const char* /*filename*/, File_list* /*files*/, PdbStruct* /*atoms*/,
                            int** /*natoms*/, float** /*radii*/, float** /*charges*/) {
  NxSystem::NxThrow.Fatal(
      "nxi_read_binary_pdb_r_q(int,char*,File_list*,PdbStruct*,int**,float**,float**) not implemented");
  return 0;
}

int nxi_write_binary_pdb(const char* /*filename*/, File_list /*files*/, PdbStruct* /*atoms*/, int* /*natoms*/) {
  NxSystem::NxThrow.Fatal("nxi_write_binary_pdb(char*,File_list,PdbStruct*,int*) not implemented");
  return 0;
}

int nxi_write_binary_pdb_q_r(const char* /*filename*/, File_list /*files*/, PdbStruct* /*atoms*/, int* /*natoms*/,
                             float* /*charges*/, float* /*radii*/) {
  NxSystem::NxThrow.Fatal("nxi_write_binary_pdb_q_r(char*,File_list,PdbStruct*,int*,float*,float*) not implemented");
  return 0;
}

int nx_write_molecule_object(const char* /*filename*/, int /*mol*/) {
  NxSystem::NxThrow.Error("nx_write_molecule_object(char*,int) not implemented");
  return 1;
}
