/* Where messages go: the two queues, the log, the printing function, standard error. docs/errors.md shows what this
   prints. */
#include <nxbriochem/nxbriochem.h>
#include <stdio.h>

/* After each step of a program. */
static int went_well(const char* step) {
  if (!nx_new_errors() && !nx_new_warnings()) {
    return 1;
  }
  printf("after %s:", step);
  if (nx_new_errors()) {
    nx_print_new_errors();
  }
  if (nx_new_warnings()) {
    nx_print_new_warnings();
  }
  return 0;
}

int main(int argc, char** argv) {
  setvbuf(stdout, NULL, _IOLBF, BUFSIZ); /* in order with standard error, where the molecule layer reports */
  if (argc > 1) {
    nx_write_errors_to_file(argv[1]);
  }

  /* Two warnings of the library's, and two errors of the program's own. */
  nx_free(NULL);
  nxi_delete_object(4711);
  nxi_error("no radii in %s", "1abc.pqr");
  nxi_error("no charges for residue %s", "HEM");
  went_well("the first step");
  printf("went well since: %d\n", went_well("nothing"));

  printf("errors %d, warnings %d, of which about handles: %d\n", nx_number_of_errors(), nx_number_of_warnings(),
         nx_number_of_warnings_with_tag("handle"));
  printf("the first of them: %s", nx_warning_with_tag("handle", 0));
  printf("asked for 1:");
  nx_print_error(1);

  /* What an object says goes through its print status. */
  int list = nx_make_list();
  printf("silent: %d characters\n", nx_printf(list, "not seen\n"));
  nx_set_print_status("standard", list);
  nx_printf(list, "seen, of a list in state %d\n", nx_get_print_status(list));
  nx_print_nothing();
  nx_printf(list, "not seen\n");
  nx_print_by_handle();

  /* The molecule layer speaks on standard error, at once, and queues nothing. */
  int mol = nx_make_molecule();
  printf("ring of an atom that is not there: %d\n", nx_is_atom_in_ring(5, mol));
  printf("warnings still %d\n", nx_number_of_warnings());
  nx_delete_molecule(mol);
  nx_delete_list(list);
  return 0;
}
