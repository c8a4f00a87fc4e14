/* The quirks that programs meet, one line each. docs/porting.md shows what this prints. */
#include <math.h>
#include <nxbriochem/nxbriochem.h>
#include <stdio.h>
#include <string.h>

static void handles(void) {
  int list = nx_make_list();
  /* A value that was never handed out, with the low 16 bits of one that was. */
  printf("1. a stranger's type: %s, its own memory: %d\n", nxi_object_type_name(list ^ 0x10000),
         nxi_get_memory_handle(list ^ 0x10000));
  printf("2. -1 is a %s before there is one; -1000000000 is %s\n", nxi_object_type_name(-1),
         nxi_object_type_name(-1000000000));
  printf("3. deleting no list: %d\n", nx_delete_list(4711));
  printf("4. no such level: %d, status %d\n", nx_set_print_status("loud", list), nx_get_print_status(list));

  for (int i = 1; i <= 4; ++i) {
    nx_add_to_list(-i, list);
  }
  nx_delete_from_list(-1, list);
  int first = 0;
  nx_get_list_current_object(&first, list);
  printf("5. after the first member is deleted: %d\n", first);
  int once = nx_add_to_list(list, list);
  printf("6. a list in itself: %d, and again: %d\n", once, nx_add_to_list(list, list));
  nx_delete_list(list);
}

static void messages(void) {
  char long_text[260];
  memset(long_text, 'x', sizeof long_text - 1);
  long_text[sizeof long_text - 1] = '\0';
  int warnings = nx_number_of_warnings();
  nxi_err(long_text);
  printf("7. of 259 characters: %d, and a warning: %d\n", (int)strlen(nx_error_with_tag("xxx", 0)),
         nx_number_of_warnings() - warnings);
  nxi_err("");
  printf("8. an empty error: errors %d, warnings %d\n", nx_number_of_errors(), nx_number_of_warnings() - warnings);
}

static void memory(void) {
  void* block = nx_malloc(100);
  void* again = nx_realloc(block, 50);
  printf("9. shrunk: %s block of %u bytes\n", again == block ? "the same" : "another",
         nx_memory_allocated_to_pointer(again));
  nx_free(again);
  int list = nx_make_list();
  int before = nxi_mem_total(list);
  nxi_cAlloc_new(list, 25, 4, "twice", NULL);
  printf("10. 100 bytes asked for, taken: %d\n", nxi_mem_total(list) - before);
  nx_delete_list(list);
}

static void molecules(void) {
  int mol = nx_make_molecule();
  nx_set_molecule_atom_number(3, mol);
  nx_set_molecule_element("CNO", mol);
  nx_set_molecule_atom_number(1, mol);
  char element = 0;
  nx_get_molecule_element_element(&element, 2, mol);
  printf("11. cut to one atom: %c, at index 2\n", element);
  float value = 1.0F;
  int through = nx_get_molecule_coordinates_element(&value, 9, mol);
  printf("12. one past the end: %d, %.1f\n", through, (double)value);
  char codes[2] = {(char)nx_convert_element_number_to_one_letter_symbol(29), '\0'};
  printf("13. copper is %s, %s is element %d\n", codes, codes, nx_convert_one_letter_symbol_to_element_number('U'));

  const int one[3] = {1, 1, 1};
  const int two[3] = {2, 2, 2};
  nx_and_molecule_atom_mask(one, mol);
  int entry = 0;
  nx_get_molecule_atom_mask_element(&entry, 2, mol);
  nx_and_molecule_atom_mask(two, mol);
  printf("14. 'and' 1 of no mask: %d; then 'and' 2: %d atoms\n", entry, nx_atoms_masked(mol));
  nx_delete_molecule(mol);

  /* A quarter turn about z by a textbook's quaternion turns the other way round. */
  mol = nx_make_molecule();
  const float place[3] = {1, 0, 0};
  const float quarter[7] = {0.70710678F, 0, 0, 0.70710678F, 0, 0, 0};
  nx_set_molecule_atom_number(1, mol);
  nx_set_molecule_coordinates(place, mol);
  nx_set_molecule_transform(quarter, mol);
  nx_transform_molecule(mol);
  float after[3];
  nx_get_molecule_coordinates(after, mol);
  printf("15. x turned by (cos 45, 0, 0, sin 45): y = %.1f\n", (double)after[1]);
  printf("16. a molecule's write as an object: %d\n", nx_write_molecule_object("file", mol));
  nx_delete_molecule(mol);
}

static void bits(void) {
  uint32_t words[2] = {0, 0xffffffffU};
  printf("17. bits before the table is made: %u", nx_bits_on(words + 1, 1));
  nx_make_short_nob_table();
  printf(", after: %u\n", nx_bits_on(words + 1, 1));
  nx_put_bits_in_bitstring(0xffU, words, 28, 8);
  printf("18. a field across words leaves of the second: %x\n", (unsigned)words[1]);
  int value = 0;
  nxi_setbit(&value, 3);
  printf("19. bit 3 set: %d, read: %d\n", value, nxi_isbitset(value, 3));
}

static void numbers(void) {
  double roots[4] = {0, 0, 0, 0};
  int count = nx_SolveCubicRoots(1, 0, 1, -10, roots);
  printf("20. x^3 + x = 10, at 2: result %d, %.2f\n", count, roots[0]);
  double rotation[9];
  nx_get_tortion_matrix(rotation, 1.0, 0.0, 0.0, 1.0);
  printf("21. a turn about z: %s\n", isnan(rotation[0]) ? "not a number" : "fine");
  const float singular[4] = {1, 0, 0, 0};
  float inverse[4] = {7, 7, 7, 7};
  int result = nx_invert_matrix_using_eigenvalues(singular, inverse, 2);
  printf("22. a singular matrix inverted: %d, %.0f\n", result, (double)inverse[0]);
  float a[6] = {1, 2, 3, 4, 5, 6};
  float c[1] = {0};
  result = nx_multiply_matrices_f(a, 1, 2, a, 3, 1, c);
  printf("23. 1 x 2 times 3 x 1: %d, %.0f\n", result, (double)c[0]);

  int sequence = nx_make_rseq_with_prime_and_seed(12, 5);
  int in_range = nx_rand_range(sequence, 10, 14);
  printf("24. 10 to 14, drawn from 12: %d; 10 to 15: below 5: %d\n", in_range, nx_rand_range(sequence, 10, 15) < 5);
  nx_delete_rseq(sequence);
}

static double formula(const char* text) {
  nxi_SetScanLine(text);
  return *(const double*)nxi_GetDataElement("double");
}

static void formulas(void) {
  printf("25. 2^3^2 is %.0f, (0-2)^2 is %s", formula("2^3^2"), isnan(formula("(0-2)^2")) ? "not a number" : "fine");
  printf(", 1+2 3 is %.0f", formula("1+2 3"));
  printf(", then %.0f\n", *(const double*)nxi_GetDataElement("double"));
  nxi_AddVariableToTable("E5", 7.0);
  printf("26. 1E5 is %.0f, 1.0E5 is %.0f\n", formula("1E5"), formula("1.0E5"));
  double again = formula("E5 = 8");
  printf("27. E5 = 8 is %.0f, and then E5 is %.0f\n", again, formula("E5"));
}

static void optimisers(void) {
  int opt = nx_init_opt(2, NULL);
  float step = 9.0F;
  nx_set_opt_stepsize(opt, 0.5F);
  nx_get_opt_stepsize(opt, &step);
  printf("28. step set 0.5, told %.1f\n", (double)step);
  printf("29. method 7: %d", nx_set_opt_method(opt, 7));
  nx_set_opt_method(opt, 2);
  printf(", once one is chosen: %d\n", nx_set_opt_method(opt, 7));
  printf("30. first optimiser %d, first function list %d\n", opt, nx_make_function_list());
  nx_delete_opt(opt);
}

int main(void) {
  handles();
  messages();
  memory();
  molecules();
  bits();
  numbers();
  formulas();
  optimisers();
  return 0;
}
