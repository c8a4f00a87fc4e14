// The minimisers against GSL's and NLopt's (minimisers.h) on the functions of Moré, Garbow and Hillstrom and three
// large problems: tables first, then the timed comparisons. The tables are benchmarks too, of one iteration, so that
// --benchmark_filter and --benchmark_list_tests know them.
//
// An evaluation is a point at which the value, the gradient or both were asked for; asking again at the same point (GSL
// asks for values and gradients separately) counts once. A cell of the table gives the number of the first evaluation
// with f - f* <= tol (1 + |f*|), for tol 1e-6 and 1e-10, "-" where there was none; "L" marks a run that ended at a
// published local minimum instead. A run that saw such a value but ended at a worse point does not count as solved.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bench/large_problems.h"
#include "bench/minimisers.h"
#include "bench/more_garbow_hillstrom.h"
#include "bench/paired.h"

namespace {

using bench::Contender;
using bench::Problem;
using Minimisers = std::vector<std::unique_ptr<bench::Minimiser>>;

struct Call {
  std::vector<double> x;  // empty above kMostTraced variables
  bool gradient;
};
constexpr int kMostTraced = 1000;

// The problem being watched, global because callbacks have no other access to it. Watching and its trace are not timed.
struct Watch {
  const Problem* problem = nullptr;
  bool trace = false;
  std::vector<double> last;
  std::vector<Call> calls;
  int evaluations = 0;
  int to_1e6 = 0;  // evaluations; 0: never
  int to_1e10 = 0;
} watch;

bool reached(double value, double minimum, double tolerance) {
  return value - minimum <= tolerance * (1 + std::fabs(minimum));
}

double watched_gradient(double* x, double* gradient, int n, int handle) {
  const double value = watch.problem->gradient(x, gradient, n, handle);
  if (!std::equal(watch.last.begin(), watch.last.end(), x, x + n)) {
    watch.last.assign(x, x + n);
    ++watch.evaluations;
  }
  if (watch.trace) {
    watch.calls.push_back({{x, x + (n <= kMostTraced ? n : 0)}, gradient != nullptr});
  }
  if (watch.to_1e6 == 0 && reached(value, watch.problem->minimum, 1e-6)) {
    watch.to_1e6 = watch.evaluations;
  }
  if (watch.to_1e10 == 0 && reached(value, watch.problem->minimum, 1e-10)) {
    watch.to_1e10 = watch.evaluations;
  }
  return value;
}

struct Outcome {
  int evaluations = 0;
  int to_1e6 = 0;
  int to_1e10 = 0;
  bool local = false;
};

Outcome run_watched(const Contender& contender, const Problem& problem, bool trace = false) {
  watch = {};
  watch.problem = &problem;
  watch.trace = trace;
  Problem watched = problem;
  watched.gradient = watched_gradient;
  watched.value = bench::value_by<watched_gradient>;
  std::vector<double> x = problem.start;
  contender.prepare(watched)->minimise(x.data());

  const double value = problem.value(x.data(), problem.n(), problem.handle);
  Outcome outcome;
  outcome.evaluations = watch.evaluations;
  outcome.to_1e6 = reached(value, problem.minimum, 1e-6) ? watch.to_1e6 : 0;
  outcome.to_1e10 = reached(value, problem.minimum, 1e-10) ? watch.to_1e10 : 0;
  outcome.local = outcome.to_1e6 == 0 &&
                  std::any_of(problem.local_minima.begin(), problem.local_minima.end(),
                              [&](double local) { return std::fabs(value - local) <= 1e-6 * (1 + std::fabs(local)); });
  return outcome;
}

std::string cell(const Outcome& outcome) {
  const auto number = [](int count) { return count > 0 ? std::to_string(count) : std::string("-"); };
  return outcome.local ? "L" : number(outcome.to_1e6) + " " + number(outcome.to_1e10);
}

constexpr int kHighLimit = 20000;

// Ours first. Methods 2 and 3 have 200 iterations, the default of a new optimiser; choosing method 2 by its code would
// allow it 400.
std::vector<Contender> contenders() {
  std::vector<Contender> all = {
      bench::ours("method 1", {1, 0, 0}),
      bench::ours("method 2", {0, 200, 0}),
      bench::ours("method 3", {2, 200, 0}),
      bench::ours("2, 20 tries", {0, kHighLimit, 20}),
      bench::ours("3, 20 tries", {2, kHighLimit, 20}),
  };
  for (const char* name : {"bfgs2 1e-4", "bfgs2 0.1", "pr 1e-4", "pr 0.1", "nlopt lbfgs"}) {
    Contender peer = bench::peer(name, kHighLimit);
    if (peer.prepare) {
      all.push_back(std::move(peer));
    } else {
      std::printf("%s: not installed when this was built\n", name);
    }
  }
  return all;
}

using Column = std::vector<Outcome>;

void print_row(const std::string& title, const std::vector<std::string>& cells) {
  std::printf("%-28s", title.c_str());
  for (const std::string& text : cells) {
    std::printf(" %13s", text.c_str());
  }
  std::printf("\n");
}

void print_counts(const std::vector<Column>& columns) {
  const auto row = [&](const char* title, auto solved) {
    std::vector<std::string> cells;
    cells.reserve(columns.size());
    for (const Column& column : columns) {
      cells.push_back(std::to_string(std::count_if(column.begin(), column.end(), solved)));
    }
    print_row(title, cells);
  };
  row("solved to 1e-6", [](const Outcome& o) { return o.to_1e6 > 0; });
  row("solved to 1e-10", [](const Outcome& o) { return o.to_1e10 > 0; });
  row("1e-6, local minima too", [](const Outcome& o) { return o.to_1e6 > 0 || o.local; });
}

// Medians of the evaluations to 1e-10, over the instances that both solve to 1e-10.
struct Medians {
  double own = 0;
  double peer = 0;
  double ratio = 0;
  std::size_t instances = 0;
};

Medians medians_of(const Column& own, const Column& peer) {
  std::vector<double> own_counts;
  std::vector<double> peer_counts;
  std::vector<double> ratios;
  for (std::size_t k = 0; k < own.size(); ++k) {
    if (own[k].to_1e10 > 0 && peer[k].to_1e10 > 0) {
      own_counts.push_back(own[k].to_1e10);
      peer_counts.push_back(peer[k].to_1e10);
      ratios.push_back(own_counts.back() / peer_counts.back());
    }
  }
  if (ratios.empty()) {
    return {};
  }
  return {bench::median(own_counts), bench::median(peer_counts), bench::median(ratios), ratios.size()};
}

std::string median_ratio(const Column& own, const Column& peer) {
  const Medians medians = medians_of(own, peer);
  if (medians.instances == 0) {
    return "-";
  }
  char text[64];
  std::snprintf(text, sizeof text, "%.3f (%zu)", medians.ratio, medians.instances);
  return text;
}

void print_table() {
  const std::vector<Contender> all = contenders();
  std::vector<std::string> names;
  names.reserve(all.size());
  for (const Contender& contender : all) {
    names.push_back(contender.name);
  }
  std::printf("Evaluations to 1e-6 and to 1e-10\n");
  print_row("", names);
  std::vector<Column> columns(all.size());
  for (const Problem& problem : bench::more_garbow_hillstrom()) {
    std::vector<std::string> cells;
    for (std::size_t k = 0; k < all.size(); ++k) {
      columns[k].push_back(run_watched(all[k], problem));
      cells.push_back(cell(columns[k].back()));
    }
    print_row(problem.name, cells);
  }
  print_counts(columns);
  std::printf("\nMedian of the ratios of evaluations to 1e-10 (over so many instances); below 1 the row is better\n");
  print_row("", names);
  for (std::size_t row = 0; row < all.size(); ++row) {
    std::vector<std::string> cells;
    cells.reserve(columns.size());
    for (const Column& column : columns) {
      cells.push_back(median_ratio(columns[row], column));
    }
    print_row(names[row], cells);
  }
}

// Compares the number of evaluations of a method with that of a peer, over the problems.
void count_evaluations(benchmark::State& state, const Contender& own, const Contender& peer) {
  Medians medians;
  for (auto _ : state) {
    Column ours;
    Column theirs;
    for (const Problem& problem : bench::more_garbow_hillstrom()) {
      ours.push_back(run_watched(own, problem));
      theirs.push_back(run_watched(peer, problem));
    }
    medians = medians_of(ours, theirs);
  }
  state.counters["ours"] = medians.own;
  state.counters["yardstick"] = medians.peer;
  state.counters["ratio"] = medians.ratio;
  state.counters["instances"] = static_cast<double>(medians.instances);
}

// Evaluations to 1e-10 on one large problem.
void count_large(benchmark::State& state, const Contender& own, const Contender& peer) {
  const Problem problem = bench::extended_rosenbrock(10000);
  for (auto _ : state) {
    state.counters["ours"] = run_watched(own, problem).to_1e10;
    state.counters["yardstick"] = run_watched(peer, problem).to_1e10;
  }
  state.counters["ratio"] = state.counters["ours"] / state.counters["yardstick"];
}

// A far start in the authors' way: the start times the factor, or the factor in each variable where the start is 0.
Problem from_far(Problem problem, double factor) {
  const bool zero = std::all_of(problem.start.begin(), problem.start.end(), [](double x) { return x == 0; });
  for (double& x : problem.start) {
    x = zero ? factor : factor * x;
  }
  return problem;
}

// Instances that a method does not solve to 1e-6 from far starts, ends at published local minima not counted.
void count_unsolved(benchmark::State& state, const Contender& own, const Contender& peer, double factor) {
  const auto unsolved = [factor](const Contender& contender) {
    const auto& all = bench::more_garbow_hillstrom();
    return static_cast<double>(std::count_if(all.begin(), all.end(), [&](const Problem& problem) {
      const Outcome outcome = run_watched(contender, from_far(problem, factor));
      return outcome.to_1e6 == 0 && !outcome.local;
    }));
  };
  for (auto _ : state) {
    state.counters["ours"] = unsolved(own);
    state.counters["yardstick"] = unsolved(peer);
  }
  state.counters["ratio"] = state.counters["ours"] / state.counters["yardstick"];
}

// Evaluations of a whole run towards a singular minimum, against those to 1e-10.
void count_singular(benchmark::State& state, const Contender& own, const Problem& problem) {
  for (auto _ : state) {
    const Outcome outcome = run_watched(own, problem);
    state.counters["ours"] = outcome.evaluations;
    state.counters["yardstick"] = outcome.to_1e10;
  }
  state.counters["ratio"] = state.counters["ours"] / state.counters["yardstick"];
}

void register_singular() {
  for (const Problem& problem : bench::more_garbow_hillstrom()) {
    const std::size_t at = problem.name.find("Powell singular");
    if (at == std::string::npos) {
      continue;
    }
    const std::string n = std::to_string(problem.n());
    benchmark::RegisterBenchmark(("evaluations_singular/method_2/" + n).c_str(), count_singular,
                                 bench::ours("method 2", {0, kHighLimit, 0}), problem)
        ->Iterations(1);
    benchmark::RegisterBenchmark(("evaluations_singular/method_3/" + n).c_str(), count_singular,
                                 bench::ours("method 3", {2, kHighLimit, 0}), problem)
        ->Iterations(1);
  }
}

void register_far() {
  // Limited to 2,000 iterations, since without a limit it takes millions of evaluations where it does not converge.
  const Contender peer = bench::peer("bfgs2 0.1", 2000);
  if (!peer.prepare) {
    return;
  }
  for (const int factor : {10, 100}) {
    benchmark::RegisterBenchmark(("unsolved_far/method_3/" + std::to_string(factor)).c_str(), count_unsolved,
                                 bench::ours("method 3", {2, 200, 0}), peer, factor)
        ->Iterations(1);
  }
}

void register_evaluations() {
  struct Pair {
    const char* name;
    Contender own;
    const char* peer;
  };
  const Contender method_2 = bench::ours("method 2", {0, 200, 0});
  const Contender method_3 = bench::ours("method 3", {2, 200, 0});
  for (const auto& [name, own, peer_name] :
       {Pair{"method_3/bfgs2_0.1", method_3, "bfgs2 0.1"}, Pair{"method_3/bfgs2_1e-4", method_3, "bfgs2 1e-4"},
        Pair{"method_3/nlopt_lbfgs", method_3, "nlopt lbfgs"}, Pair{"method_2/bfgs2_0.1", method_2, "bfgs2 0.1"},
        Pair{"method_2/bfgs2_1e-4", method_2, "bfgs2 1e-4"}, Pair{"method_2/conjugate_pr_0.1", method_2, "pr 0.1"},
        Pair{"method_2/conjugate_pr_1e-4", method_2, "pr 1e-4"}}) {
    const Contender peer = bench::peer(peer_name, kHighLimit);
    if (peer.prepare) {
      benchmark::RegisterBenchmark((std::string("evaluations/") + name).c_str(), count_evaluations, own, peer)
          ->Iterations(1);
    }
  }
  const Contender peer = bench::peer("bfgs2 0.1", 2000);
  if (peer.prepare) {
    benchmark::RegisterBenchmark("evaluations_large/rosenbrock", count_large, method_2, peer)->Iterations(1);
  }
}

void print_large() {
  constexpr int kLarge = 10000;
  std::printf("Large problems: evaluations to 1e-6 and to 1e-10, and in all with the seconds they took\n");
  // NLopt gets fewer iterations, since it takes 10 ms per evaluation here.
  const std::vector<Contender> all = {bench::ours("method 1", {1, 0, 0}),     bench::ours("method 2", {0, 200, 0}),
                                      bench::ours("2, 400 it.", {0, 400, 0}), bench::ours("2, 2000 it.", {0, 2000, 0}),
                                      bench::peer("bfgs2 0.1", 2000),         bench::peer("pr 0.1", 2000),
                                      bench::peer("nlopt lbfgs", 1000)};
  for (const Problem& problem :
       {bench::extended_rosenbrock(kLarge), bench::convex_quadratic(kLarge), bench::chain_12_6(kLarge)}) {
    for (const Contender& contender : all) {
      if (!contender.prepare) {
        continue;
      }
      const Outcome outcome = run_watched(contender, problem);
      std::vector<double> x = problem.start;
      const auto minimiser = contender.prepare(problem);
      const double seconds = bench::seconds_of([&] { minimiser->minimise(x.data()); });
      std::printf("%-34s %-13s %13s %8d %8.3f s\n", problem.name.c_str(), contender.name.c_str(), cell(outcome).c_str(),
                  outcome.evaluations, seconds);
      std::fflush(stdout);
    }
  }
}

// Runs of one method on several problems, and the evaluations that they ask for.
class Sweep {
 public:
  Sweep(const Contender& contender, const std::vector<Problem>& problems) : problems_(problems) {
    for (const Problem& problem : problems_) {
      evaluations_ += run_watched(contender, problem, true).evaluations;
      calls_.push_back(std::move(watch.calls));
      minimisers_.push_back(contender.prepare(problem));
    }
  }

  // The method's own time, in nanoseconds per evaluation: each run less its callbacks alone. The fastest of a few
  // repeats counts, since interruptions would spoil the difference of two times.
  double own_ns() {
    double seconds = 0;
    for (std::size_t k = 0; k < problems_.size(); ++k) {
      double whole = std::numeric_limits<double>::infinity();
      double callbacks = whole;
      for (int repeat = 0; repeat < 5; ++repeat) {
        x_ = problems_[k].start;
        whole = std::min(whole, bench::seconds_of([&] { minimisers_[k]->minimise(x_.data()); }));
        callbacks = std::min(callbacks, bench::seconds_of([&] { replay(k); }));
      }
      seconds += whole - callbacks;
    }
    return 1e9 * seconds / evaluations_;
  }

 private:
  void replay(std::size_t k) {
    const Problem& problem = problems_[k];
    gradient_.resize(problem.start.size());
    std::vector<double> start = problem.start;  // costs the large problems what any point costs
    for (Call& call : calls_[k]) {
      double* const x = call.x.empty() ? start.data() : call.x.data();
      benchmark::DoNotOptimize(call.gradient ? problem.gradient(x, gradient_.data(), problem.n(), problem.handle)
                                             : problem.value(x, problem.n(), problem.handle));
    }
  }

  std::vector<Problem> problems_;
  Minimisers minimisers_;
  std::vector<std::vector<Call>> calls_;
  std::vector<double> x_;
  std::vector<double> gradient_;
  int evaluations_ = 0;
};

// The method's own time per evaluation, that of the callbacks taken off, against the peer's.
void compare_own_time(benchmark::State& state, const Contender& own, const Contender& peer,
                      const std::vector<Problem>& problems) {
  Sweep ours(own, problems);
  Sweep theirs(peer, problems);
  std::vector<double> own_ns;
  std::vector<double> peer_ns;
  std::vector<double> ratios;
  for (auto _ : state) {
    peer_ns.push_back(theirs.own_ns());
    own_ns.push_back(ours.own_ns());
    ratios.push_back(own_ns.back() / peer_ns.back());
  }
  state.counters["ours_ns"] = bench::median(own_ns);
  state.counters["yardstick_ns"] = bench::median(peer_ns);
  state.counters["ratio"] = bench::median(ratios);
}

// The three large problems with n variables each.
std::vector<Problem> large_problems(int n) {
  return {bench::extended_rosenbrock(n), bench::convex_quadratic(n), bench::chain_12_6(n)};
}

void register_own_time() {
  const Contender peer = bench::peer("bfgs2 0.1", 200);
  if (!peer.prepare) {
    return;
  }
  const auto add = [&peer](const Contender& own, const std::string& problems, const std::vector<Problem>& group) {
    benchmark::RegisterBenchmark(("own_time_per_evaluation/" + own.name + "/" + problems).c_str(), compare_own_time,
                                 own, peer, group)
        ->UseRealTime()  // of all that is timed for a ratio; what is looked for are the counters
        ->MinTime(2);
  };
  const Contender method_2 = bench::ours("method_2", {0, 200, 0});
  const Contender method_3 = bench::ours("method_3", {2, 200, 0});
  add(method_2, "all_instances", bench::more_garbow_hillstrom());
  add(method_3, "all_instances", bench::more_garbow_hillstrom());
  for (const int n : {10, 100, 1000, 10000}) {
    add(method_2, std::to_string(n), large_problems(n));
  }
  for (const int n : {10, 30, 100, 300}) {
    add(method_3, std::to_string(n), large_problems(n));
  }
}

void register_table(const char* name, void (*print)()) {
  benchmark::RegisterBenchmark(name, [print](benchmark::State& state) {
    for (auto _ : state) {
      std::printf("\n");
      print();
      std::printf("\n");
      std::fflush(stdout);
    }
  })->Iterations(1);
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 1;
  }
  register_table("table/instances", print_table);
  register_table("table/large", print_large);
  register_evaluations();
  register_far();
  register_singular();
  register_own_time();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
