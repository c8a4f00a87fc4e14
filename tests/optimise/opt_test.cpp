#include <nxbriochem/optimise/opt.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include <nxbriochem/objects/memory.h>
#include <nxbriochem/optimise/evaluation_internal.h>
#include <nxbriochem/optimise/func_list.h>
#include <nxbriochem/optimise/opt_internal.h>

#include "tests/support/printed.h"

namespace {

using opt::Optimiser;
using test_support::printed;

double value(double*, int) { return 1; }
double value_with_handle(double*, int, int) { return 1; }
double gradient(double*, double*, int) { return 1; }
double gradient_with_handle(double*, double*, int, int) { return 1; }
double hessian(double*, double*, int) { return 1; }
double hessian_with_handle(double*, double*, int, int) { return 1; }

auto fields_of(const Optimiser& r) {
  return std::make_tuple(
      r.size, r.method, r.debug, r.restart, r.function, r.gradient, r.hessian, r.function_with_handle,
      r.gradient_with_handle, r.hessian_with_handle, r.function_handle, r.gradient_handle, r.hessian_handle,
      r.reserved_word, r.work_array, r.method_workspace, r.workspace_allocated, r.maximum_iterations, r.zero,
      r.gradient_convergence, r.energy_convergence, r.tolerance_a, r.tolerance_b, r.tolerance_c, r.count_a, r.count_b,
      r.max_line_try, r.alt_step, r.alpha, r.beta, r.small_threshold, r.reserved, r.itersave, r.iterations_set,
      r.total_iterations, r.total_function_calls, r.saveval, r.initial_step, r.final_step);
}

Optimiser& record(int handle) { return opt::Opt[handle - 1]; }

// A model of the documented table: the slots in use and the tracked memory that they should hold. Operations on handles
// not in use have no effect.
struct Model {
  struct Slot {
    bool used = false;
    int size = 0;
    int method = 0;
    int iterations = 200;
    int iterations_set = 0;
    int64_t array = 0;      // doubles of the work array on the heap
    int64_t workspace = 0;  // doubles of the method workspace on the heap
  };
  std::vector<Slot> slots;
  int capacity = 10;

  bool used(int handle) const {
    return handle > 0 && handle <= static_cast<int>(slots.size()) && slots[static_cast<std::size_t>(handle) - 1].used;
  }
  template <class Change>
  bool change(int handle, Change change) {
    if (used(handle)) {
      change(slots[static_cast<std::size_t>(handle) - 1]);
      return true;
    }
    return false;
  }
  int make(int size) {
    const auto vacant = std::ranges::find_if(slots, [](const Slot& slot) { return !slot.used; });
    const auto slot = static_cast<int>(vacant - slots.begin());
    if (vacant == slots.end()) {
      capacity *= slot == capacity ? 2 : 1;
      slots.emplace_back();
    }
    slots[static_cast<std::size_t>(slot)] = Slot{.used = true};
    resize(slot + 1, size);
    return slot + 1;
  }
  bool resize(int handle, int size) {
    return change(handle, [=](Slot& slot) {
      slot.size = size;
      slot.array = in_pool(handle, size) ? 0 : size;
      slot.workspace = in_pool(handle, size) ? 0 : slot.workspace;
    });
  }
  static bool in_pool(int handle, int size) { return handle == 1 && size <= 500; }
  uint32_t bytes() const {
    int64_t bytes = slots.empty() ? 0 : capacity * static_cast<int64_t>(sizeof(Optimiser) + sizeof(int32_t));
    for (const Slot& slot : slots) {
      bytes += 8 * (slot.array + slot.workspace);
    }
    return static_cast<uint32_t>(bytes);
  }
};

void compare(const Model& model) {
  ASSERT_EQ(nx_total_memory_allocated(), model.bytes());
  ASSERT_EQ(std::tuple(opt::Onum, opt::Oinc), std::tuple(static_cast<int>(model.slots.size()), model.capacity));
  int vacant = -1;
  for (int i = opt::Onum - 1; i >= 0; --i) {
    const Model::Slot& slot = model.slots[static_cast<std::size_t>(i)];
    ASSERT_EQ(opt::Opt_Occupancy[i], slot.used ? 1 : 0);
    vacant = slot.used ? vacant : i;
    const Optimiser& r = opt::Opt[i];
    ASSERT_TRUE(!slot.used || (r.size == slot.size && r.method == slot.method &&
                               r.iterations_set == slot.iterations_set && r.maximum_iterations == slot.iterations &&
                               (r.work_array == opt::MEM) == Model::in_pool(i + 1, slot.size)));
  }
  ASSERT_EQ(opt::Low_Vacant, vacant);
}

TEST(OptTable, RandomOperationsMatchAModel) {
  std::mt19937 random(41);
  const auto below = [&random](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
  Model model;
  for (int i = 0; i < 30000; ++i) {
    const int handle = i % 50 == 0 ? 1 : below(static_cast<int>(model.slots.size()) + 3) - 1;
    const int sizes[] = {0, 1, 7, 499, 500, 501, 600};
    const int size = sizes[below(7)];
    const int code = below(6) - 1;
    const bool known = code >= 0 && code < 4;
    const int methods[] = {2, 1, 3, 1};
    switch (below(i / 1000 % 2 == 0 ? 9 : 13)) {  // the table grows for a while, then shrinks
      case 0:
      case 1:
        ASSERT_EQ(nx_init_opt(size, value), model.make(size));
        break;
      case 2: {
        const int slot = opt::old_init_opt();
        ASSERT_EQ(fields_of(opt::Opt[slot]), fields_of(Optimiser{}));
        ASSERT_EQ(nx_clear_opt(slot + 1), 1);
        ASSERT_EQ(slot + 1, model.make(0));
        break;
      }
      case 3:
        ASSERT_EQ(nx_clear_opt(handle),
                  model.change(handle, [](Model::Slot& slot) { slot = {.used = true, .method = slot.method}; }));
        break;
      case 4:
        ASSERT_EQ(nx_set_opt_size(size, handle), model.resize(handle, size));
        break;
      case 5:
        model.change(handle, [&](Model::Slot& slot) {
          // For handle 1 the largest workspace that a method needs is written to its last double: the pool must have
          // room for it.
          const int64_t doubles = slot.size * (handle == 1 ? slot.size + 9 : below(3)) + 1;
          double* workspace = opt::workspace_of(handle - 1, static_cast<uint64_t>(doubles));
          std::fill_n(workspace, doubles - 1, 1.0);
          ASSERT_EQ(workspace == opt::MEM + slot.size, Model::in_pool(handle, slot.size));
          slot.workspace = Model::in_pool(handle, slot.size) ? 0 : std::max(slot.workspace, doubles);
        });
        break;
      case 6: {
        int method = 0;
        model.change(handle, [&](Model::Slot& slot) {
          method = slot.method = known ? methods[code] : slot.method;
          slot.iterations = known && slot.iterations_set == 0 ? (code == 2 ? 200 : 400) : slot.iterations;
        });
        ASSERT_EQ(nx_set_opt_method(handle, code), method != 0 ? 1 : 0);
        break;
      }
      case 7:
        ASSERT_EQ(nx_set_opt_maximum_iterations(handle, i), model.change(handle, [i](Model::Slot& slot) {
          slot.iterations = i;
          slot.iterations_set = 1;
        }));
        break;
      default:
        ASSERT_EQ(nx_delete_opt(handle), model.change(handle, [](Model::Slot& slot) { slot = {}; }));
    }
    ASSERT_NO_FATAL_FAILURE(compare(model)) << "after operation " << i;
  }
  EXPECT_GT(opt::Oinc, 160);
}

Optimiser with_defaults() {
  Optimiser record{};
  record.maximum_iterations = 200;
  record.zero = record.gradient_convergence = record.energy_convergence = 1e-50;
  record.tolerance_a = record.tolerance_c = 1e-6;
  record.tolerance_b = 1e-4;
  record.count_a = 500;
  record.count_b = 6;
  record.alpha = 0.1;
  record.beta = 0.9;
  record.small_threshold = 3e-8;
  return record;
}

// Returns the number of calls that succeeded. All integers are 3, the handle of a bystander: a setter that took its
// arguments in the wrong order would change the bystander.
int set_all(int h) {
  return nx_set_opt_function_with_handle(value_with_handle, 3, h) + nx_set_opt_gradient_list(3, h) +
         nx_set_opt_hessian_with_handle(hessian_with_handle, 3, h) + nx_set_opt_zero(h, 3) +
         nx_set_opt_gradient_convergence(h, 4) + nx_set_opt_energy_convergence(h, 5) + nx_set_opt_alpha(h, 0.1F) +
         nx_set_opt_beta(h, 0.9F) + nx_set_opt_stepsize(h, 6) + nx_set_opt_max_line_try(h, 3) +
         nx_set_opt_alt_step(h, 3) + nx_set_opt_itersave(h, 3) + nx_set_opt_restart(h) + nx_set_opt_debug(h, 3) +
         nx_set_opt_maximum_iterations(h, 3) + nx_set_opt_method(h, 3);
}

// Sets the callbacks by the remaining functions.
int set_callbacks(int h) {
  return nx_set_opt_function(value, h) + nx_set_opt_gradient(gradient, h) + nx_set_opt_hessian(hessian, h) +
         nx_set_opt_function_list(3, h) + nx_set_opt_gradient_with_handle(gradient_with_handle, 3, h) +
         nx_set_opt_hessian_list(3, h) + nx_set_opt_derivs(h, gradient) + nx_set_opt_2nd_derivs(h, hessian);
}

TEST(OptTable, SettersAndDefaults) {
  for (int i = 0; i < 3; ++i) {
    nx_init_opt(2, value);
  }
  Optimiser expected = with_defaults();
  expected.size = 2;
  expected.function = value;
  expected.work_array = record(2).work_array;
  EXPECT_EQ(fields_of(record(2)), fields_of(expected));
  const auto bystander = fields_of(record(3));

  EXPECT_EQ(set_all(2), 16);
  expected.function = nullptr;
  expected.function_with_handle = value_with_handle;
  expected.gradient_with_handle = nx_gradient_list_double;
  expected.hessian_with_handle = hessian_with_handle;
  std::tie(expected.function_handle, expected.gradient_handle, expected.hessian_handle) = std::tuple(3, 3, 3);
  std::tie(expected.zero, expected.gradient_convergence, expected.energy_convergence) = std::tuple(3, 4, 5);
  std::tie(expected.alpha, expected.beta, expected.initial_step) = std::tuple(0.1F, 0.9F, 6);
  std::tie(expected.max_line_try, expected.alt_step, expected.itersave, expected.debug) = std::tuple(3, 3, 3, 3);
  std::tie(expected.restart, expected.maximum_iterations, expected.iterations_set) = std::tuple(1, 3, 1);
  expected.method = opt::kSteepestDescent;
  EXPECT_EQ(fields_of(record(2)), fields_of(expected));

  EXPECT_EQ(set_callbacks(2), 8);
  expected.function_with_handle = nx_function_list_double;
  expected.gradient_with_handle = nullptr;
  expected.hessian_with_handle = nullptr;
  expected.gradient = gradient;
  expected.hessian = hessian;
  EXPECT_EQ(fields_of(record(2)), fields_of(expected));
  nx_set_opt_function(value, 2);
  EXPECT_EQ(record(2).function_with_handle, nullptr);
  EXPECT_EQ(fields_of(record(3)), bystander);

  for (const int handle : {0, -1, 4, 11, INT_MAX, INT_MIN}) {
    EXPECT_EQ(set_all(handle) + set_callbacks(handle) + nx_set_opt_size(1, handle), 0);
  }
  // The setters accept the slot behind the last one ever used; there the flag decides.
  opt::Opt_Occupancy[3] = 1;
  EXPECT_EQ(set_all(4) + set_callbacks(4), 24);
  EXPECT_EQ(nx_clear_opt(4) + nx_delete_opt(4), 0);

  // Clearing keeps the method. A slot that is taken again has all defaults.
  EXPECT_EQ(nx_clear_opt(2), 1);
  expected = with_defaults();
  expected.method = opt::kSteepestDescent;
  EXPECT_EQ(fields_of(record(2)), fields_of(expected));
  EXPECT_EQ(nx_delete_opt(2) + nx_init_opt(0, nullptr), 1 + 2);
  EXPECT_EQ(fields_of(record(2)), fields_of(with_defaults()));
}

TEST(OptTable, GettersAndTraces) {
  const int handle = nx_init_opt(2, nullptr);
  Optimiser& r = record(handle);
  std::tie(r.total_iterations, r.total_function_calls, r.saveval, r.final_step) = std::tuple(1, 2, 3.0F, 4.0F);
  nx_set_opt_stepsize(handle, 5);
  float step = 0;
  float saved = 0;
  int calls = 0;
  int iterations = 0;
  EXPECT_EQ(nx_get_opt_stepsize(handle, &step) + nx_get_opt_saveval(handle, &saved) +
                nx_get_opt_total_function_calls(handle, &calls) + nx_get_opt_total_iterations(handle, &iterations),
            4);
  EXPECT_EQ(std::tuple(iterations, calls, saved, step), std::tuple(1, 2, 3.0F, 4.0F));  // the step is not the one set
  EXPECT_EQ(nx_get_opt_stepsize(handle + 1, &step) + nx_get_opt_saveval(0, &saved) +
                nx_get_opt_total_iterations(handle, nullptr) + nx_get_opt_saveval(handle, nullptr),
            0);
  for (const int level : {0, 1, 2, 3}) {
    nx_set_opt_debug(handle, level);
    const std::string text = printed([handle] {
      nx_set_opt_gradient_convergence(handle, 1e-5);
      nx_set_opt_energy_convergence(handle, 2.5);
    });
    EXPECT_EQ(text, level == 2 ? "grad converge set to 1.000000e-05\nenergy converge set to 2.500000e+00\n" : "");
  }
}

TEST(OptTable, RefusesWhatItCannotDo) {
  EXPECT_EQ(nx_set_opt_debug(1, 1) + nx_delete_opt(1) + nx_init_opt(-1, value) + nx_init_opt(INT_MIN, value), 0);
  EXPECT_EQ(nx_total_number_of_active_pointers(), 0);
  const int handle = nx_init_opt(4, value);
  const auto before = fields_of(record(handle));
  EXPECT_EQ(nx_set_opt_size(-1, handle), 0);
  {
    const opt::Running mark(handle - 1);
    EXPECT_EQ(nx_set_opt_size(5, handle) + nx_clear_opt(handle) + nx_delete_opt(handle), 0);
    EXPECT_EQ(nx_delete_opt(nx_init_opt(5, value)), 1);
  }
  EXPECT_EQ(fields_of(record(handle)), before);
  // A full table has no flag behind its last slot: none must be read.
  while (opt::Onum < opt::Oinc) {
    nx_init_opt(1, value);
  }
  EXPECT_EQ(nx_set_opt_debug(opt::Onum + 1, 1), 0);
  nx_free_all_memory();
  EXPECT_EQ(nx_set_opt_debug(handle, 1) + opt::Onum, 0);
  EXPECT_EQ(nx_init_opt(501, value), 1);
  EXPECT_EQ(opt::Oinc, 10);
}

}  // namespace
