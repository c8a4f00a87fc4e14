/* One array on its way to a file, and one handle from making to deletion. docs/anatomy.md follows both through the
   library and shows what this prints. */
#include <nxbriochem/nxbriochem.h>
#include <stdio.h>

static void array_to_file(const char* path) {
  int ion = nx_make_molecule();
  nx_set_molecule_atom_number(1, ion);
  nx_set_molecule_atom_names("ZN", ion);
  float place[3] = {1.0F, 2.0F, 3.0F};
  nx_set_molecule_coordinates(place, ion);
  printf("written: %d\n", nx_write_molecule(path, "pdb", ion));
  nx_delete_molecule(ion);

  char line[100];
  FILE* file = fopen(path, "r");
  if (file != NULL && fgets(line, sizeof line, file) != NULL) {
    fputs(line, stdout);
  }
  if (file != NULL) {
    fclose(file);
  }
}

static void handle_to_deletion(void) {
  int list = nx_make_list();
  printf("type: %s, lists: %u\n", nxi_object_type_name(list), nxi_get_number_of_objects_of_type(2));
  nx_object_calloc_new(list, 5, sizeof(double), "weights");
  nxi_mem_total(list);
  nx_delete(&list);
  printf("its variable: %d, lists: %u\n", list, nxi_get_number_of_objects_of_type(2));
}

int main(int argc, char** argv) {
  array_to_file(argc > 1 ? argv[1] : "anatomy.pdb");
  handle_to_deletion();
  return nx_number_of_errors();
}
