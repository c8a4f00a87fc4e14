/* What the library writes and reads: structure files, lists of molecules, values from text. docs/files.md shows what
   this prints. */
#include <nxbriochem/nxbriochem.h>
#include <stdio.h>

static int make_hydrogen_cyanide(float shift) {
  const float places[9] = {shift - 1.064F, 0.0F, 0.0F, shift, 0.0F, 0.0F, shift + 1.156F, 0.0F, 0.0F};
  const float charges[3] = {0.235F, 0.154F, -0.389F};
  const int residue[3] = {7, 7, 7};
  int mol = nx_make_molecule();
  nx_set_molecule_name("hydrogen cyanide", mol);
  nx_set_molecule_atom_number(3, mol);
  nx_set_molecule_element("HCN", mol);
  nx_set_molecule_atom_names("H\0C\0N", mol);
  nx_set_molecule_residue_names("HCN\0HCN\0HCN", mol);
  nx_set_molecule_residue_number(residue, mol);
  nx_set_molecule_chain_names("AAA", mol);
  nx_set_molecule_coordinates(places, mol);
  nx_set_molecule_charges(charges, mol);
  nx_assign_bondi_radii(mol);
  return mol;
}

static void print_file(const char* title, const char* path) {
  char line[128];
  FILE* file = fopen(path, "r");
  printf("---- %s\n", title);
  while (file != NULL && nxi_ReadLine(file, line, (int)sizeof line)) {
    printf("%s\n", line);
  }
  if (file != NULL) {
    fclose(file);
  }
}

static void formats(int mol, const char* path) {
  const char* const words[] = {"pdb", "delphi_pdb", "pqr"};
  for (size_t i = 0; i < sizeof words / sizeof words[0]; ++i) {
    if (nx_write_molecule(path, words[i], mol)) {
      print_file(words[i], path);
    }
  }
  /* What has no bonds is written without: make them first. */
  nx_make_bonds_by_distance(mol);
  nx_write_molecule(path, "sdf", mol);
  print_file("sdf", path);
}

static void models(int mol, const char* path) {
  int list = nx_make_list();
  int other = make_hydrogen_cyanide(4.0F);
  nx_add_to_list(mol, list);
  nx_add_to_list(other, list);
  nx_write_list_of_molecules(path, "pqr", list);
  print_file("two models", path);
  nx_delete_list(list);
  nx_delete_molecule(other);
}

/* A file that cannot be written leaves what was there. */
static void refusals(int mol, const char* path) {
  printf("---- refused\n");
  printf("unknown format: %d\n", nx_write_molecule(path, "PDB", mol));
  printf("no such directory: %d\n", nx_write_molecule("/nowhere/at/all.pdb", "pdb", mol));
  nx_write_molecule(path, "xyz", mol);
  nx_set_molecule_coordinates_element(1e9F, 0, mol);
  printf("too far out for its columns: %d\n", nx_write_molecule(path, "pdb", mol));
  print_file("still there", path);
}

/* A line of an input file: numbers, variables and formulas, with blanks between them. */
static void values(void) {
  printf("---- values\n");
  nxi_AddVariableToTable("water", 78.54);
  nxi_SetScanLine("grid 65 spacing=0.5 (water + 4) / 2 2^3");
  printf("word %s", (const char*)nxi_GetDataElement("char"));
  printf(", int %d", *(const int*)nxi_GetDataElement("int"));
  printf(", defined %.2f", *(const double*)nxi_GetDataElement("double"));
  printf(", formula %.2f", *(const double*)nxi_GetDataElement("double"));
  printf("\n");
}

int main(int argc, char** argv) {
  setvbuf(stdout, NULL, _IOLBF, BUFSIZ); /* in order with standard error, where the molecule layer reports */
  const char* path = argc > 1 ? argv[1] : "example.out";
  int mol = make_hydrogen_cyanide(0.0F);
  formats(mol, path);
  models(mol, path);
  refusals(mol, path);
  values();
  nx_delete_molecule(mol);
  remove(path);
  return 0;
}
