/* Loads the library, uses it and unloads it, twice over. */
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>

static void* library;

static void* function(const char* name) {
  void* const found = dlsym(library, name);
  if (found == NULL) {
    printf("%s\n", dlerror());
    exit(1);
  }
  return found;
}

/* Calls a function of one or two ints, or of none. */
static int call(const char* name, int first, int second) {
  int (*called)(int, int);
  *(void**)&called = function(name);
  return called(first, second);
}

int main(int argc, char** argv) {
  int round;
  for (round = 0; argc == 2 && round < 2; ++round) {
    int mol;
    int list;
    library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (library == NULL) {
      printf("%s\n", dlerror());
      return 1;
    }
    mol = call("nx_make_molecule", 0, 0);
    call("nx_set_molecule_atom_number", 3, mol);
    list = call("nx_make_list", 0, 0);
    call("nx_add_to_list", mol, list);
    printf("atoms %d, in list %d, errors %d\n", call("nx_get_molecule_atom_number", mol, 0),
           call("nx_get_list_length", list, 0), call("nx_number_of_errors", 0, 0));
    call("nx_delete_list", list, 0);
    call("nx_delete_molecule", mol, 0);
    dlclose(library);
  }
  return 0;
}
