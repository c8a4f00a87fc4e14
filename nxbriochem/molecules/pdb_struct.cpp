#include <nxbriochem/molecules/pdb_struct.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <nxbriochem/molecules/atom_names_internal.h>
#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/briochem_files_internal.h>
#include <nxbriochem/molecules/briochem_internal.h>
#include <nxbriochem/molecules/pdb_struct_internal.h>
#include <nxbriochem/objects/list_obj.h>
#include <nxbriochem/toolkit/nxelements.h>
#include <nxbriochem/toolkit/nxmolostream.h>
#include <nxbriochem/util/text_internal.h>

namespace briochem {
namespace {

using NxChem::NxAtomBase;
using NxChem::NxMolBase;
using NxChem::NxResidue;
using text::trimmed;

// A record's text, which may fill its field without a NUL.
template <std::size_t kSize>
std::string_view text_of(const char (&field)[kSize]) {
  return {field, strnlen(field, kSize)};
}

template <std::size_t kSize>
void put_text(char (&field)[kSize], std::string_view text) {
  text.copy(field, kSize - 1);
}

char character_of(char c) { return c == '\0' ? ' ' : c; }

NxResidue residue_of(const PdbStruct& record) {
  NxResidue residue;
  residue.SetName(trimmed(text_of(record.residue_name)));
  residue.SetResidueNumber(record.residue_number);
  residue.SetChainID(character_of(record.chain));
  residue.SetInsertCode(character_of(record.insertion_code));
  residue.SetAlternateLocation(character_of(record.alternate_location));
  residue.SetOccupancy(record.occupancy);
  residue.SetBFactor(record.temperature_factor);
  residue.SetHetAtom(record.het_atom != 0);
  return residue;
}

// Names lose their blanks, except that of a dummy atom: without an element, the blanks tell files its columns.
void add_record(NxMolBase& mol, const PdbStruct& record, float radius, float charge) {
  const std::string_view name = text_of(record.atom_name);
  const std::string_view symbol = trimmed(text_of(record.element));
  const unsigned element =
      symbol.empty() ? element_of_name(name, text_of(record.residue_name)) : NxChem::NxGetAtomicNum(symbol);
  NxAtomBase& atom = *mol.NewAtom(element);
  atom.SetName(element == 0 ? name : trimmed(name));
  atom.SetRadius(radius);
  atom.SetPartialCharge(charge);
  NxChem::NxAtomSetResidue(atom, residue_of(record));
  mol.SetCoords(atom, record.coordinates);
}

// A molecule with a handle for as long as it lives; 0 when no handle is free.
class TemporaryMolecule {
 public:
  TemporaryMolecule() : handle_(NxBrioChem::NxAcquireHandle(mol_)) {}
  TemporaryMolecule(const TemporaryMolecule&) = delete;
  TemporaryMolecule& operator=(const TemporaryMolecule&) = delete;
  ~TemporaryMolecule() {
    if (handle_ != 0) {
      NxBrioChem::NxReleaseHandle(handle_);
    }
  }

  NxChem::NxMol& mol() { return mol_; }
  int handle() const { return handle_; }

 private:
  NxChem::NxMol mol_;
  int handle_;
};

bool write_pdb(const char* filename, int type, const NxMolBase& mol) {
  NxChem::nxmolostream stream;
  if (!stream.open(filename)) {
    NxSystem::NxThrow.Warning("Unable to open output file: %s\n", filename);
    return false;
  }
  stream.SetFormat(NxChem::NxFileType::Pdb);
  if (type == 1) {
    stream.SetFlavor(NxChem::NxFileType::Pdb, NxChem::kNxPdbFlavorDelPhi);
  }
  return NxChem::NxWriteMolecule(stream, mol) && stream.close();
}

}  // namespace

void add_records(NxMolBase& mol, const PdbStruct* atoms, int natoms, const float* radii, const float* charges) {
  mol.Reserve(mol.GetMaxAtomIdx() + static_cast<unsigned>(natoms), mol.GetMaxBondIdx());
  for (int i = 0; i < natoms; ++i) {
    add_record(mol, atoms[i], radii != nullptr ? radii[i] : atoms[i].radius,
               charges != nullptr ? charges[i] : atoms[i].charge);
  }
}

PdbStruct record_of(const NxMolBase& mol, const NxAtomBase& atom) {
  NxResidue residue = NxChem::NxAtomGetResidue(atom);
  if (!NxChem::NxHasResidue(atom)) {
    residue.SetName("UNL");
    residue.SetResidueNumber(1);
    residue.SetHetAtom(true);
  }
  PdbStruct record{};
  mol.GetCoords(atom, record.coordinates);
  record.radius = atom.GetRadius();
  record.charge = atom.GetPartialCharge();
  record.occupancy = residue.GetOccupancy();
  record.temperature_factor = residue.GetBFactor();
  record.residue_number = residue.GetResidueNumber();
  put_text(record.atom_name, name_of(store_of(mol), atom.GetIdx()));
  put_text(record.residue_name, residue.GetName());
  put_text(record.element, NxChem::NxGetAtomicSymbol(atom.GetAtomicNum()));
  record.chain = residue.GetChainID();
  record.insertion_code = residue.GetInsertCode();
  record.alternate_location = residue.GetAlternateLocation();
  record.het_atom = static_cast<char>(residue.IsHetAtom());
  return record;
}

int extract_molecules_from_pdb_array(const PdbArray& array, int list) {
  const auto is_empty_count = [](int n) { return n <= 0; };
  if (array.atoms == nullptr || array.natoms.empty() ||
      std::any_of(array.natoms.begin(), array.natoms.end(), is_empty_count)) {
    NxSystem::NxThrow.Warning("no atoms sent to extract_molecules_from_pdb_array\n");
    return 0;
  }
  if (!is_list(list)) {
    return 0;
  }
  std::vector<int> molecules;
  std::size_t at = 0;
  for (const int n : array.natoms) {
    auto mol = std::make_unique<NxChem::NxMol>();
    add_records(*mol, array.atoms + at, n, array.radii != nullptr ? array.radii + at : nullptr,
                array.charges != nullptr ? array.charges + at : nullptr);
    const int handle = NxBrioChem::NxAcquireHandle(*mol);
    if (handle == 0) {
      std::for_each(molecules.rbegin(), molecules.rend(), nx_delete_molecule);
      return 0;
    }
    molecules.push_back(handle);
    static_cast<void>(mol.release());  // nx_delete_molecule's from now on
    at += static_cast<std::size_t>(n);
  }
  for (const int mol : molecules) {
    nx_add_to_list(mol, list);
  }
  return 1;
}

}  // namespace briochem

using namespace briochem;

int nxi_write_pdb(const char* filename, int type, const PdbStruct* atoms, int natoms, const int* bonds, int nbonds,
                  const float* radii, const float* charges) {
  if (!is_filename_given(filename)) {
    return 0;
  }
  if (natoms < 0 || nbonds < 0 || (atoms == nullptr && natoms > 0) || (bonds == nullptr && nbonds > 0)) {
    return 0;
  }
  if (type > 1) {
    NxSystem::NxThrow.Warning("writing of types other than 0 or 1 not supported");
  }
  return guarded([&] {
    TemporaryMolecule temporary;
    const int mol = temporary.handle();
    if (mol == 0) {
      return 0;
    }
    add_records(temporary.mol(), atoms, natoms, radii, charges);
    if (nx_set_molecule_bond_number(nbonds, mol) == 0) {
      return 0;
    }
    nx_set_molecule_bonds(bonds, mol);  // warns of bonds that it does not wire
    return static_cast<int>(write_pdb(filename, type, temporary.mol()));
  });
}
