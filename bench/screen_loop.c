// The cost of scoring poses in C: reads each record of a file and computes its Coulombic energy. It is the yardstick
// for nxbrio-screen in bench/screen_bench.py.

// For clock_gettime.
#define _POSIX_C_SOURCE 200809L

#include <nxbriochem/nxbriochem.h>
#include <nxbriofiles/nxbriofiles.h>
#include <stdio.h>
#include <time.h>

static double processor_time(void) {
  struct timespec now;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return (double)now.tv_sec + 1e-9 * (double)now.tv_nsec;
}

int main(int argc, char** argv) {
  if (argc != 3) {
    fputs("usage: screen_loop TARGET LIGANDS\n", stderr);
    return 2;
  }
  const int target = nxf_read_molecule(argv[1], NULL);
  const double begun = processor_time();
  const int reader = nxf_open_reader(argv[2], NULL);
  double sum = 0.0;
  double energies = 0.0;
  int count = 0;
  int mol = 0;
  while (nxf_read_record(&mol, reader) == 1) {
    float energy = 0.0F;
    const double before = processor_time();
    nx_calculate_coulombic_binding(target, mol, &energy, 4.0F);
    energies += processor_time() - before;
    nx_delete_molecule(mol);
    sum += (double)energy;
    ++count;
  }
  nxf_close_reader(reader);
  printf("{\"poses\": %d, \"seconds\": %.6f, \"energies\": %.6f, \"sum\": %.9g}\n", count, processor_time() - begun,
         energies, sum);
  return 0;
}
