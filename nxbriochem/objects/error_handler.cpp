// The signal handler of obj_man.h. It stands above everything that it reports on: registry, memory tables, message
// queues and open files.
#include <cstdio>
#include <cstdlib>

#include <nxbriochem/objects/codes_internal.h>
#include <nxbriochem/objects/error.h>
#include <nxbriochem/objects/files.h>
#include <nxbriochem/objects/obj_man.h>
#include <nxbriochem/objects/obj_man_state.h>
#include <nxbriochem/objects/object_memory.h>

void nxi_error_handler(int signal_number) {
  constexpr const char* kLine32 = "********************************";
  constexpr const char* kLine47 = "***********************************************";
  std::puts("\nSIGNAL HANDLER CALLED");
  std::puts("CHECKING NX_ARRAY BOUNDS");
  std::puts(kLine32);
  for (int32_t i = 0; i < obj_man::HandlesNum; ++i) {
    const int handle = obj_man::Handles[i].handle;
    if (nxi_boundscheck_all(handle) != 0) {
      std::puts("Memory for this table, ordered by pointer value");
      std::puts(kLine47);
      nxi_print_mem_alloc_ordered(handle);
    }
  }
  std::puts(kLine32);
  nx_print_new_errors();
  nx_print_new_warnings();
  std::puts("CLOSING ALL OPEN FILES");
  nxi_fclose_all();
  std::printf("ALL DONE\nExit code %d\n", signal_number);
  std::exit(objects::kEnded);
}
