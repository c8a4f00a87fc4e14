// Uses the library before main, at exit and in static destructors, linked as a shared and as a static library. Prints a
// line for each use, and one for each failure.
#include <nxbriochem/molecules/memmgr.h>
#include <nxbriochem/nxbriochem.h>

#include <cstdio>
#include <cstdlib>

namespace {

void expect(bool right, const char* what) {
  if (!right) {
    std::printf("wrong: %s\n", what);
  }
}

// Uses every module that keeps tables.
class Use {
 public:
  explicit Use(const char* when) {
    const float xyz[] = {0, 0, 0, 1, 0, 0, 0, 1, 0};
    mol_ = nx_make_molecule();
    expect(nx_set_molecule_atom_number(3, mol_) == 1 && nx_set_molecule_coordinates(xyz, mol_) == 1, "a new molecule");
    list_ = nx_make_list();
    expect(nx_add_to_list(mol_, list_) == 1, "a list of a molecule");
    block_ = nx_malloc(100);
    warnings_ = nx_number_of_warnings();
    nx_free(nullptr);
    model_.NewAtom(6);
    handle_ = NxBrioChem::NxAcquireHandle(model_);
    NxSystem::NxGetTag(when);
    if (nxi_FindVariable(when) < 0) {
      nxi_AddVariableToTable(when, 2.0);
    }
    std::printf("%s: made\n", when);
  }

  // Checks later that everything made is still there.
  void finish(const char* when) {
    float xyz[9] = {};
    expect(nx_get_molecule_coordinates(xyz, mol_) == 1 && xyz[3] == 1.0F, "the molecule's coordinates");
    expect(nx_get_list_length(list_) == 1, "the list's length");
    expect(nx_memory_allocated_to_pointer(block_) == 100, "the block's size");
    expect(nx_number_of_warnings() > warnings_, "the warning that was queued");
    expect(NxBrioChem::NxDerefMolHandle(handle_) == &model_, "the handle's molecule");
    expect(NxBrioChem::NxReleaseHandle(handle_), "to release a handle");
    expect(nx_delete_list(list_) == 1, "to delete the list");
    nx_delete_molecule(mol_);
    nx_free(block_);
    const Use another(when);
    nx_delete_list(another.list_);
    nx_delete_molecule(another.mol_);
    nx_free(another.block_);
    NxBrioChem::NxReleaseHandle(another.handle_);
    std::printf("%s: done\n", when);
  }

 private:
  int mol_ = 0;
  int list_ = 0;
  void* block_ = nullptr;
  int warnings_ = 0;
  int handle_ = 0;
  NxChem::NxMol model_;
};

Use& at_exit() {
  static auto* const use = new Use("at exit");
  return *use;
}

// Its constructor runs before those of the library's own static objects, its destructor after theirs.
struct Static {
  ~Static() { use.finish("static destructor"); }
  Use use{"static constructor"};
};

[[gnu::init_priority(101)]] Static early;
Static usual;

}  // namespace

int main() {
  at_exit();
  std::atexit([] { at_exit().finish("at exit"); });
  std::printf("main\n");
  return 0;
}
