// Minimisation with Python functions as callbacks.
#include <unistd.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <exception>
#include <limits>
#include <new>
#include <vector>

#include "core.h"

namespace nxpy {
namespace {

using Vector = py::array_t<double>;
// Arrays returned by the caller's functions.
using GivenArray = py::array_t<double, py::array::c_style | py::array::forcecast>;

// The methods by nx_set_opt_method's codes.
constexpr int kVectorOnly = 0;
constexpr int kDescent = 1;
constexpr int kDense = 2;
constexpr int kAutomatic = -1;
constexpr py::ssize_t kMostDense = 40;

Vector copy_of(const double* x, py::ssize_t n) { return Vector(n, x); }

double as_double(const py::object& value) {
  const double number = PyFloat_AsDouble(value.ptr());
  if (number == -1.0 && PyErr_Occurred() != nullptr) {
    throw py::error_already_set();
  }
  return number;
}

// A function to minimise, with the values seen so far. Its callbacks run without the lock, so that other threads can
// use the libraries. They never throw: after the first exception they return NaN, which ends the run, and the exception
// is thrown again after it.
class Problem {
 public:
  Problem(py::object fun, py::object jac, py::object hess, py::object callback, py::ssize_t n)
      : fun_(std::move(fun)), hess_(std::move(hess)), callback_(std::move(callback)), n_(n) {
    both_ = jac.is(py::bool_(true));
    if (!both_ && !jac.is_none() && !jac.is(py::bool_(false))) {
      jac_ = std::move(jac);
    }
  }

  bool has_hessian() const { return !hess_.is_none(); }

  double value(const double* x) {
    return guarded([&] { return both_ ? as_double(pair_at(x)[0]) : value_at(x); });
  }

  double gradient(const double* x, double* out) {
    const double found = guarded([&] {
      follow();
      double found_value = 0.0;
      if (both_) {
        const py::tuple pair = pair_at(x);
        found_value = as_double(pair[0]);
        copy_gradient(pair[1], out);
      } else {
        found_value = value_at(x);
        if (jac_) {
          copy_gradient(jac_(copy_of(x, n_)), out);
        } else {
          take_differences(x, out);
        }
      }
      last_x_.assign(x, x + n_);
      last_gradient_.assign(out, out + n_);
      return found_value;
    });
    if (failed()) {
      std::fill_n(out, n_, found);
    }
    return found;
  }

  void hessian(const double* x, double* out) {
    guarded([&] {
      const py::object given = hess_(copy_of(x, n_));
      const GivenArray matrix = checked(given, "hess", {n_, n_});
      std::copy_n(matrix.data(), n_ * n_, out);
      return 0.0;
    });
  }

  // Calls the caller's callback when an iteration was made since the last call: the point of the last gradient is then
  // the new iterate.
  void follow() {
    if (callback_.is_none() || last_x_.empty()) {
      return;
    }
    int iterations = 0;
    nx_get_opt_total_iterations(opt, &iterations);
    if (iterations > told_) {
      told_ = iterations;
      callback_(copy_of(last_x_.data(), n_));
    }
  }

  // Runs code that may throw Python exceptions; does nothing after a first exception.
  template <class Body>
  double guarded(Body body) {
    if (failed()) {
      return std::numeric_limits<double>::quiet_NaN();
    }
    const Respite respite;
    try {
      return body();
    } catch (...) {
      error_ = std::current_exception();
      return std::numeric_limits<double>::quiet_NaN();
    }
  }

  bool failed() const { return error_ != nullptr; }
  // Throws the exception of a callback again. True for a StopIteration, which is a request to stop and no failure.
  bool stopped() const {
    if (!failed()) {
      return false;
    }
    try {
      std::rethrow_exception(error_);
    } catch (py::error_already_set& error) {
      if (error.matches(PyExc_StopIteration)) {
        return true;
      }
      throw;
    }
  }

  // The last gradient, if it was evaluated at x; else null.
  const std::vector<double>* gradient_at(const double* x) const {
    return last_x_.empty() || !std::equal(last_x_.begin(), last_x_.end(), x) ? nullptr : &last_gradient_;
  }
  int calls() const { return calls_; }

  int opt = 0;

 private:
  double value_at(const double* x) {
    ++calls_;
    return as_double(fun_(copy_of(x, n_)));
  }

  py::tuple pair_at(const double* x) {
    ++calls_;
    const py::object pair = fun_(copy_of(x, n_));
    auto items = py::reinterpret_steal<py::tuple>(PySequence_Tuple(pair.ptr()));
    if (!items) {
      throw py::error_already_set();
    }
    if (items.size() != 2) {
      refuse("fun", "a value and its gradient", std::to_string(items.size()) + " things");
    }
    return items;
  }

  // Central differences; h = eps^(1/3) max(|x_i|, 1) balances truncation (h^2) and rounding (eps/h).
  void take_differences(const double* x, double* out) {
    std::vector<double> at(x, x + n_);
    for (double& variable : at) {
      const double before = variable;
      const double h = std::cbrt(DBL_EPSILON) * std::max(std::abs(before), 1.0);
      variable = before + h;
      const double ahead = variable;
      const double value_ahead = value_at(at.data());
      variable = before - h;
      *out++ = (value_ahead - value_at(at.data())) / (ahead - variable);
      variable = before;
    }
  }

  GivenArray checked(const py::object& given, const char* argument, const std::vector<py::ssize_t>& shape) const {
    const py::array plain = as_array(given, argument);
    const char kind = plain.dtype().kind();
    if (kind != 'f' && kind != 'i' && kind != 'u') {
      refuse(argument, "real numbers", "dtype " + std::string(py::str(plain.dtype())));
    }
    const GivenArray array = plain;
    if (array.ndim() != static_cast<py::ssize_t>(shape.size()) ||
        !std::equal(shape.begin(), shape.end(), array.shape())) {
      std::string expected = "shape (";
      for (const py::ssize_t extent : shape) {
        expected += std::to_string(extent) + (shape.size() == 1 ? "," : &extent == &shape.back() ? "" : ", ");
      }
      refuse(argument, expected + ")", shape_of(array));
    }
    return array;
  }

  void copy_gradient(const py::object& given, double* out) const {
    const GivenArray array = checked(given, both_ ? "fun" : "jac", {n_});
    std::copy_n(array.data(), n_, out);
  }

  py::object fun_;
  py::object jac_;
  py::object hess_;
  py::object callback_;
  py::ssize_t n_;
  bool both_ = false;
  int calls_ = 0;
  int told_ = 0;
  std::vector<double> last_x_;
  std::vector<double> last_gradient_;
  std::exception_ptr error_;
};

// The problem that is being minimised; the library runs one at a time.
Problem* running = nullptr;

double call_value(double* x, int) { return running->value(x); }
double call_gradient(double* x, double* gradient, int) { return running->gradient(x, gradient); }
double call_hessian(double* x, double* hessian, int) {
  running->hessian(x, hessian);
  return 0.0;
}

// An optimiser of the library.
class Optimiser {
 public:
  explicit Optimiser(int n) : handle_(nx_init_opt(n, nullptr)) {
    if (handle_ == 0) {
      throw Failure("there is no optimiser left");
    }
  }
  Optimiser(const Optimiser&) = delete;
  Optimiser& operator=(const Optimiser&) = delete;
  ~Optimiser() { nx_delete_opt(handle_); }
  int handle() const { return handle_; }

 private:
  int handle_;
};

// The library ends the process when tracked memory runs out, so this checks before a run.
void require_room(double bytes) {
  const double memory = static_cast<double>(sysconf(_SC_PHYS_PAGES)) * static_cast<double>(sysconf(_SC_PAGESIZE));
  void* const room = bytes < memory ? std::malloc(static_cast<std::size_t>(bytes)) : nullptr;
  std::free(room);
  if (room == nullptr) {
    throw std::bad_alloc();
  }
}

double length_of(const std::vector<double>& vector) {
  double sum = 0.0;
  for (const double component : vector) {
    sum += component * component;
  }
  return std::sqrt(sum);
}

const char* message_of(bool success, bool stopped, double value, int iterations, int most) {
  if (stopped) {
    return "stopped by a callback";
  }
  if (success) {
    return "converged";
  }
  if (!std::isfinite(value)) {
    return "the function or its gradient is not finite";
  }
  return iterations >= most ? "out of iterations" : "no lower value is found";
}

py::dict minimize(const py::object& fun, const Vector& x0, const py::object& jac, const py::object& hess, int method,
                  double tolerance, int most_iterations, const py::object& callback) {
  const py::ssize_t n = x0.size();
  Vector x = copy_of(x0.data(), n);
  Problem problem(fun, jac, hess, callback, n);
  if (method == kAutomatic) {
    method = problem.has_hessian() || n <= kMostDense ? kDense : kVectorOnly;
  }
  const auto size = static_cast<double>(n);
  require_room(sizeof(double) *
                   (method == kDense ? (problem.has_hessian() ? 3.0 : 2.0) * size * size + 20.0 * size : 40.0 * size) +
               4096.0);
  const MinimiserTurn turn;
  Session session;
  const Optimiser optimiser(static_cast<int>(n));
  const int opt = problem.opt = optimiser.handle();
  nx_set_opt_gradient(&call_gradient, opt);
  nx_set_opt_function(&call_value, opt);
  if (problem.has_hessian()) {
    nx_set_opt_hessian(&call_hessian, opt);
  }
  nx_set_opt_method(opt, method);
  nx_set_opt_maximum_iterations(opt, most_iterations);
  nx_set_opt_gradient_convergence(opt, tolerance * tolerance);
  nx_set_opt_itersave(opt, callback.is_none() ? 0 : 1);

  double value = std::numeric_limits<double>::quiet_NaN();
  running = &problem;
  const int status = nx_minimize(x.mutable_data(), &value, opt);
  problem.guarded([&] {
    problem.follow();
    return 0.0;
  });
  int iterations = 0;
  nx_get_opt_total_iterations(opt, &iterations);
  bool stopped = problem.stopped();
  if (!stopped && problem.gradient_at(x.data()) == nullptr) {
    std::vector<double> gradient(static_cast<std::size_t>(n));
    problem.gradient(x.data(), gradient.data());
    stopped = problem.stopped();
  }
  running = nullptr;
  const std::vector<double>* const gradient = problem.gradient_at(x.data());
  // A run that starts at a minimum finds nothing lower and gives 0, but it is a success.
  const bool success = !stopped && (status == 1 || (gradient != nullptr && length_of(*gradient) <= tolerance));
  py::dict found;
  found["x"] = x;
  found["fun"] = value;
  found["jac"] = gradient != nullptr ? py::object(copy_of(gradient->data(), n)) : py::none();
  found["nit"] = iterations;
  found["nfev"] = problem.calls();
  found["success"] = success;
  found["message"] = message_of(success, stopped, value, iterations, most_iterations);
  session.end();
  return found;
}

}  // namespace

void bind_optimize(py::module_& module) { module.def("minimize", &minimize); }

}  // namespace nxpy
