/* Structure files read, chosen from and written, in memory here; paths work alike. docs/structures.md shows what this
   prints. */
#include <nxbriochem/nxbriochem.h>
#include <nxbriofiles/nxbriofiles.h>
#include <stdio.h>
#include <string.h>

/* An old entry: no element columns, text in columns 73-80. */
static const char kEntry[] =
    "ATOM      1  N   LYS A   1       0.000   1.400   0.000  1.00 10.00      1ABC   1\n"
    "ATOM      2  CA  LYS A   1       0.000   0.000   0.000  1.00 10.00      1ABC   2\n"
    "ATOM      3  C   LYS A   1       1.400  -0.600   0.000  1.00 10.00      1ABC   3\n"
    "ATOM      4  O   LYS A   1       1.500  -1.800   0.000  1.00 10.00      1ABC   4\n"
    "ATOM      5  NZ  LYS A   1      -4.000  -3.000   0.000  1.00 10.00      1ABC   5\n"
    "HETATM    6 CA    CA B   2       8.000   0.000   0.000  1.00 10.00      1ABC   6\n"
    "HETATM    7  C1  LIG B   3       4.000   4.000   0.000  1.00 10.00      1ABC   7\n"
    "HETATM    8  O1  LIG B   3       5.200   4.000   0.000  1.00 10.00      1ABC   8\n"
    "HETATM    9  O   HOH B   4       9.000   9.000   9.000  1.00 10.00      1ABC   9\n"
    "END\n";

/* Three records, of which the second is faulty. */
static const char kLigands[] =
    "hydroxide\n\n\n"
    "  1  0  0  0  0  0  0  0  0  0999 V2000\n"
    "    0.0000    0.0000    0.0000 O   0  5\n"
    "M  CHG  1   1  -1\nM  END\n"
    "> <score>\n-7.25\n\n$$$$\n"
    "broken\n\n\n"
    "  1  0  0  0  0  0  0  0  0  0999 V2000\n"
    "    0.0000    0.0x00    0.0000 O   0  0\n"
    "M  END\n$$$$\n"
    "carbon monoxide\n\n\n"
    "  2  1  0  0  0  0  0  0  0  0999 V2000\n"
    "    0.0000    0.0000    0.0000 C   0  0\n"
    "    1.1280    0.0000    0.0000 O   0  0\n"
    "  1  2  3  0\n"
    "M  END\n$$$$\n";

static void tell(int mol) {
  float charges[16] = {0};
  double sum = 0.0;
  nx_get_molecule_charges(charges, mol);
  for (int i = 0; i < nx_get_molecule_atom_number(mol); ++i) {
    sum += (double)charges[i];
  }
  printf("%d atoms, %d residues, %d chains, charges %s, %+.1f in all, radii %s\n", nx_get_molecule_atom_number(mol),
         nxf_number_of_residues(mol), nxf_number_of_chains(mol), nxf_charge_source(mol), sum, nxf_radius_source(mol));
  for (int k = 0; k < nxf_number_of_notes(mol); ++k) {
    printf("note: %s\n", nxf_note(k, mol));
  }
}

static void choose(const char* selection, int mol) {
  int mask[16];
  int chosen = 0;
  if (!nxf_select(mask, selection, mol)) {
    printf("%s\n", nxf_last_error());
    return;
  }
  for (int i = 0; i < nx_get_molecule_atom_number(mol); ++i) {
    chosen += mask[i];
  }
  printf("%s: %d\n", selection, chosen);
}

static void read_entry(void) {
  int mol = nxf_read_molecule_from_memory(kEntry, strlen(kEntry), "1abc.pdb", NULL);
  tell(mol);
  choose("protein", mol);
  choose("hetero and not water", mol);
  choose("B/2-3", mol);
  choose("[CA]", mol);
  choose("protein and (", mol);
  nx_delete_molecule(mol);
}

/* One record after the other: memory does not grow with their number. */
static void read_ligands(void) {
  int reader = nxf_open_memory_reader(kLigands, strlen(kLigands), "ligands.sdf", NULL);
  int mol;
  while (nxf_read_record(&mol, reader)) {
    if (mol == 0) {
      printf("passed over: %s\n", nxf_last_error());
      continue;
    }
    char name[80] = "";
    nx_get_molecule_name(name, mol);
    const char* score = nxf_field("score", mol);
    printf("record %d, line %d: %s, score %s\n", nxf_record_number(reader), (int)nxf_record_line(reader), name,
           score != NULL ? score : "none");
    nxf_set_field("rank", "1", mol);
    if (score != NULL) {
      printf("%s", nxf_molecule_text(NULL, "sdf", mol));
    }
    nx_delete_molecule(mol);
  }
  nxf_close_reader(reader);
}

int main(void) {
  read_entry();
  read_ligands();
  return 0;
}
