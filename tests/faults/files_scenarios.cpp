// The calls of libnxbriofiles: each fails with a message and changes nothing, except for tables that molecules need.
// The queue has room for the messages.
#include <nxbriochem/nxbriochem.h>
#include <nxbriofiles/nxbriofiles.h>

#include <string>

#include "tests/faults/scenarios.h"

namespace faults {
namespace {

constexpr char kPqr[] = "ATOM 1 N GLY 1 0.0 0.0 0.0 0.5 1.8\nATOM 2 CA GLY 1 1.5 0.0 0.0 -0.5 1.9\n";
constexpr char kPdb[] =
    "TITLE     A TITLE\n"
    "ATOM      1  N   GLY A   1       0.000   0.000   0.000  1.00 10.00\n"
    "HETATM    2 ZN    ZN A   2       3.000   0.000   0.000  1.00 10.00          ZN2+\nCONECT    1    2\nEND\n";
constexpr char kSdf[] =
    "one\n\n\n  1  0  0  0  0  0  0  0  0  0999 V2000\n    0.0000    0.0000    0.0000 O   0  0\nM  END\n"
    "> <n>\n7\n\n$$$$\n";
constexpr char kMol2[] =
    "@<TRIPOS>MOLECULE\none\n2 1 1\nSMALL\nUSER_CHARGES\n@<TRIPOS>ATOM\n1 C1 0 0 0 C.2 1 A1 0.5\n"
    "2 O1 1 0 0 O.co2 1 A1 -0.5\n@<TRIPOS>BOND\n1 1 2 ar\n@<TRIPOS>SUBSTRUCTURE\n1 A1 1 RESIDUE 1 AA A\n";
constexpr char kCif[] =
    "data_x\nloop_\n_atom_site.label_atom_id\n_atom_site.label_comp_id\n_atom_site.label_asym_id\n"
    "_atom_site.label_seq_id\n_atom_site.Cartn_x\n_atom_site.Cartn_y\n_atom_site.Cartn_z\nCA CA AA 1 0 0 0\n";
constexpr char kXyz[] = "1\nfirst\nO 0 0 0\n";

// The molecule layer ends the process.
constexpr unsigned kMolecule = kFails | kFatal;

// A message about it needs memory.
constexpr int kNoReader = -1000000007;

int mol;
int list;
int reader;
int numbers[8];
constexpr int kAll[8] = {1, 1, 1, 1, 1, 1, 1, 1};
std::size_t size;

void room_for_messages() { nxi_err("a message\n"); }

void a_molecule() {
  room_for_messages();
  mol = nxf_read_molecule_from_memory(kSdf, sizeof kSdf - 1, "a.sdf", nullptr);
}

void lists() {
  a_molecule();
  nx_delete_molecule(nx_copy_molecule(mol));
  list = nx_make_list();
  nx_add_to_list(mol, list);
  nx_add_to_list(nx_copy_molecule(mol), list);
}

void a_file() {
  lists();
  nxf_write_molecule(written_path.c_str(), "pdb", mol);
}

bool deleted(int read) {
  if (read != 0) {
    nx_delete_molecule(read);
  }
  return read != 0;
}
template <const auto& text>
bool read(const char* name) {
  return deleted(nxf_read_molecule_from_memory(text, sizeof text - 1, name, nullptr));
}

bool added(int added_now) {
  // A list's molecules are the caller's.
  while (nx_get_list_length(list) > 2) {
    int last = 0;
    nx_go_to_list_end(list);
    nx_get_list_current_object(&last, list);
    nx_delete_current_from_list(list);
    nx_delete_molecule(last);
  }
  return added_now == 1;
}

bool opened(int now) {
  if (now != 0) {
    nxf_close_reader(now);
  }
  return now != 0;
}

// After a record that could not be read to its end a reader gives no further records, so each call needs a new reader.
void a_reader() {
  lists();
  static const std::string text = std::string(kXyz) + kXyz;
  reader = nxf_open_memory_reader(text.data(), text.size(), "a.xyz", nullptr);
}
bool record_read() {
  int now = 0;
  nxf_read_record(&now, reader);
  if (now != 0) {
    nx_delete_molecule(now);
  }
  return now != 0;
}

// A molecule that was not read from a file, in a process without any tags.
void bare() {
  room_for_messages();
  mol = nx_make_molecule();
}

}  // namespace

std::vector<Scenario> files_scenarios() {
  return {
      CALL_AS("nxf_read_molecule", kMolecule, a_file, deleted(nxf_read_molecule(written_path.c_str(), "pdb"))),
      CALL_AS("nxf_read_molecule_from_memory", kMolecule, lists, read<kPqr>("a.pqr")),
      CALL_AS("nxf_read_molecule_from_memory of pdb", kMolecule, lists, read<kPdb>("a.pdb")),
      CALL_AS("nxf_read_molecule_from_memory of xyz", kMolecule, lists, read<kXyz>("a.xyz")),
      CALL_AS("nxf_read_molecule_from_memory of mmcif", kMolecule, lists, read<kCif>("a.cif")),
      CALL_AS("nxf_read_molecule_from_memory of sdf", kMolecule | kLeaves, lists, read<kSdf>("a.sdf")),
      CALL_AS("nxf_read_molecule_from_memory of mol2", kMolecule | kLeaves, lists, read<kMol2>("a.mol2")),
      CALL_AS("nxf_add_molecules_to_list", kMolecule, a_file,
              added(nxf_add_molecules_to_list(written_path.c_str(), "pdb", list))),
      CALL_AS("nxf_add_molecules_to_list_from_memory", kMolecule, lists,
              added(nxf_add_molecules_to_list_from_memory(kXyz, sizeof kXyz - 1, "a.xyz", nullptr, list))),
      CALL_AS("nxf_open_reader", kFails, a_file, opened(nxf_open_reader(written_path.c_str(), "pdb"))),
      CALL_AS("nxf_open_memory_reader", kFails, lists,
              opened(nxf_open_memory_reader(kXyz, sizeof kXyz - 1, "a.xyz", nullptr))),
      CALL_AS("nxf_read_record", kMolecule, a_reader, record_read()),
      // Handles of no reader: the allocation is for the message.
      CALL(nxf_skip_record, kFails, room_for_messages, (kNoReader)),
      CALL(nxf_record_text, kFails, room_for_messages, (nullptr, kNoReader)),
      CALL(nxf_record_number, kFails, room_for_messages, (kNoReader)),
      CALL(nxf_record_line, kFails, room_for_messages, (kNoReader)),
      CALL(nxf_reader_format, kFails, room_for_messages, (kNoReader)),
      CALL(nxf_close_reader, kFails, room_for_messages, (kNoReader)),
      // The allocation is for the tag. Without it texts are "".
      CALL(nxf_molecule_format, kWithout, bare, (mol)),
      CALL(nxf_molecule_model, kFails, bare, (mol)),
      CALL(nxf_molecule_title, kWithout, bare, (mol)),
      CALL(nxf_charge_source, kWithout, bare, (mol)),
      CALL(nxf_radius_source, kWithout, bare, (mol)),
      CALL(nxf_number_of_notes, kFails, bare, (mol)),
      CALL(nxf_note, kFails, bare, (0, mol)),
      CALL(nxf_number_of_residues, kFails, bare, (mol)),
      CALL(nxf_number_of_chains, kFails, bare, (mol)),
      CALL(nxf_chain_letter, kFails, bare, (0, mol)),
      CALL(nxf_chain_name, kFails, bare, (0, mol)),
      CALL(nxf_number_of_fields, kFails, bare, (mol)),
      CALL(nxf_field_name, kFails, bare, (0, mol)),
      CALL(nxf_field, kFails, bare, ("name", mol)),
      CALL(nxf_delete_field, kFails, a_molecule, ("other", mol)),
      CALL(nxf_set_field, kFails, a_molecule, ("name", "a text that is too long to need no memory", mol)),
      CALL(nxf_select, kFails, a_molecule, (numbers, "not ( protein or A/10-20 )", mol)),
      CALL_AS("nxf_extract_atoms", kMolecule, a_molecule, deleted(nxf_extract_atoms(kAll, mol))),
      CALL(nxf_write_molecule, kMolecule, a_molecule, (written_path.c_str(), "sdf", mol)),
      CALL(nxf_write_list_of_molecules, kMolecule | kBlock, lists, (written_path.c_str(), "sdf", list)),
      CALL(nxf_molecule_text, kFails, a_molecule, (&size, "mmcif", mol)),
      CALL(nxf_list_text, kMolecule | kBlock, lists, (&size, "sdf.gz", list)),
  };
}

}  // namespace faults
