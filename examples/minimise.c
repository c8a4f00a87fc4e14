/* Minimising functions of many variables: a value and a gradient as callbacks, plain and with a handle, all three
   methods, an objective composed of two terms, and what a run tells. docs/minimisation.md shows what this prints. */
#include <nxbriochem/nxbriochem.h>
#include <stdio.h>

enum { kVariables = 50 };

/* Rosenbrock's valley of a given steepness, for each pair of variables: least, 0, where all are 1. A gradient callback
   fills the gradient and gives the value as well. */
static double valleys(const double* x, double* gradient, int n, double steepness) {
  double value = 0.0;
  for (int i = 0; i + 1 < n; i += 2) {
    const double across = x[i + 1] - x[i] * x[i];
    const double along = 1.0 - x[i];
    value += steepness * across * across + along * along;
    gradient[i] += -4.0 * steepness * across * x[i] - 2.0 * along;
    gradient[i + 1] += 2.0 * steepness * across;
  }
  return value;
}

static void clear(double* gradient, int n) {
  for (int i = 0; i < n; ++i) {
    gradient[i] = 0.0;
  }
}

/* The plain form: all it knows is in x. */
static double valleys_of_100(double* x, double* gradient, int n) {
  clear(gradient, n);
  return valleys(x, gradient, n, 100.0);
}

/* The form with a handle, an integer that is given when it is attached and comes back with every call: here the index
   of a steepness. */
static const double kSteepness[] = {1.0, 10.0, 100.0};

static double valleys_by_handle(double* x, double* gradient, int n, int handle) {
  clear(gradient, n);
  return valleys(x, gradient, n, kSteepness[handle]);
}

/* Two terms of a function list. A list clears the gradient once, and its terms add to it. */
static double valleys_term(double* x, double* gradient, int n, int handle) {
  return valleys(x, gradient, n, kSteepness[handle]);
}

static double pull_to_the_origin(double* x, double* gradient, int n) {
  double value = 0.0;
  for (int i = 0; i < n; ++i) {
    value += 0.5 * x[i] * x[i];
    gradient[i] += x[i];
  }
  return value;
}

/* A bowl, ten times as steep along y as along x: least, 0, at (1, -2). */
static double bowl(double* x, double* gradient, int n) {
  (void)n;
  gradient[0] = 2.0 * (x[0] - 1.0);
  gradient[1] = 20.0 * (x[1] + 2.0);
  return (x[0] - 1.0) * (x[0] - 1.0) + 10.0 * (x[1] + 2.0) * (x[1] + 2.0);
}

static void set_start(double* x, int n) {
  for (int i = 0; i < n; ++i) {
    x[i] = i % 2 == 0 ? -1.2 : 1.0;
  }
}

/* Runs from the usual start and tells how it went. */
static void run(const char* title, int opt) {
  double x[kVariables];
  double value = 0.0;
  int iterations = 0, calls = 0;
  set_start(x, kVariables);
  int converged = nx_minimize_d(x, &value, opt);
  nx_get_opt_total_iterations(opt, &iterations);
  nx_get_opt_total_function_calls(opt, &calls);
  printf("%-29s result %d, value %.6f at %.6f %.6f ..., %d iterations, %d evaluations\n", title, converged, value, x[0],
         x[1], iterations, calls);
}

/* One iteration of the dense method, from the origin, with its trace. */
static void trace(void) {
  double x[2] = {0.0, 0.0};
  double value = 0.0;
  int opt = nx_init_opt(2, NULL);
  nx_set_opt_gradient(bowl, opt);
  nx_set_opt_method(opt, 2);
  nx_set_opt_stepsize(opt, 0.0125F);
  nx_set_opt_maximum_iterations(opt, 1);
  nx_set_opt_debug(opt, 2);
  nx_set_opt_gradient_convergence(opt, 1e-8);
  int converged = nx_minimize(x, &value, opt);
  printf("7. result %d, value %.6f\n", converged, value);
  nx_delete_opt(opt);
}

int main(void) {
  int opt = nx_init_opt(kVariables, NULL);
  /* The squared length of the gradient. */
  nx_set_opt_gradient_convergence(opt, 1e-12);

  nx_set_opt_gradient(valleys_of_100, opt);
  run("1. plain:", opt);
  nx_set_opt_gradient_with_handle(valleys_by_handle, 1, opt);
  run("2. with handle 1:", opt);

  /* Codes are crossed: 0 is the vector-only method, 2 the dense one, 1 steepest descent. The last one needs a value
     callback too, which it asks while it halves its step; a list will do for both. */
  nx_set_opt_method(opt, 2);
  run("3. dense:", opt);

  int list = nx_make_function_list();
  nx_add_extended_gradient_function_to_list_double(valleys_term, 2, 0, list);
  nx_add_gradient_function_to_list_double(pull_to_the_origin, 0, list);
  nx_set_opt_gradient_list(list, opt);
  run("4. two terms:", opt);

  nx_set_opt_maximum_iterations(opt, 5);
  run("5. five iterations:", opt);

  float step = 0.0F;
  nx_set_opt_stepsize(opt, 0.001F);
  nx_get_opt_stepsize(opt, &step);
  printf("6. step set 0.001, step told %.6f\n", (double)step);

  nx_delete_opt(opt);
  nx_delete_function_list(list);

  trace();
  printf("8. held by the two tables: %d blocks\n", nx_total_number_of_active_pointers());
  return 0;
}
