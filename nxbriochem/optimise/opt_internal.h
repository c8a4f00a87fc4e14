// The table of optimisers, for the sources of this directory and their tests alone.
#ifndef NXBRIOCHEM_OPTIMISE_OPT_INTERNAL_H
#define NXBRIOCHEM_OPTIMISE_OPT_INTERNAL_H

#include <cstddef>
#include <cstdint>

#include <nxbriochem/optimise/opt.h>

namespace opt {

// The methods, by the numbers that the record holds. nx_set_opt_method takes other codes.
enum Method : int32_t { kAutomatic = 0, kSteepestDescent = 1, kVectorOnly = 2, kDense = 3 };

// Value of the reserved field when the method was chosen automatically for an optimiser without any callback. Setting a
// first callback undoes the choice.
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

// The optimiser in slot 0 works in a static pool when its size is at most kMostInPool: first its work array, right
// behind it its method workspace. The interface gives the pool kMemSize doubles. The dense method needs n + n (n + 9),
// which at 500 variables is 500 more; kRoomBehind adds these.
inline constexpr int32_t kMostInPool = 500;
inline constexpr int32_t kMemSize = 500 * 509;
inline constexpr int32_t kRoomBehind = 500;
static_assert(kMemSize == 254500);
extern double MEM[kMemSize + kRoomBehind];

// Whether the optimiser in a slot works in the pool when it has `size` variables.
inline bool in_pool(int32_t slot, int32_t size) { return slot == 0 && size <= kMostInPool; }
// Frees an array of an optimiser, unless it lies in the pool, and sets the pointer to null.
void free_array(double*& array);

// The slot of the optimiser that is running, or -1.
extern int32_t running;
// Marks a slot as running until the end of its scope, also when a callback throws.
class Running {
 public:
  explicit Running(int32_t slot) { running = slot; }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;
  ~Running() { running = -1; }
};

// The slot of a handle; -1 for a number that cannot be a handle.
inline int32_t slot_of(int handle) { return handle > 0 ? handle - 1 : -1; }

// Takes the lowest vacant slot, or a new one if there is none, and marks it used. The record keeps its old contents.
int32_t init_opt();
// As init_opt, but first finds Low_Vacant by scanning the flags.
int32_t old_init_opt();

// The check of the setters and getters: whether a slot is in use. Any number may be passed. Kept: programs rely on the
// bound, which is one wider than the number of slots ever used.
bool in_use_to_setters(int32_t slot);
// The check of nx_delete_opt, nx_clear_opt, nx_minimize and nx_minimize_d.
bool in_use(int32_t slot);

}  // namespace opt

#endif
