// The table of optimisers, and the functions that set and read their records.
#include <nxbriochem/optimise/opt.h>

#include <cstdio>
#include <functional>

#include <nxbriochem/objects/memory.h>
#include <nxbriochem/objects/memory_owners_internal.h>
#include <nxbriochem/optimise/evaluation_internal.h>
#include <nxbriochem/optimise/func_list.h>
#include <nxbriochem/optimise/opt_internal.h>
#include <nxbriochem/optimise/slot_table_internal.h>

namespace opt {

Optimiser* Opt = nullptr;
int32_t* Opt_Occupancy = nullptr;
int32_t Onum = 0;
int32_t Oinc = slot_table::kFirstCapacity;
int32_t Low_Vacant = slot_table::kNone;
double MEM[kMemSize + kRoomBehind];
int32_t running = slot_table::kNone;

namespace {

constexpr slot_table::SlotTable<Optimiser> table{Opt, Opt_Occupancy, Onum, Oinc, Low_Vacant};

constexpr int32_t kDenseIterations = 200;
constexpr int32_t kOtherIterations = 400;

Optimiser fresh_record() {
  Optimiser record{};
  record.maximum_iterations = kDenseIterations;
  record.zero = 1e-50;
  record.gradient_convergence = 1e-50;
  record.energy_convergence = 1e-50;
  record.tolerance_a = 1e-6;
  record.tolerance_b = 1e-4;
  record.tolerance_c = 1e-6;
  record.count_a = 500;
  record.count_b = 6;
  record.alpha = 0.1;
  record.beta = 0.9;
  record.small_threshold = 3e-8;
  return record;
}

// A size of 0 needs no array.
double* new_work_array(int32_t slot, int32_t size) {
  if (in_pool(slot, size)) {
    return MEM;
  }
  return size == 0 ? nullptr : static_cast<double*>(nx_malloc(size * static_cast<int64_t>(sizeof(double))));
}

bool lies_in_pool(const double* array) {
  const std::less<> before;
  return !before(array, MEM) && before(array, MEM + kMemSize + kRoomBehind);
}

void free_workspace(Optimiser& record) {
  free_array(record.method_workspace);
  record.workspace_allocated = 0;
}

// The record of a handle, for the functions that clear or delete it. Null when the optimiser is not in use or is
// running.
Optimiser* find_idle(int handle) {
  const int32_t slot = slot_of(handle);
  return in_use(slot) && slot != running ? &Opt[slot] : nullptr;
}

// The common body of all setters and getters: calls change(record) if the handle is in use.
template <class Change>
int with_record(int handle, Change change) {
  const int32_t slot = slot_of(handle);
  if (!in_use_to_setters(slot)) {
    return 0;
  }
  change(Opt[slot]);
  return 1;
}

template <class Field, class Value>
int set(int handle, Field Optimiser::*field, Value value) {
  return with_record(handle, [=](Optimiser& record) { record.*field = static_cast<Field>(value); });
}

template <class Field>
int get(int handle, Field Optimiser::*field, Field* value) {
  return value == nullptr ? 0 : with_record(handle, [=](const Optimiser& record) { *value = record.*field; });
}

// Sets a callback and clears its twin, so that at most one of the two is active.
template <class Callback, class Twin>
void replace_callback(Optimiser& record, Callback Optimiser::*field, Callback callback, Twin Optimiser::*twin) {
  record.*field = callback;
  record.*twin = nullptr;
  if (record.reserved == kChosenBlindly && callback != nullptr) {
    record.method = kAutomatic;
    record.reserved = 0;
  }
}

template <class Callback, class Twin>
int set_callback(int handle, Callback Optimiser::*field, Callback callback, Twin Optimiser::*twin) {
  return with_record(handle, [=](Optimiser& record) { replace_callback(record, field, callback, twin); });
}

template <class Callback, class Twin>
int set_callback_with_handle(int handle, Callback Optimiser::*field, Callback callback, Twin Optimiser::*twin,
                             int32_t Optimiser::*callback_handle, int value) {
  return with_record(handle, [=](Optimiser& record) {
    replace_callback(record, field, callback, twin);
    record.*callback_handle = value;
  });
}

int set_convergence(int handle, double Optimiser::*field, double threshold, const char* trace) {
  return with_record(handle, [=](Optimiser& record) {
    record.*field = threshold;
    if (traces(slot_of(handle))) {
      std::printf(trace, threshold);
    }
  });
}

void choose_method(Optimiser& record, Method method, int32_t iterations) {
  record.method = method;
  record.reserved = 0;
  if (record.iterations_set == 0) {
    record.maximum_iterations = iterations;
  }
}

}  // namespace

void free_array(double*& array) {
  if (array != nullptr && !lies_in_pool(array)) {
    nx_free(array);
  }
  array = nullptr;
}

int32_t init_opt() {
  memory::when_all_freed([] { table.forget(); });
  return table.take();
}

int32_t old_init_opt() {
  table.scan();
  return init_opt();
}

// Slot Onum, which was never used, passes the bound; its flag then says that it is vacant. In a full table Onum equals
// Oinc and has no flag.
bool in_use_to_setters(int32_t slot) {
  return slot >= 0 && slot <= Onum && slot < Oinc && Opt_Occupancy != nullptr && Opt_Occupancy[slot] != 0;
}

bool in_use(int32_t slot) { return table.in_use(slot); }

}  // namespace opt

using namespace opt;

int nx_init_opt(int n, nx_opt_function function) {
  if (n < 0) {
    return 0;
  }
  const int32_t slot = init_opt();
  Optimiser& record = Opt[slot];
  record = fresh_record();
  record.size = n;
  record.function = function;
  record.work_array = new_work_array(slot, n);
  return slot + 1;
}

int nx_clear_opt(int opt) {
  Optimiser* record = find_idle(opt);
  if (record == nullptr) {
    return 0;
  }
  free_workspace(*record);
  free_array(record->work_array);
  const int32_t method = record->method;
  *record = fresh_record();
  record->method = method;
  record->work_array = new_work_array(slot_of(opt), 0);
  return 1;
}

int nx_delete_opt(int opt) {
  Optimiser* record = find_idle(opt);
  if (record == nullptr) {
    return 0;
  }
  free_workspace(*record);
  free_array(record->work_array);
  *record = Optimiser{};
  table.release(slot_of(opt));
  return 1;
}

int nx_set_opt_size(int n, int opt) {
  const int32_t slot = slot_of(opt);
  if (n < 0 || slot == running) {
    return 0;
  }
  return with_record(opt, [=](Optimiser& record) {
    // The workspace stays, and the next run grows it if needed. It is freed only when the optimiser moves into the
    // pool, out of it or within it.
    if (in_pool(slot, n) || lies_in_pool(record.method_workspace)) {
      free_workspace(record);
    }
    free_array(record.work_array);
    record.size = n;
    record.work_array = new_work_array(slot, n);
    record.reserved_word = 0;  // runs of another size may overwrite the curvature in the workspace
  });
}

int nx_set_opt_function(nx_opt_function function, int opt) {
  return set_callback(opt, &Optimiser::function, function, &Optimiser::function_with_handle);
}

int nx_set_opt_function_with_handle(nx_opt_function_with_handle function, int handle, int opt) {
  return set_callback_with_handle(opt, &Optimiser::function_with_handle, function, &Optimiser::function,
                                  &Optimiser::function_handle, handle);
}

int nx_set_opt_gradient(nx_opt_gradient gradient, int opt) {
  return set_callback(opt, &Optimiser::gradient, gradient, &Optimiser::gradient_with_handle);
}

int nx_set_opt_derivs(int opt, nx_opt_gradient gradient) { return nx_set_opt_gradient(gradient, opt); }

int nx_set_opt_gradient_with_handle(nx_opt_gradient_with_handle gradient, int handle, int opt) {
  return set_callback_with_handle(opt, &Optimiser::gradient_with_handle, gradient, &Optimiser::gradient,
                                  &Optimiser::gradient_handle, handle);
}

int nx_set_opt_hessian(nx_opt_hessian hessian, int opt) {
  return set_callback(opt, &Optimiser::hessian, hessian, &Optimiser::hessian_with_handle);
}

int nx_set_opt_2nd_derivs(int opt, nx_opt_hessian hessian) { return nx_set_opt_hessian(hessian, opt); }

int nx_set_opt_hessian_with_handle(nx_opt_hessian_with_handle hessian, int handle, int opt) {
  return set_callback_with_handle(opt, &Optimiser::hessian_with_handle, hessian, &Optimiser::hessian,
                                  &Optimiser::hessian_handle, handle);
}

int nx_set_opt_function_list(int list, int opt) {
  return nx_set_opt_function_with_handle(nx_function_list_double, list, opt);
}

int nx_set_opt_gradient_list(int list, int opt) {
  return nx_set_opt_gradient_with_handle(nx_gradient_list_double, list, opt);
}

int nx_set_opt_hessian_list(int list, int opt) {
  return nx_set_opt_hessian_with_handle(nx_hessian_list_double, list, opt);
}

// Kept: programs rely on the crossed codes (opt.h).
int nx_set_opt_method(int opt, int method) {
  int result = 1;
  const int found = with_record(opt, [&result, method](Optimiser& record) {
    switch (method) {
      case 0:
        return choose_method(record, kVectorOnly, kOtherIterations);
      case 1:
      case 3:
        return choose_method(record, kSteepestDescent, kOtherIterations);
      case 2:
        return choose_method(record, kDense, kDenseIterations);
      default:
        result = static_cast<int>(record.method != kAutomatic);
    }
  });
  return found == 0 ? 0 : result;
}

int nx_set_opt_maximum_iterations(int opt, int count) {
  return with_record(opt, [count](Optimiser& record) {
    record.maximum_iterations = count;
    record.iterations_set = 1;
  });
}

int nx_set_opt_zero(int opt, float zero) { return set(opt, &Optimiser::zero, zero); }

int nx_set_opt_gradient_convergence(int opt, double threshold) {
  return set_convergence(opt, &Optimiser::gradient_convergence, threshold, "grad converge set to %e\n");
}

int nx_set_opt_energy_convergence(int opt, double threshold) {
  return set_convergence(opt, &Optimiser::energy_convergence, threshold, "energy converge set to %e\n");
}

int nx_set_opt_alpha(int opt, float alpha) { return set(opt, &Optimiser::alpha, alpha); }

int nx_set_opt_beta(int opt, float beta) { return set(opt, &Optimiser::beta, beta); }

int nx_set_opt_stepsize(int opt, float step) { return set(opt, &Optimiser::initial_step, step); }

int nx_get_opt_stepsize(int opt, float* step) { return get(opt, &Optimiser::final_step, step); }

int nx_set_opt_max_line_try(int opt, int tries) { return set(opt, &Optimiser::max_line_try, tries); }

int nx_set_opt_alt_step(int opt, int on) { return set(opt, &Optimiser::alt_step, on); }

int nx_set_opt_itersave(int opt, int on) { return set(opt, &Optimiser::itersave, on); }

int nx_set_opt_restart(int opt) { return set(opt, &Optimiser::restart, 1); }

int nx_set_opt_debug(int opt, int level) { return set(opt, &Optimiser::debug, level); }

int nx_get_opt_total_function_calls(int opt, int* calls) { return get(opt, &Optimiser::total_function_calls, calls); }

int nx_get_opt_total_iterations(int opt, int* iterations) { return get(opt, &Optimiser::total_iterations, iterations); }

int nx_get_opt_saveval(int opt, float* value) { return get(opt, &Optimiser::saveval, value); }
