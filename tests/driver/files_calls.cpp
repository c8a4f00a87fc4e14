// The calls of libnxbriofiles. They read files that other calls have written, and small files with a few bytes changed.
#include <nxbriochem/nxbriochem.h>
#include <nxbriofiles/nxbriofiles.h>

#include <array>
#include <string>
#include <vector>

#include "tests/driver/calls.h"

namespace driver {
namespace {

constexpr std::array<const char*, 6> kFiles = {
    "ATOM 1 N GLY 1 0.0 0.0 0.0 0.5 1.8\nATOM 2 CA GLY 1 1.5 0.0 0.0 -0.5 1.9\nENDMDL\n"
    "ATOM 1 ZN ZN 1 0.0 0.0 0.0 2.0 1.4\n",
    "MODEL        1\nATOM      1  N   GLY A   1       0.000   0.000   0.000  1.00 10.00\n"
    "HETATM    2 ZN    ZN A   2       3.000   0.000   0.000  1.00 10.00          ZN2+\nENDMDL\nMODEL        2\n"
    "ATOM      1  N   GLY A   1       1.000   0.000   0.000  1.00 10.00\nENDMDL\nCONECT    1    2\nEND\n",
    "data_x\nloop_\n_atom_site.label_atom_id\n_atom_site.label_comp_id\n_atom_site.label_asym_id\n"
    "_atom_site.label_seq_id\n_atom_site.Cartn_x\n_atom_site.Cartn_y\n_atom_site.Cartn_z\n"
    "CA CA Long 1 0 0 0\nCA GLY A 2 1 1 1\n",
    "one\n\n\n  2  1  0  0  0  0  0  0  0  0999 V2000\n    0.0000    0.0000    0.0000 C   0  0\n"
    "    1.2000    0.0000    0.0000 O   0  5\n  1  2  1  0\nM  CHG  1   2  -1\nM  END\n> <n>\n7\n\n$$$$\n",
    "@<TRIPOS>MOLECULE\none\n2 1 1\nSMALL\nUSER_CHARGES\n@<TRIPOS>ATOM\n1 C1 0.0 0.0 0.0 C.3 1 UNL1 0.25\n"
    "2 O1 1.2 0.0 0.0 O.3 1 UNL1 -0.25\n@<TRIPOS>BOND\n1 1 2 1\n",
    "2\nfirst\nC 0 0 0\nO 0 0 1.2\n1\nsecond\n1 0 0 0\n"};

// The files to read: some intact, most with a few characters changed or the end missing. They are kept, since open
// readers go on reading them.
const std::vector<std::string>& files(Arguments& arguments) {
  constexpr int kMany = 48;
  static std::vector<std::string> made;
  while (made.size() < kMany) {
    std::string text = kFiles[made.size() % kFiles.size()];
    for (int changes = static_cast<int>(made.size() / kFiles.size()); changes > 0; --changes) {
      text[static_cast<std::size_t>(arguments.below(static_cast<int>(text.size())))] =
          " 0-9.\n\rA$@\xff"[arguments.below(12)];
    }
    text.resize(arguments.one_in(8) ? text.size() / 2 : text.size());
    made.push_back(text);
  }
  return made;
}

struct Bytes {
  const char* begin;
  std::size_t size;
  const char* name;
  const char* format;
};
Bytes bytes(Arguments& arguments) {
  static constexpr std::array<const char*, 7> kNames = {"a.pqr", "a.pdb", "a.cif", "a.sdf", "a.mol2", "a.xyz", "a"};
  const auto i = static_cast<std::size_t>(arguments.below(48));
  const std::string& text = files(arguments)[i];
  const char* const name =
      arguments.one_in(4) ? kNames[static_cast<std::size_t>(arguments.below(7))] : kNames[i % kFiles.size()];
  return {arguments.one_in(40) ? nullptr : text.data(), text.size(), arguments.one_in(40) ? nullptr : name,
          arguments.one_in(4) ? arguments.text('w') : nullptr};
}

void call_read_from_memory(Arguments& arguments, const char*) {
  const Bytes from = bytes(arguments);
  arguments.keep('m', nxf_read_molecule_from_memory(from.begin, from.size, from.name, from.format));
}
void call_open_memory_reader(Arguments& arguments, const char*) {
  const Bytes from = bytes(arguments);
  arguments.keep('a', nxf_open_memory_reader(from.begin, from.size, from.name, from.format));
}

// Reads into a new list, from which the new molecules are taken.
template <class Add>
void add_to_list(Arguments& arguments, Add add) {
  const int other = arguments.integer('l');
  const int list = nx_make_list();
  add(list);
  const int length = nx_get_list_length(list);
  std::vector<int> members(static_cast<std::size_t>(length) + 1);
  int* end = members.data();
  nxi_unroll_list(&end, list);
  for (int i = 0; i < length; ++i) {
    arguments.keep('m', members[static_cast<std::size_t>(i)]);
  }
  nx_delete_list(list);
  // A handle of no list must be refused.
  if (nxi_return_type_of_handle(other) != 2) {
    add(other);
  }
}
void call_add_to_list(Arguments& arguments, const char*) {
  const char* const path = arguments.text('p');
  const char* const format = arguments.text('w');
  add_to_list(arguments, [&](int list) { nxf_add_molecules_to_list(path, format, list); });
}
void call_add_from_memory(Arguments& arguments, const char*) {
  const Bytes from = bytes(arguments);
  add_to_list(arguments, [&](int list) {
    nxf_add_molecules_to_list_from_memory(from.begin, from.size, from.name, from.format, list);
  });
}

void call_read_record(Arguments& arguments, const char*) {
  const int reader = arguments.integer('a');
  int mol = 0;
  nxf_read_record(arguments.one_in(40) ? nullptr : &mol, reader);
  arguments.keep('m', mol);
}

void call_select(Arguments& arguments, const char* kinds) {
  static constexpr std::array<const char*, 10> kTexts = {"protein",
                                                         "hetero and not water",
                                                         "not ( nucleic or A )",
                                                         "B/10-20",
                                                         "(ALA,GLY)",
                                                         "CA[C]",
                                                         "*;q<0.5",
                                                         "( all",
                                                         "and",
                                                         "/1/A/3/N:A"};
  const auto select = [](int* mask, int which, int mol) {
    return nxf_select(mask, which < 0 ? nullptr : kTexts[static_cast<std::size_t>(which) % kTexts.size()], mol);
  };
  call_with(+select, arguments, kinds, std::make_index_sequence<3>());
}

#define PLAIN(function, kinds) plain(&function, #function, kinds)
// Calls that unroll lists run in a child, since lists nested at random may unroll to any length.
#define ENDS(function, kinds) ends(&function, #function, kinds)

}  // namespace

std::vector<Entry> files_calls() {
  return {
      PLAIN(nxf_read_molecule, "pw:m"),
      {"nxf_read_molecule_from_memory", "", call_read_from_memory},
      {"nxf_add_molecules_to_list", "", call_add_to_list},
      {"nxf_add_molecules_to_list_from_memory", "", call_add_from_memory},
      PLAIN(nxf_open_reader, "pw:a"),
      {"nxf_open_memory_reader", "", call_open_memory_reader},
      {"nxf_read_record", "", call_read_record},
      PLAIN(nxf_skip_record, "a"),
      PLAIN(nxf_record_text, "*[1]a"),
      PLAIN(nxf_record_number, "a"),
      PLAIN(nxf_record_line, "a"),
      PLAIN(nxf_reader_format, "a"),
      PLAIN(nxf_close_reader, "a"),
      PLAIN(nxf_molecule_format, "m"),
      PLAIN(nxf_molecule_model, "m"),
      PLAIN(nxf_molecule_title, "m"),
      PLAIN(nxf_charge_source, "m"),
      PLAIN(nxf_radius_source, "m"),
      PLAIN(nxf_number_of_notes, "m"),
      PLAIN(nxf_note, "im"),
      PLAIN(nxf_number_of_residues, "m"),
      PLAIN(nxf_number_of_chains, "m"),
      PLAIN(nxf_chain_letter, "im"),
      PLAIN(nxf_chain_name, "im"),
      PLAIN(nxf_number_of_fields, "m"),
      PLAIN(nxf_field_name, "im"),
      PLAIN(nxf_field, "sm"),
      PLAIN(nxf_set_field, "ssm"),
      PLAIN(nxf_delete_field, "sm"),
      PLAIN(nxf_get_atomic_numbers, "*[A]m"),
      PLAIN(nxf_set_atomic_numbers, "*[A]m"),
      PLAIN(nxf_get_formal_charges, "*[A]m"),
      PLAIN(nxf_set_formal_charges, "*[A]m"),
      PLAIN(nxf_get_insertion_codes, "*[A]m"),
      PLAIN(nxf_get_hetero_flags, "*[A]m"),
      PLAIN(nxf_get_occupancies, "*[A]m"),
      PLAIN(nxf_get_b_factors, "*[A]m"),
      {"nxf_select", "*[A]im", call_select},
      PLAIN(nxf_extract_atoms, "*[A]m:m"),
      PLAIN(nxf_write_molecule, "pwm"),
      ENDS(nxf_write_list_of_molecules, "pwl"),
      PLAIN(nxf_molecule_text, "*[1]wm"),
      ENDS(nxf_list_text, "*[1]wl"),
      PLAIN(nxf_last_error, ""),
  };
}

}  // namespace driver
