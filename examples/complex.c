/* A complex from two files: reads two PQR files, calculates their Coulombic binding energy on the way apart, turns the
   ligand and brings it back, and writes the ligand. docs/complex.md shows what this prints.

   usage: complex OUT [TARGET.pqr LIGAND.pqr]     writes OUT.pdb and OUT.pqr */
#include <math.h>
#include <nxbriochem/nxbriochem.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define EXAMPLES "/usr/share/apbs/examples/hca-bind/"

/* Ends the program where a step has failed. What the molecule layer had to say is on standard error by then. */
static void need(int went_well, const char* step) {
  if (!went_well) {
    fprintf(stderr, "failed: %s\n", step);
    nx_print_new_errors();
    exit(1);
  }
}

/* What a molecule takes, one entry per atom. Names are packed: one after the other, each ended by a NUL. */
typedef struct Atoms {
  int count;
  float *places, *charges, *radii;
  int* residue_numbers;
  char *chains, *names, *residues;
  char *names_end, *residues_end;
} Atoms;

enum { kLine = 256, kName = 8, kFields = 11 };

static int is_atom(const char* line) { return strncmp(line, "ATOM", 4) == 0 || strncmp(line, "HETATM", 6) == 0; }

static void append(char** end, const char* name) {
  const size_t size = strlen(name) + 1;
  need(size <= kName, "a name that is too long");
  memcpy(*end, name, size);
  *end += size;
}

/* ATOM serial name residue [chain] number x y z charge radius, parted by blanks. */
static void read_atom(char* line, Atoms* atoms) {
  char* field[kFields];
  int n = 0;
  for (char* word = strtok(line, " \t\r\n"); word != NULL && n < kFields; word = strtok(NULL, " \t\r\n")) {
    field[n++] = word;
  }
  need(n >= kFields - 1, "an atom with too few fields");
  const int i = atoms->count++;
  for (int k = 0; k < 3; ++k) {
    atoms->places[3 * i + k] = strtof(field[n - 5 + k], NULL);
  }
  atoms->charges[i] = strtof(field[n - 2], NULL);
  atoms->radii[i] = strtof(field[n - 1], NULL);
  atoms->residue_numbers[i] = (int)strtol(field[n - 6], NULL, 10);
  atoms->chains[i] = n == kFields ? field[4][0] : ' ';
  append(&atoms->names_end, field[2]);
  append(&atoms->residues_end, field[3]);
}

/* Hands the arrays over, of which the molecule keeps copies. The elements come from the names. */
static int make_molecule(const Atoms* atoms, const char* title) {
  int mol = nx_make_molecule();
  need(mol != 0, "a handle");
  need(nx_set_molecule_name(title, mol), "title");
  need(nx_set_molecule_atom_number(atoms->count, mol), "atoms");
  need(nx_set_molecule_coordinates(atoms->places, mol), "coordinates");
  need(nx_set_molecule_charges(atoms->charges, mol), "charges");
  need(nx_set_molecule_radii(atoms->radii, mol), "radii");
  need(nx_set_molecule_atom_names(atoms->names, mol), "atom names");
  need(nx_set_molecule_residue_names(atoms->residues, mol), "residue names");
  need(nx_set_molecule_residue_number(atoms->residue_numbers, mol), "residue numbers");
  need(nx_set_molecule_chain_names(atoms->chains, mol), "chains");
  need(nx_make_element_list(mol), "elements");
  return mol;
}

/* The arrays are tracked memory, of which nx_malloc and nx_calloc never give null. */
static int read_pqr(const char* path) {
  char line[kLine];
  int room = 1;
  FILE* in = fopen(path, "r");
  need(in != NULL, path);
  while (fgets(line, sizeof line, in) != NULL) {
    room += is_atom(line);
  }
  Atoms atoms = {.places = nx_calloc(3 * room, sizeof(float)),
                 .charges = nx_calloc(room, sizeof(float)),
                 .radii = nx_calloc(room, sizeof(float)),
                 .residue_numbers = nx_calloc(room, sizeof(int)),
                 .chains = nx_calloc(room, 1),
                 .names = nx_calloc(room, kName),
                 .residues = nx_calloc(room, kName)};
  atoms.names_end = atoms.names;
  atoms.residues_end = atoms.residues;
  rewind(in);
  while (fgets(line, sizeof line, in) != NULL) {
    if (is_atom(line)) {
      read_atom(line, &atoms);
    }
  }
  fclose(in);
  int mol = make_molecule(&atoms, path);
  void* const arrays[] = {atoms.places, atoms.charges, atoms.radii,   atoms.residue_numbers,
                          atoms.chains, atoms.names,   atoms.residues};
  for (size_t i = 0; i < sizeof arrays / sizeof arrays[0]; ++i) {
    nx_free(arrays[i]);
  }
  return mol;
}

static void find_centre(int mol, float centre[3]) {
  const int n = nx_get_molecule_atom_number(mol);
  double sum[3] = {0.0, 0.0, 0.0};
  for (int i = 0; i < 3 * n; ++i) {
    float x = 0.0F;
    need(nx_get_molecule_coordinates_element(&x, i, mol), "a coordinate");
    sum[i % 3] += x;
  }
  for (int k = 0; k < 3; ++k) {
    centre[k] = (float)(sum[k] / n);
  }
}

/* The result of the call is 0 always: no number in `value` is what tells of failure. */
static double binding(int target, int ligand, float dielectric) {
  float value = NAN;
  nx_calculate_coulombic_binding(target, ligand, &value, dielectric);
  need(isfinite(value), "energy");
  return (double)value;
}

/* Moves the ligand along the line of the centres, and back each time. A null rotation is none. */
static void pull_apart(int target, int ligand) {
  const float distances[] = {0.0F, 2.0F, 5.0F, 20.0F};
  float from[3], to[3], step[3];
  find_centre(target, from);
  find_centre(ligand, to);
  const float length = hypotf(hypotf(to[0] - from[0], to[1] - from[1]), to[2] - from[2]);
  printf("centres %.2f A apart\n", (double)length);
  for (int i = 0; i < 4; ++i) {
    for (int k = 0; k < 3; ++k) {
      step[k] = distances[i] * (to[k] - from[k]) / length;
    }
    need(nx_set_molecule_transform_matrix(NULL, step, ligand), "transform");
    need(nx_transform_molecule(ligand), "motion");
    printf("%4.0f A further: %9.3f kT in vacuum, %7.3f kT in water\n", (double)distances[i],
           binding(target, ligand, 1.0F), binding(target, ligand, 78.54F));
    need(nx_untransform_molecule(ligand), "motion back");
  }
}

/* A copy, turned by 60 degrees about the axis along z through its centre c: x goes to R (x - c) + c = R x + t. */
static int make_turned(int mol) {
  const float rotation[] = {0.5F, -0.8660254F, 0.0F, 0.8660254F, 0.5F, 0.0F, 0.0F, 0.0F, 1.0F};
  float centre[3], translation[3];
  int turned = nx_copy_molecule(mol);
  need(turned != 0, "a handle");
  find_centre(turned, centre);
  for (int i = 0; i < 3; ++i) {
    const float* row = rotation + 3 * i;
    translation[i] = centre[i] - (row[0] * centre[0] + row[1] * centre[1] + row[2] * centre[2]);
  }
  need(nx_set_molecule_transform_matrix(rotation, translation, turned), "transform");
  need(nx_transform_molecule(turned), "rotation");
  return turned;
}

static void write_as(const char* format, const char* out, int mol) {
  char path[FILENAME_MAX];
  need(snprintf(path, sizeof path, "%s.%s", out, format) < (int)sizeof path, "a path that is too long");
  need(nx_write_molecule(path, format, mol), path);
}

int main(int argc, char** argv) {
  if (argc != 2 && argc != 4) {
    fprintf(stderr, "usage: complex OUT [TARGET.pqr LIGAND.pqr]\n");
    return 2;
  }
  int target = read_pqr(argc > 2 ? argv[2] : EXAMPLES "hca.pqr");
  int ligand = read_pqr(argc > 2 ? argv[3] : EXAMPLES "acet.pqr");
  printf("target %d atoms, ligand %d atoms\n", nx_get_molecule_atom_number(target),
         nx_get_molecule_atom_number(ligand));
  pull_apart(target, ligand);

  float rms = -1.0F;
  int turned = make_turned(ligand);
  printf("turned by 60 degrees: %.3f kT in water\n", binding(target, turned, 78.54F));
  need(nx_superimpose_second_onto_first_with_hydrogens(ligand, turned, &rms), "superposition");
  printf("superposed, RMS %.3f A: %.3f kT in water\n", (double)rms, binding(target, turned, 78.54F));

  write_as("pdb", argv[1], turned);
  write_as("pqr", argv[1], turned);
  nx_delete_molecule(turned);
  nx_delete_molecule(ligand);
  nx_delete_molecule(target);
  printf("errors %d, warnings %d\n", nx_number_of_errors(), nx_number_of_warnings());
  return nx_number_of_errors();
}
