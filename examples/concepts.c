/* Handles: what names what, what owns what, and when a pointer goes stale. docs/concepts.md shows what this prints. */
#include <nxbriochem/nxbriochem.h>
#include <stdio.h>

static void tell(const char* what, int handle) { printf("%-20s %d, %s\n", what, handle, nxi_object_type_name(handle)); }

/* An object type of the program's own: a tag from 19 to 255, its name, its size, and how much room is made at once. */
typedef struct Probe {
  float place[3];
} Probe;

enum { kProbe = 200 };

/* The object behind a handle. The array may have moved since the last call, and the index changed. `base` is what the
   last nxi_make_object of the type gave. */
static Probe* probe(Probe* base, int handle) { return base + nxi_translate_handle(handle); }

static void own_objects(void) {
  uint32_t first = 0, second = 0;
  nxi_register_object(kProbe, "probes", sizeof(Probe), 10);
  nxi_make_object(kProbe, &first);
  Probe* probes = nxi_make_object(kProbe, &second);
  probe(probes, (int)first)->place[0] = 1.0F;
  probe(probes, (int)second)->place[0] = 2.0F;
  printf("second probe: index %u, x %.1f\n", nxi_translate_handle((int)second),
         (double)probe(probes, (int)second)->place[0]);

  int gone = (int)first;
  nx_delete(&gone);
  printf("first deleted, its variable: %d\n", gone);
  printf("second probe: index %u, x %.1f\n", nxi_translate_handle((int)second),
         (double)probe(probes, (int)second)->place[0]);
  nxi_delete_object((int)second);
}

int main(void) {
  int water = nx_make_molecule();
  int methane = nx_make_molecule();
  int list = nx_make_list();
  int optimiser = nx_init_opt(6, NULL);
  int sum = nx_make_function_list();
  tell("first molecule", water);
  tell("second molecule", methane);
  printf("%-20s %s handle, %s\n", "list", list > 0 ? "a positive" : "no", nxi_object_type_name(list));
  printf("%-20s %d, function list %d: tables of their own\n", "optimiser", optimiser, sum);

  /* A list does not own its members, and does not hear of their end. */
  nx_add_to_list(water, list);
  nx_add_to_list(methane, list);
  nx_delete_molecule(methane);
  printf("in the list: %d, the deleted one too: %d\n", nx_get_list_length(list), nx_is_handle_in_list(methane, list));
  int ethane = nx_make_molecule();
  printf("the next molecule gets %d, which the list holds already\n", ethane);

  /* A pointer from nxi_molecule_... is the molecule's own copy, as it was when asked for. */
  nx_set_molecule_atom_number(1, water);
  nx_set_molecule_radii_element(1.5F, 0, water);
  const float* radii = nxi_molecule_radii(water);
  nx_set_molecule_radii_element(1.6F, 0, water);
  printf("radius through the pointer: %.1f", (double)radii[0]);
  radii = nxi_molecule_radii(water);
  printf(", asked for again: %.1f\n", (double)radii[0]);

  own_objects();

  nx_delete_opt(optimiser);
  nx_delete_function_list(sum);
  nx_delete_list(list);
  nx_delete_molecule(ethane);
  nx_delete_molecule(water);
  return nx_number_of_errors();
}
