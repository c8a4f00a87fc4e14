#include <nxbriochem/optimise/func_list.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <functional>
#include <map>
#include <random>
#include <tuple>
#include <type_traits>
#include <vector>

#include <nxbriochem/objects/memory.h>
#include <nxbriochem/optimise/func_list_internal.h>

namespace {

using func_list::List;

// Each term records its number (small for plain terms, the caller's handle for extended ones), changes x, and adds to
// the gradient. All numbers are small integers, so that floats are exact.
std::vector<int> called;
std::function<void(int)> meanwhile;

template <class Real>
Real term(Real* x, Real* gradient, int n, int number) {
  called.push_back(number);
  if (meanwhile) {
    meanwhile(number);
  }
  Real sum = static_cast<Real>(number);
  for (int i = 0; i < n; ++i) {
    sum += x[i];
    if (gradient != nullptr) {
      gradient[i] += x[i] + static_cast<Real>(number);
    }
  }
  if (n > 0) {
    x[n - 1] = x[n - 1] > 50 ? Real{0} : x[n - 1] + 1;
  }
  return sum;
}

template <class Real, int number>
Real energy(Real* x, int n) {
  return term<Real>(x, nullptr, n, number);
}
template <class Real, int number>
Real gradient(Real* x, Real* out, int n) {
  return term(x, out, n, number);
}
template <class Real>
Real extended_energy(Real* x, int n, int handle) {
  return term<Real>(x, nullptr, n, handle);
}
template <class Real>
Real extended_gradient(Real* x, Real* out, int n, int handle) {
  return term(x, out, n, handle);
}

enum Kind { kEnergy, kGradient, kHessian };

// Adds term `number`: 1 to 3 are plain, higher numbers extended.
template <class Real>
int add(Kind kind, int number, int list) {
  using Energy = Real (*)(Real*, int);
  using Gradient = Real (*)(Real*, Real*, int);
  constexpr Energy energies[] = {energy<Real, 1>, energy<Real, 2>, energy<Real, 3>};
  constexpr Gradient gradients[] = {gradient<Real, 1>, gradient<Real, 2>, gradient<Real, 3>};
  constexpr auto of = [](auto for_float, auto for_double) {
    return std::get<std::is_same_v<Real, double>>(std::tuple(for_float, for_double));
  };
  const bool extended = number > 3;
  if (kind == kEnergy) {
    return extended ? of(nx_add_extended_energy_function_to_list, nx_add_extended_energy_function_to_list_double)(
                          extended_energy<Real>, number, 9, list)
                    : of(nx_add_energy_function_to_list, nx_add_energy_function_to_list_double)(energies[number - 1], 9,
                                                                                                list);
  }
  const auto into = of(nx_add_extended_gradient_function_to_list, nx_add_extended_gradient_function_to_list_double);
  const auto other = of(nx_add_extended_hessian_function_to_list, nx_add_extended_hessian_function_to_list_double);
  const auto plain_into = of(nx_add_gradient_function_to_list, nx_add_gradient_function_to_list_double);
  const auto plain_other = of(nx_add_hessian_function_to_list, nx_add_hessian_function_to_list_double);
  return extended ? (kind == kGradient ? into : other)(extended_gradient<Real>, number, 9, list)
                  : (kind == kGradient ? plain_into : plain_other)(gradients[number - 1], 9, list);
}

float evaluate(float* x, int n, int list) { return nx_function_list(x, n, list); }
double evaluate(double* x, int n, int list) { return nx_function_list_double(x, n, list); }
float evaluate(float* x, float* g, int n, int list) { return nx_gradient_list(x, g, n, list); }
double evaluate(double* x, double* g, int n, int list) { return nx_gradient_list_double(x, g, n, list); }

// A model of the documented list.
struct Model {
  struct Array {
    std::vector<int> numbers;
    std::size_t capacity = 0;
  };
  std::map<std::tuple<Kind, bool, bool>, Array> terms;  // by kind, whether they are of floats, and whether extended
  bool protect_variables = false;
  bool zero = true;
  bool protect_gradient = false;
  int scratch = 0;

  void add(Kind kind, bool single, int number) {
    Array& array = terms[{kind, single, number > 3}];
    if (array.numbers.size() == array.capacity) {
      array.capacity = array.capacity == 0 ? static_cast<std::size_t>(func_list::Finc) : 2 * array.capacity;
    }
    array.numbers.push_back(number);
  }

  template <class Real>
  void check(std::mt19937& random, int n, bool of_gradient, int list) {
    std::vector<Real> x(static_cast<std::size_t>(n) + 1);
    std::vector<Real> g(x.size());
    for (std::size_t i = 0; i < x.size(); ++i) {
      x[i] = static_cast<Real>(random() % 9);
      g[i] = static_cast<Real>(random() % 9);
    }
    std::vector<Real> expected_x = x;
    std::vector<Real> expected_g = g;
    const Kind kind = of_gradient ? kGradient : kEnergy;
    std::vector<int> numbers = terms[{kind, std::is_same_v<Real, float>, false}].numbers;
    const std::vector<int>& extended = terms[{kind, std::is_same_v<Real, float>, true}].numbers;
    numbers.insert(numbers.end(), extended.begin(), extended.end());
    if (of_gradient && zero) {
      std::fill_n(expected_g.begin(), n, Real{0});
    }
    called.clear();
    Real sum = 0;
    for (const int number : numbers) {
      std::vector<Real> own = expected_x;
      sum += term((protect_variables ? own : expected_x).data(), of_gradient ? expected_g.data() : nullptr, n, number);
    }
    called.clear();
    EXPECT_EQ(of_gradient ? evaluate(x.data(), g.data(), n, list) : evaluate(x.data(), n, list), sum);
    EXPECT_EQ(called, numbers);
    EXPECT_EQ(x, expected_x);
    EXPECT_EQ(g, expected_g);
    scratch = std::max(scratch,
                       n * (static_cast<int>(protect_variables) + static_cast<int>(of_gradient && protect_gradient)));
  }

  uint32_t bytes() const {
    std::size_t bytes = static_cast<std::size_t>(scratch) * sizeof(double);
    for (const auto& [key, array] : terms) {
      bytes += array.capacity * (sizeof(void*) + (std::get<2>(key) ? sizeof(int) : 0));
    }
    return static_cast<uint32_t>(bytes);
  }
};

TEST(FuncList, RandomOperationsMatchAModel) {
  std::mt19937 random(43);
  const auto below = [&random](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
  std::map<int, Model> lists;
  for (int i = 0; i < 20000; ++i) {
    const int list = below(13);
    const bool used = lists.count(list) != 0;
    Model unused;
    Model& model = used ? lists[list] : unused;
    const int n = below(6);
    const bool single = below(2) == 0;
    const auto kind = static_cast<Kind>(below(3));
    switch (below(40)) {
      case 0:
        if (lists.size() < 12) {
          int vacant = 0;
          while (lists.count(vacant) != 0) {
            ++vacant;
          }
          EXPECT_EQ(nx_make_function_list(), vacant);
          lists[vacant] = {};
        }
        break;
      case 1:
        EXPECT_EQ(nx_delete_function_list(list), used);
        lists.erase(list);
        break;
      case 2:
        EXPECT_EQ(nx_protect_function_list_variables(list), used);
        model.protect_variables = true;
        break;
      case 3:
        EXPECT_EQ(nx_no_zero_function_list_gradient(list), used);
        model.zero = false;
        break;
      case 4:
        EXPECT_EQ(nx_protect_function_list_gradient(list), used);
        model.protect_gradient = true;
        break;
      default:
        if (n < 3) {
          const int number = 1 + below(6);
          EXPECT_EQ(single ? add<float>(kind, number, list) : add<double>(kind, number, list), used);
          model.add(kind, single, number);
        } else if (used && single) {
          model.check<float>(random, n, kind == kGradient, list);
        } else if (used) {
          model.check<double>(random, n, kind == kGradient, list);
        }
    }
    uint32_t bytes = func_list::Fnum == 0 ? 0 : static_cast<uint32_t>(func_list::Finc) * (sizeof(List) + sizeof(int));
    for (const auto& [handle, each] : lists) {
      bytes += each.bytes();
    }
    ASSERT_EQ(nx_total_memory_allocated(), bytes);
    ASSERT_FALSE(HasFailure()) << "operation " << i;
  }
  EXPECT_EQ(func_list::Finc, 20);
}

TEST(FuncList, FirstRoomAndBadInput) {
  const int list = nx_make_function_list();
  for (int i = 1; i <= 11; ++i) {
    add<double>(kGradient, 40 + i, list);
    EXPECT_EQ(func_list::Func[list].double_terms.extended_gradient.capacity, i <= 10 ? 10 : 20);
  }
  add<double>(kHessian, 1, list);
  const int blocks = nx_total_number_of_active_pointers();
  double x = 1;
  double g = 5;
  double sum = nx_hessian_list_double(&x, &g, 1, list) + static_cast<double>(nx_hessian_list(nullptr, nullptr, 1, 0));
  for (const int bad : {-1, 1, 10, INT_MAX, INT_MIN}) {
    EXPECT_EQ(nx_delete_function_list(bad) + add<float>(kEnergy, 1, bad) + add<double>(kHessian, 5, bad), 0);
    sum += nx_function_list_double(&x, 1, bad) + nx_gradient_list_double(&x, &g, 1, bad);
  }
  sum += nx_function_list_double(nullptr, 1, list) + nx_function_list_double(&x, -1, list) +
         nx_gradient_list_double(&x, nullptr, 1, list) + nx_gradient_list_double(nullptr, &g, 1, list) +
         nx_gradient_list_double(&x, &g, -1, list);
  EXPECT_EQ(sum + nx_add_hessian_function_to_list(nullptr, 0, list), 0);
  EXPECT_EQ(g, 5);
  EXPECT_EQ(nx_total_number_of_active_pointers(), blocks);
  nx_free_all_memory();
  EXPECT_EQ(nx_function_list_double(&x, 1, list), 0);
  EXPECT_EQ(nx_make_function_list(), 0);
}

// Terms that add to their list, evaluate it or delete it, and then still read x and write the gradient.
TEST(FuncList, TermsMayChangeTheirList) {
  const int list = nx_make_function_list();
  nx_protect_function_list_variables(list);
  nx_protect_function_list_gradient(list);
  for (const int number : {1, 2, 5, 6}) {
    add<double>(kGradient, number, list);
  }
  std::vector<double> x(100, 1);
  std::vector<double> g(100);
  const auto run = [&](const std::function<void(int)>& change) {
    called.clear();
    meanwhile = change;
    const double sum = nx_gradient_list_double(x.data(), g.data(), 100, list);
    meanwhile = nullptr;
    return sum;
  };
  using Numbers = std::vector<int>;
  EXPECT_EQ(run([list](int number) {
              for (int i = 0; number == 1 && i < 100; ++i) {
                add<double>(kGradient, 3, list);
                add<double>(kGradient, 7, list);
                nx_make_function_list();
              }
            }),
            4 * 100 + 1 + 2 + 5 + 6);
  EXPECT_EQ(called, (Numbers{1, 2, 5, 6}));
  EXPECT_EQ(g[99], 4 + 14);

  // A term that evaluates the list at a larger size: the copies of the outer evaluation must not change.
  std::vector<double> large(1000, 3);
  std::vector<double> large_gradient(1000);
  bool nested = false;
  const double sum = run([&](int number) {
    if (number == 2 && !nested) {
      nested = true;
      nx_gradient_list_double(large.data(), large_gradient.data(), 1000, list);
    }
  });
  EXPECT_EQ(sum, 204 * 100 + 14 + 100 * (3 + 7));
  EXPECT_EQ(g[99], 204 + 14 + 100 * (3 + 7));
  EXPECT_EQ(large_gradient[999], 204 * 3 + 14 + 100 * (3 + 7));
  EXPECT_EQ(func_list::Func[list].scratch_capacity, 2000);

  // A term that deletes its list, whose handle is then given out again at once.
  const int blocks = nx_total_number_of_active_pointers();
  EXPECT_EQ(run([list](int number) {
              if (number == 2) {
                nx_delete_function_list(list);
                EXPECT_EQ(nx_make_function_list(), list);
                add<double>(kGradient, 7, list);
                add<double>(kGradient, 1, list);
              }
            }),
            2 * 100 + 1 + 2);
  EXPECT_EQ(called, (Numbers{1, 2}));
  EXPECT_EQ(g[99], 2 + 3);
  EXPECT_EQ(func_list::Func[list].scratch, nullptr);
  EXPECT_EQ(nx_total_number_of_active_pointers(), blocks - 1);
}

}  // namespace
