// Float and double terms, plain and extended ones are handled by the same templates. A term may change or delete the
// list that it is called from, or make the table grow, so the list is looked up again before each call.
#include <nxbriochem/optimise/func_list.h>

#include <algorithm>
#include <functional>
#include <type_traits>
#include <utility>

#include <nxbriochem/objects/memory.h>
#include <nxbriochem/objects/memory_owners_internal.h>
#include <nxbriochem/optimise/func_list_internal.h>
#include <nxbriochem/optimise/slot_table_internal.h>

namespace func_list {

List* Func = nullptr;
int32_t* Func_Occupancy = nullptr;
int32_t Fnum = 0;
int32_t Finc = slot_table::kFirstCapacity;
int32_t Low_Vacant = slot_table::kNone;

namespace {

constexpr slot_table::SlotTable<List> table{Func, Func_Occupancy, Fnum, Finc, Low_Vacant};

uint64_t lists_made = 0;

List* find(int list) { return table.in_use(list) ? &Func[list] : nullptr; }

template <class Real>
TermArrays<Real>& arrays_of(List& list) {
  if constexpr (std::is_same_v<Real, float>) {
    return list.float_terms;
  } else {
    return list.double_terms;
  }
}

int64_t grown_capacity(int32_t capacity) {
  // Kept: programs rely on the first capacity being the present capacity of the table of lists.
  return capacity == 0 ? Finc : 2 * static_cast<int64_t>(capacity);
}

template <class Function>
void append(Terms<Function>& terms, Function function) {
  if (terms.count == terms.capacity) {
    const int64_t capacity = grown_capacity(terms.capacity);
    slot_table::grow_cleared(terms.functions, terms.count, capacity);
    terms.capacity = static_cast<int32_t>(capacity);
  }
  terms.functions[terms.count++] = function;
}

template <class Function>
void append(ExtendedTerms<Function>& terms, Function function, int handle) {
  const int32_t at = terms.count;
  if (at == terms.capacity) {
    slot_table::grow_cleared(terms.handles, at, grown_capacity(terms.capacity));
  }
  append(static_cast<Terms<Function>&>(terms), function);
  terms.handles[at] = handle;
}

// A term as a function of the arguments common to all terms; for an extended one the handle is bound.
template <class Function>
auto term_of(const Terms<Function>& terms, int32_t i) {
  return [function = terms.functions[i]](auto... arguments) { return function(arguments...); };
}

template <class Function>
auto term_of(const ExtendedTerms<Function>& terms, int32_t i) {
  return [function = terms.functions[i], handle = terms.handles[i]](auto... arguments) {
    return function(arguments..., handle);
  };
}

// The body of all functions that add a term. An extended term comes with its handle.
template <class Real, class Array, class Function, class... Handle>
int add(int list, Array TermArrays<Real>::*array, Function term, Handle... handle) {
  List* found = find(list);
  if (found == nullptr || term == nullptr) {
    return 0;
  }
  append(arrays_of<Real>(*found).*array, term, handle...);
  return 1;
}

void free_block(void* block) {
  if (block != nullptr) {
    nx_free(block);
  }
}

template <class Real>
void free_terms(const TermArrays<Real>& arrays) {
  const auto free_plain = [](const auto&... terms) { (free_block(terms.functions), ...); };
  const auto free_extended = [](const auto&... terms) {
    ((free_block(terms.functions), free_block(terms.handles)), ...);
  };
  free_plain(arrays.energy, arrays.gradient, arrays.hessian);
  free_extended(arrays.extended_energy, arrays.extended_gradient, arrays.extended_hessian);
}

int set_flag(int list, int32_t List::*flag, int32_t value) {
  List* found = find(list);
  if (found == nullptr) {
    return 0;
  }
  found->*flag = value;
  return 1;
}

// One evaluation of a list at x. It owns the scratch buffer meanwhile: when a term deletes the list or evaluates it
// itself, the buffer is neither freed nor used by others.
template <class Real>
class Evaluation {
 public:
  // `gradient` is null for values.
  Evaluation(int handle, List& list, Real* x, Real* gradient, int n)
      : handle_(handle),
        serial_(list.serial),
        x_(x),
        gradient_(gradient),
        n_(n),
        scratch_(list.scratch),
        capacity_(list.scratch_capacity) {
    list.scratch = nullptr;
    list.scratch_capacity = 0;
    const bool own_x = list.protect_variables != 0;
    const bool own_gradient = list.protect_gradient != 0 && gradient != nullptr;
    make_room(n * (static_cast<int64_t>(own_x) + static_cast<int64_t>(own_gradient)));
    auto* room = static_cast<Real*>(static_cast<void*>(scratch_));
    if (own_x && n > 0) {
      own_x_ = room;
      room += n;
    }
    if (own_gradient && n > 0) {
      own_gradient_ = room;
    }
  }
  Evaluation(const Evaluation&) = delete;
  Evaluation& operator=(const Evaluation&) = delete;
  ~Evaluation() {
    List* list = find_same();
    if (list != nullptr && list->scratch_capacity < capacity_) {
      std::swap(list->scratch, scratch_);
      list->scratch_capacity = capacity_;
    }
    free_block(scratch_);
  }

  // The sum of a kind's terms, the plain ones first, each called by call(term, x, gradient, n).
  template <class Plain, class Extended, class Call>
  Real sum(Plain TermArrays<Real>::*plain, Extended TermArrays<Real>::*extended, Call call) const {
    // Terms that are added meanwhile wait for the next evaluation.
    const TermArrays<Real>& arrays = arrays_of<Real>(*find_same());
    const int32_t plain_count = (arrays.*plain).count;
    const int32_t extended_count = (arrays.*extended).count;
    Real total = 0;
    add_terms(plain, plain_count, call, total);
    add_terms(extended, extended_count, call, total);
    return total;
  }

 private:
  List* find_same() const {
    List* list = find(handle_);
    return list != nullptr && list->serial == serial_ ? list : nullptr;
  }

  template <class Array, class Call>
  void add_terms(Array TermArrays<Real>::*array, int32_t count, Call call, Real& total) const {
    for (int32_t i = 0; i < count; ++i) {
      List* list = find_same();
      if (list == nullptr) {
        return;  // the term before has deleted it
      }
      const auto term = term_of(arrays_of<Real>(*list).*array, i);
      Real* x = own_x_ == nullptr ? x_ : std::copy_n(x_, n_, own_x_) - n_;
      if (own_gradient_ == nullptr) {
        total += call(term, x, gradient_, n_);
        continue;
      }
      std::fill_n(own_gradient_, n_, Real{0});
      total += call(term, x, own_gradient_, n_);
      std::transform(gradient_, gradient_ + n_, own_gradient_, gradient_, std::plus<>());
    }
  }

  void make_room(int64_t entries) {
    if (entries > capacity_) {
      slot_table::grow_cleared(scratch_, 0, entries);
      capacity_ = static_cast<int32_t>(entries);
    }
  }

  int handle_;
  uint64_t serial_;
  Real* x_;
  Real* gradient_;
  int n_;
  double* scratch_;
  int32_t capacity_;
  Real* own_x_ = nullptr;
  Real* own_gradient_ = nullptr;
};

template <class Real>
Real evaluate(Real* x, int n, int list) {
  List* found = find(list);
  if (found == nullptr || x == nullptr || n < 0) {
    return 0;
  }
  const Evaluation<Real> evaluation(list, *found, x, nullptr, n);
  return evaluation.sum(&TermArrays<Real>::energy, &TermArrays<Real>::extended_energy,
                        [](auto term, Real* at, Real*, int size) { return term(at, size); });
}

template <class Real>
Real evaluate(Real* x, Real* gradient, int n, int list) {
  List* found = find(list);
  if (found == nullptr || x == nullptr || gradient == nullptr || n < 0) {
    return 0;
  }
  if (found->zero_gradient != 0) {
    std::fill_n(gradient, n, Real{0});
  }
  const Evaluation<Real> evaluation(list, *found, x, gradient, n);
  return evaluation.sum(&TermArrays<Real>::gradient, &TermArrays<Real>::extended_gradient,
                        [](auto term, Real* at, Real* into, int size) { return term(at, into, size); });
}

}  // namespace
}  // namespace func_list

using namespace func_list;

int nx_make_function_list(void) {
  memory::when_all_freed([] { table.forget(); });
  const int32_t list = table.take();
  Func[list] = List{};
  Func[list].zero_gradient = 1;
  Func[list].serial = ++lists_made;
  return list;
}

int nx_delete_function_list(int list) {
  List* found = find(list);
  if (found == nullptr) {
    return 0;
  }
  free_terms(found->float_terms);
  free_terms(found->double_terms);
  free_block(found->scratch);
  *found = List{};
  table.release(list);
  return 1;
}

int nx_protect_function_list_variables(int list) { return set_flag(list, &List::protect_variables, 1); }

int nx_protect_function_list_gradient(int list) { return set_flag(list, &List::protect_gradient, 1); }

int nx_no_zero_function_list_gradient(int list) { return set_flag(list, &List::zero_gradient, 0); }

int nx_add_energy_function_to_list(nx_energy_term term, int /*ignored*/, int list) {
  return add(list, &TermArrays<float>::energy, term);
}

int nx_add_energy_function_to_list_double(nx_energy_term_double term, int /*ignored*/, int list) {
  return add(list, &TermArrays<double>::energy, term);
}

int nx_add_gradient_function_to_list(nx_gradient_term term, int /*ignored*/, int list) {
  return add(list, &TermArrays<float>::gradient, term);
}

int nx_add_gradient_function_to_list_double(nx_gradient_term_double term, int /*ignored*/, int list) {
  return add(list, &TermArrays<double>::gradient, term);
}

int nx_add_hessian_function_to_list(nx_hessian_term term, int /*ignored*/, int list) {
  return add(list, &TermArrays<float>::hessian, term);
}

int nx_add_hessian_function_to_list_double(nx_hessian_term_double term, int /*ignored*/, int list) {
  return add(list, &TermArrays<double>::hessian, term);
}

int nx_add_extended_energy_function_to_list(nx_extended_energy_term term, int handle, int /*ignored*/, int list) {
  return add(list, &TermArrays<float>::extended_energy, term, handle);
}

int nx_add_extended_energy_function_to_list_double(nx_extended_energy_term_double term, int handle, int /*ignored*/,
                                                   int list) {
  return add(list, &TermArrays<double>::extended_energy, term, handle);
}

int nx_add_extended_gradient_function_to_list(nx_extended_gradient_term term, int handle, int /*ignored*/, int list) {
  return add(list, &TermArrays<float>::extended_gradient, term, handle);
}

int nx_add_extended_gradient_function_to_list_double(nx_extended_gradient_term_double term, int handle, int /*ignored*/,
                                                     int list) {
  return add(list, &TermArrays<double>::extended_gradient, term, handle);
}

int nx_add_extended_hessian_function_to_list(nx_extended_hessian_term term, int handle, int /*ignored*/, int list) {
  return add(list, &TermArrays<float>::extended_hessian, term, handle);
}

int nx_add_extended_hessian_function_to_list_double(nx_extended_hessian_term_double term, int handle, int /*ignored*/,
                                                    int list) {
  return add(list, &TermArrays<double>::extended_hessian, term, handle);
}

float nx_function_list(float* x, int n, int list) { return evaluate(x, n, list); }

double nx_function_list_double(double* x, int n, int list) { return evaluate(x, n, list); }

float nx_gradient_list(float* x, float* gradient, int n, int list) { return evaluate(x, gradient, n, list); }

double nx_gradient_list_double(double* x, double* gradient, int n, int list) { return evaluate(x, gradient, n, list); }

// Kept: programs rely on hessian terms never being called.
float nx_hessian_list(float* /*x*/, float* /*hessian*/, int /*n*/, int /*list*/) { return 0; }

double nx_hessian_list_double(double* /*x*/, double* /*hessian*/, int /*n*/, int /*list*/) { return 0; }
