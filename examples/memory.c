/* Finding a leak, a double free, an overrun and a rogue pointer with the library's own books. docs/memory.md shows what
   this prints. */
#include <nxbriochem/nxbriochem.h>
#include <stdio.h>

/* A step with a leak: 96 bytes of it stay. */
static void leaky_step(void) {
  float* kept = nx_malloc(96);
  float* given_back = nx_malloc(4000);
  kept[0] = given_back[0] = 0.0F;
  nx_free(given_back);
}

static void find_a_leak(void) {
  const unsigned bytes = nx_total_memory_allocated();
  const int blocks = nx_total_number_of_active_pointers();
  leaky_step();
  printf("left by the step: %u bytes in %d block\n", nx_total_memory_allocated() - bytes,
         nx_total_number_of_active_pointers() - blocks);

  /* Every allocation of this size is told from now on: a debugger's breakpoint on the print shows who asks for it. */
  nx_flag_memory_allocation_by_size(96);
  leaky_step();
  nx_clear_memory_flag();
}

/* The second release is of a block that is not on record any more, and does nothing but warn. */
static void free_twice(void) {
  float* charges = nx_malloc(96);
  nx_free(charges);
  nx_free(charges);
  nx_print_new_warnings();
}

/* A type of object, so that there is a memory table to work with; its objects need no bytes of their own. */
enum { kJob = 201 };

static int make_job(void) {
  uint32_t job = 0;
  nxi_make_object(kJob, &job);
  return (int)job;
}

static void find_an_overrun(int job) {
  nx_set_print_status("standard", job);
  nxi_set_memory_padding(job, 1);
  int* counts = nx_object_calloc_new(job, 10, sizeof(int), "counts");
  float* grid = nx_object_calloc_new(job, 100, sizeof(float), "grid");
  nxi_boundscheck_all(job);
  for (int i = 0; i <= 10; ++i) {
    counts[i] = 1;
  }
  grid[-1] = 3.0F;
  printf("counts: %d, grid: %d\n", nxi_boundscheck_pnt(job, counts), nxi_boundscheck_pnt(job, grid));
  nxi_boundscheck_all(job);

  /* The same at every allocation and release of this table: the check that first speaks is the one after the fault. */
  nxi_set_auto_bndcheck(job, 3);
  nx_free_object_memory(job, grid);
  nxi_set_auto_bndcheck(job, 0);
}

static void rogue_pointers(int job) {
  int elsewhere[4] = {0};
  printf("given back by the table: %d\n", nx_free_object_memory(job, elsewhere) == elsewhere);
  nxi_set_memstrict(job, 2);
  printf("not grown: %d\n", nx_object_realloc(job, 100, sizeof(int), "elsewhere", elsewhere) == elsewhere);

  nx_free(elsewhere);
  printf("tracked memory: %s", nx_warning_with_tag("nx_memory", 0) != NULL ? "a warning is queued\n" : "");

  nx_set_strict_memory_off();
  printf("strict, which 'off' switches on: %s\n", nx_realloc(elsewhere, 100) == NULL ? "null" : "a block");
  nx_set_strict_memory_on();
}

static void named_values(int job) {
  const int ends[] = {3, 14, 15};
  nx_attach_integers_to_object("ends", 3, job);
  nx_set_object_integers(ends, "ends", job);
  nx_attach_float_to_object("cutoff", job);
  nx_set_object_float("cutoff", job, 12.5F);
  printf("ends: %d of them, the last %d; cutoff %.1f\n", nx_object_integers_size("ends", job),
         nx_object_integers("ends", job)[2], (double)nx_object_float("cutoff", job));
}

int main(void) {
  find_a_leak();
  free_twice();
  nxi_register_object(kJob, "jobs", 0, 10);
  int job = make_job();
  find_an_overrun(job);
  rogue_pointers(job);
  named_values(job);

  /* The table goes with its object, and all its blocks with it. */
  const unsigned before = nxi_total_object_memory_allocated();
  nxi_mem_total(job);
  printf("of the job: %u bytes\n", (unsigned)nxi_mem_total(job));
  nx_delete(&job);
  printf("freed with it: %u bytes\n", before - nxi_total_object_memory_allocated());
  return 0;
}
