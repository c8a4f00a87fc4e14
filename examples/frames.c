/* Frames, transforms and superposition, worked through on bromochlorofluoromethane, a chiral molecule. docs/frames.md
   shows what this prints. */
#include <math.h>
#include <nxbriochem/nxbriochem.h>
#include <stdio.h>

enum { kAtoms = 5 };

static const char* const kNames[kAtoms] = {"C", "F", "Cl", "Br", "H"};
static const float kPlaces[3 * kAtoms] = {2.000F, 1.000F, 3.000F, 1.336F, 1.663F, 3.977F,  3.743F, 1.183F,
                                          3.135F, 1.451F, 1.632F, 1.249F, 1.755F, -0.062F, 3.034F};

static int make_molecule(const float* places) {
  int mol = nx_make_molecule();
  nx_set_molecule_atom_number(kAtoms, mol);
  nx_set_molecule_atom_names("C\0F\0Cl\0Br\0H", mol);
  nx_set_molecule_coordinates(places, mol);
  return mol;
}

static void print_places(const char* title, int mol) {
  float xyz[3 * kAtoms];
  nx_get_molecule_coordinates(xyz, mol);
  printf("%s\n", title);
  for (int i = 0; i < kAtoms; ++i) {
    printf("  %-2s %8.3f %8.3f %8.3f\n", kNames[i], (double)xyz[3 * i], (double)xyz[3 * i + 1], (double)xyz[3 * i + 2]);
  }
}

/* The rows of a matrix, each with what a translation adds to it; t may be null. */
static void print_rows(const char* title, const float* r, const float* t) {
  printf("%s\n", title);
  for (int i = 0; i < 3; ++i) {
    printf("  %8.4f %8.4f %8.4f", (double)r[3 * i], (double)r[3 * i + 1], (double)r[3 * i + 2]);
    if (t != NULL) {
      printf("   %8.4f", (double)t[i]);
    }
    printf("\n");
  }
}

static double determinant(const float* m) {
  return (double)(m[0] * (m[4] * m[8] - m[5] * m[7]) - m[1] * (m[3] * m[8] - m[5] * m[6]) +
                  m[2] * (m[3] * m[7] - m[4] * m[6]));
}

/* The matrix that textbooks give for a unit quaternion. */
static void textbook_matrix(const float* q, float* m) {
  const float a = q[0], b = q[1], c = q[2], d = q[3];
  const float rows[9] = {a * a + b * b - c * c - d * d, 2 * (b * c - a * d),           2 * (b * d + a * c),
                         2 * (b * c + a * d),           a * a - b * b + c * c - d * d, 2 * (c * d - a * b),
                         2 * (b * d - a * c),           2 * (c * d + a * b),           a * a - b * b - c * c + d * d};
  for (int i = 0; i < 9; ++i) {
    m[i] = rows[i];
  }
}

/* The largest distance of an atom from where it was at first. */
static double largest_distance(int mol) {
  float xyz[3 * kAtoms];
  double largest = 0.0;
  nx_get_molecule_coordinates(xyz, mol);
  for (int i = 0; i < kAtoms; ++i) {
    const double x = (double)(xyz[3 * i] - kPlaces[3 * i]);
    const double y = (double)(xyz[3 * i + 1] - kPlaces[3 * i + 1]);
    const double z = (double)(xyz[3 * i + 2] - kPlaces[3 * i + 2]);
    largest = fmax(largest, sqrt(x * x + y * y + z * z));
  }
  return largest;
}

static void print_least_rms(const char* title, int first, int second) {
  float rms = 0.0F;
  nx_get_rms_using_hydrogens(first, second, &rms);
  printf("%s: %.3f A\n", title, (double)rms);
}

static void orient(int mol) {
  float moments[3], transform[7], r[9], t[3], textbook[9];
  nx_moments_of_inertia_with_hydrogens(mol, moments);
  printf("1. moments: %.4f %.4f %.4f A\n", (double)moments[0], (double)moments[1], (double)moments[2]);
  nx_orient_by_moments_of_inertia_with_hydrogens(mol);
  print_places("2. oriented", mol);
  nx_get_molecule_transform_matrix(r, t, mol);
  print_rows("3. transform: R and t", r, t);
  printf("   determinant of R: %.3f\n", determinant(r));
  nx_get_molecule_transform(transform, mol);
  printf("4. its quaternion: %.4f %.4f %.4f %.4f\n", (double)transform[0], (double)transform[1], (double)transform[2],
         (double)transform[3]);
  textbook_matrix(transform, textbook);
  print_rows("5. the textbook matrix of that quaternion", textbook, NULL);
}

/* The molecule is at its first place again, the moving one is in the principal frame. */
static void superpose(int mol, int moving) {
  float matrix[12], rms = 0.0F;
  nx_get_superimpose_matrix_using_hydrogens(mol, moving, matrix);
  print_rows("7. from the principal frame onto the first place: R and t", matrix, matrix + 9);
  nx_superimpose_second_onto_first_with_hydrogens(mol, moving, &rms);
  printf("8. superposed: RMS %.3f A, off by %.3f A\n", (double)rms, largest_distance(moving));
}

int main(void) {
  int mol = make_molecule(kPlaces);
  print_places("0. as given", mol);
  orient(mol);

  int moving = nx_copy_molecule(mol);
  nx_untransform_molecule(mol);
  printf("6. untransformed: off by %.3f A\n", largest_distance(mol));
  superpose(mol, moving);

  float mirrored[3 * kAtoms];
  for (int i = 0; i < 3 * kAtoms; ++i) {
    mirrored[i] = i % 3 == 2 ? -kPlaces[i] : kPlaces[i];
  }
  int mirror = make_molecule(mirrored);
  print_least_rms("9. RMS from the mirror image", mol, mirror);

  nx_delete_molecule(mirror);
  nx_delete_molecule(moving);
  nx_delete_molecule(mol);
  nx_print_new_errors();
  return nx_number_of_errors();
}
