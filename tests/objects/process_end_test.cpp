// Static destructors of the program use the library after everything else has been taken down.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>

#include <nxbriochem/nxbriochem.h>

#include "tests/support/printed.h"

namespace {

int list = 0;
int molecule = 0;

void use_everything() {
  const int made = nx_make_list();
  for (const int handle : {nx_make_molecule(), molecule, list}) {
    nx_add_to_list(handle, made);
  }
  nx_delete_from_list(list, list);
  nx_make_urolled_list(made);
  nx_set_molecule_atom_number(3, molecule);
  const float coordinates[9] = {};
  nx_set_molecule_coordinates(coordinates, molecule);
  nx_set_molecule_element("CNO", molecule);
  nx_write_list_of_molecules("/dev/null", "pqr", made);
  nx_delete_molecule(molecule);
  nx_attach_float_to_object("value", made);
  nx_set_object_float("value", made, 2.5F);
  nxi_AddVariableToTable("x", 3);
  nxi_SetScanLine("2*(x+1)");
  nx_free(nx_malloc(8));
  nxi_fclose(nxi_fopen("/dev/null", "r"));
  nx_delete_opt(nx_init_opt(3, nullptr));
  nxi_err("at the end");
  std::printf("%d members, %g, %g, %d errors\n", nx_get_list_length_recurse(made),
              static_cast<double>(nx_object_float("value", made)), nxi_Expression(), nx_number_of_errors());
  nx_delete_list(made);
}

// Built before the library's own variables, which are linked after it, so destroyed after them.
struct AtTheEnd {
  bool armed = false;
  AtTheEnd() = default;
  AtTheEnd(const AtTheEnd&) = delete;
  AtTheEnd& operator=(const AtTheEnd&) = delete;
  ~AtTheEnd() {
    if (armed) {
      use_everything();
      std::fflush(nullptr);
      _exit(11);
    }
  }
} at_the_end;

TEST(ProcessEndDeathTest, LibraryOutlivesTheDestructorsOfTheProgram) {
  list = nx_make_list();
  nx_add_to_list(list, list);
  molecule = nx_make_molecule();
  nxi_fopen("/dev/zero", "r");
  for (int i = 0; i < 2000; ++i) {
    nx_malloc(8);
    nx_attach_float_to_object("many", list);
  }
  use_everything();
  molecule = nx_make_molecule();
  test_support::expect_exit(11, "2 members, 2.5, 8, 2 errors\n$", [] {
    at_the_end.armed = true;
    std::exit(0);
  });
}

}  // namespace
