// The table of optimisers, for the sources of this directory and their tests alone.
#ifndef NXBRIOCHEM_OPTIMISE_OPT_INTERNAL_H
#define NXBRIOCHEM_OPTIMISE_OPT_INTERNAL_H

#include <cstddef>
#include <cstdint>

#include <nxbriochem/optimise/opt.h>

namespace opt {

// The methods, by the numbers that the record holds. nx_set_opt_method takes other codes.
enum Method : int32_t { kAutomatic = 0, kSteepestDescent = 1, kVectorOnly = 2, kDense = 3 };

// The reserved field of an optimiser whose method was chosen automatically when it had no callback at all. The first
// callback that it gets undoes the choice.
inline constexpr uint64_t kChosenBlindly = 1;

// The fields are the interface's, in its order.
struct Optimiser {
  int32_t size;
  int32_t method;
  int32_t debug;
  int32_t restart;
  nx_opt_function function;
  nx_opt_gradient gradient;
  nx_opt_hessian hessian;
  nx_opt_function_with_handle function_with_handle;
  nx_opt_gradient_with_handle gradient_with_handle;
  nx_opt_hessian_with_handle hessian_with_handle;
  int32_t function_handle;
  int32_t gradient_handle;
  int32_t hessian_handle;
  uint64_t reserved_word;
  double* work_array;        // size doubles
  double* method_workspace;  // by method; null before the first run
  int32_t workspace_allocated;
  int32_t maximum_iterations;
  double zero;
  double gradient_convergence;
  double energy_convergence;
  double tolerance_a;
  double tolerance_b;
  double tolerance_c;
  int32_t count_a;
  int32_t count_b;
  int32_t max_line_try;
  int32_t alt_step;
  double alpha;
  double beta;
  double small_threshold;
  uint64_t reserved;
  int32_t itersave;
  int32_t iterations_set;
  int32_t total_iterations;
  int32_t total_function_calls;
  float saveval;
  float initial_step;
  float final_step;
};
static_assert(offsetof(Optimiser, size) == 0 && offsetof(Optimiser, method) == 4 && offsetof(Optimiser, debug) == 8 &&
              offsetof(Optimiser, restart) == 12 && offsetof(Optimiser, function) == 16 &&
              offsetof(Optimiser, gradient) == 24 && offsetof(Optimiser, hessian) == 32 &&
              offsetof(Optimiser, function_with_handle) == 40 && offsetof(Optimiser, gradient_with_handle) == 48 &&
              offsetof(Optimiser, hessian_with_handle) == 56 && offsetof(Optimiser, function_handle) == 64 &&
              offsetof(Optimiser, gradient_handle) == 68 && offsetof(Optimiser, hessian_handle) == 72);
static_assert(offsetof(Optimiser, reserved_word) == 80 && offsetof(Optimiser, work_array) == 88 &&
              offsetof(Optimiser, method_workspace) == 96 && offsetof(Optimiser, workspace_allocated) == 104 &&
              offsetof(Optimiser, maximum_iterations) == 108 && offsetof(Optimiser, zero) == 112 &&
              offsetof(Optimiser, gradient_convergence) == 120 && offsetof(Optimiser, energy_convergence) == 128 &&
              offsetof(Optimiser, tolerance_a) == 136 && offsetof(Optimiser, tolerance_b) == 144 &&
              offsetof(Optimiser, tolerance_c) == 152 && offsetof(Optimiser, count_a) == 160 &&
              offsetof(Optimiser, count_b) == 164 && offsetof(Optimiser, max_line_try) == 168 &&
              offsetof(Optimiser, alt_step) == 172 && offsetof(Optimiser, alpha) == 176);
static_assert(offsetof(Optimiser, beta) == 184 && offsetof(Optimiser, small_threshold) == 192 &&
              offsetof(Optimiser, reserved) == 200 && offsetof(Optimiser, itersave) == 208 &&
              offsetof(Optimiser, iterations_set) == 212 && offsetof(Optimiser, total_iterations) == 216 &&
              offsetof(Optimiser, total_function_calls) == 220 && offsetof(Optimiser, saveval) == 224 &&
              offsetof(Optimiser, initial_step) == 228 && offsetof(Optimiser, final_step) == 232 &&
              sizeof(Optimiser) == 240);

extern Optimiser* Opt;  // moves when the table grows: no pointer into it outlives a callback
extern int32_t* Opt_Occupancy;
extern int32_t Onum;
extern int32_t Oinc;
extern int32_t Low_Vacant;

// The static pool of the optimiser in slot 0 when its size is at most kMostInPool: its work array, and right behind it
// its method workspace. The interface gives the pool kMemSize doubles, which is 500 short of what the dense method
// needs at 500 variables, n + n (n + 9); the room behind it makes up for that.
inline constexpr int32_t kMostInPool = 500;
inline constexpr int32_t kMemSize = 500 * 509;
inline constexpr int32_t kRoomBehind = 500;
static_assert(kMemSize == 254500);
extern double MEM[kMemSize + kRoomBehind];

// Whether the optimiser in a slot works in the pool when it has so many variables.
inline bool in_pool(int32_t slot, int32_t size) { return slot == 0 && size <= kMostInPool; }
// Frees an array of an optimiser's, unless it lies in the pool, and drops the pointer to it.
void free_array(double*& array);

// The slot of the optimiser that is running, or -1.
extern int32_t running;
// Marks it as running for as long as the mark lives, an exception from a callback included.
class Running {
 public:
  explicit Running(int32_t slot) { running = slot; }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;
  ~Running() { running = -1; }
};

// The slot of a handle, or -1 for what is none.
inline int32_t slot_of(int handle) { return handle > 0 ? handle - 1 : -1; }

// Takes a slot, the lowest vacant one if there is any, and marks it used. Its record is as it was left.
int32_t init_opt();
// As init_opt, with Low_Vacant found anew by scanning the flags.
int32_t old_init_opt();

// Whether a slot is in use, as the setters and getters see it. Safe for every slot. Kept: programs rely on the bound,
// which is one wider than the number of slots ever used.
bool in_use_to_setters(int32_t slot);
// As nx_delete_opt, nx_clear_opt, nx_minimize and nx_minimize_d see it.
bool in_use(int32_t slot);

}  // namespace opt

#endif
