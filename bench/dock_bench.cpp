// Energies of a rigid ligand and their derivatives: each version of the pair sums against the plain loop, two threads
// against one, and whole refinements.
#include <benchmark/benchmark.h>
#include <nxbriochem/nxbriochem.h>
#include <nxbriodock/energy_object.h>
#include <nxbriodock/nxbriodock.h>

#include <tests/support/pqr_atoms.h>
#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "bench/paired.h"

namespace {

using nxbriodock::Derivatives;
using Variables = std::array<double, NXD_VARIABLES>;

#if defined(__clang__)
#define YARDSTICK __attribute__((noinline))
#else
#define YARDSTICK __attribute__((noinline, optimize("O2")))
#endif

// An energy object over two files, all atoms as wide as carbon.
class Complex {
 public:
  Complex(const std::string& target, const std::string& ligand)
      : target_(read(target)), ligand_(read(ligand)), handle_(nxd_make_energy()) {
    if (is_there()) {
      nxd_set_target_arrays(target_.places.data(), target_.charges.data(), target_.elements.data(), target_.size(),
                            handle_);
      nxd_set_ligand_arrays(ligand_.places.data(), ligand_.charges.data(), ligand_.elements.data(), ligand_.size(),
                            handle_);
      nxd_set_uniform_dielectric(4.0, handle_);
    }
  }
  Complex(const Complex&) = delete;
  Complex& operator=(const Complex&) = delete;
  ~Complex() { nxd_delete_energy(handle_); }

  bool is_there() const { return target_.size() > 0 && ligand_.size() > 0; }
  int handle() const { return handle_; }
  double pairs() const { return static_cast<double>(target_.size()) * ligand_.size(); }

  // The energy and its derivatives by the ligand's atoms, as a straightforward loop, at -O2.
  YARDSTICK double plain_loop(std::vector<double>& gradient) const {
    constexpr double kSquare = 3.851 * 3.851;
    constexpr double kDepth = 0.105;
    double energy = 0.0;
    for (std::size_t i = 0; i < ligand_.charges.size(); ++i) {
      const double* const a = &ligand_.places[3 * i];
      double g[3] = {};
      for (std::size_t j = 0; j < target_.charges.size(); ++j) {
        const double* const b = &target_.places[3 * j];
        const double d[3] = {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
        const double s = d[0] * d[0] + d[1] * d[1] + d[2] * d[2];
        const double coulomb = 332.063713 / 4.0 * ligand_.charges[i] * target_.charges[j] / std::sqrt(s);
        const double u = kSquare / s;
        const double six = kDepth * u * u * u;
        const double twelve = six * u * u * u;
        energy += coulomb + twelve - 2.0 * six;
        const double slope = -(coulomb + 12.0 * (twelve - six)) / s;
        for (int k = 0; k < 3; ++k) {
          g[k] += slope * d[k];
        }
      }
      std::copy_n(g, 3, &gradient[3 * i]);
    }
    return energy;
  }

 private:
  struct Side {
    std::vector<double> places, charges;
    std::vector<int> elements;

    int size() const { return static_cast<int>(charges.size()); }
  };

  static Side read(const std::string& path) {
    const test_support::Charges atoms = test_support::read_pqr("/usr/share/apbs/examples/" + path);
    Side side;
    for (std::size_t i = 0; i < atoms.q.size(); ++i) {
      side.places.insert(side.places.end(), &atoms.records[9 * i], &atoms.records[9 * i] + 3);
      side.charges.push_back(static_cast<double>(atoms.q[i]));
    }
    side.elements.assign(atoms.q.size(), 6);
    return side;
  }

  Side target_;
  Side ligand_;
  int handle_;
};

struct Files {
  const char* name;
  const char* target;
  const char* ligand;
};
constexpr Files kBarnase = {"barnase_barstar", "pbsam-barn_bars/barnase.pqr", "pbsam-barn_bars/barstar.pqr"};
constexpr Files kAnhydrase = {"anhydrase_acetazolamide", "hca-bind/hca.pqr", "hca-bind/acet.pqr"};

using Body = std::function<void(benchmark::State&, const Complex&)>;

void with(benchmark::State& state, const Files& files, const Body& body) {
  const Complex complex(files.target, files.ligand);
  if (!complex.is_there()) {
    state.SkipWithError("no structures: install apbs-data");
    return;
  }
  body(state, complex);
}

// Times are per pair.
void sums(benchmark::State& state, const Complex& complex, const nxbriodock::Version& version,
          Derivatives derivatives) {
  const auto object = nxbriodock::energy_of(complex.handle());
  auto& room = object->workspace;
  object->evaluate(object->terms, object->base, Derivatives::Second, 1, room);
  const std::vector<nxbriodock::AtomSums> expected = room.sums;
  std::vector<double> gradient(3 * room.atoms.size());
  const int repeats = std::max(1, static_cast<int>(1e6 / complex.pairs()));
  bench::paired(
      state, complex.pairs() * repeats,
      [&] {
        for (int k = 0; k < repeats; ++k) {
          version.sum(object->target.packed->arrays(), room.atoms.data(), static_cast<int>(room.atoms.size()),
                      object->terms.model(), derivatives, room.sums.data());
        }
      },
      [&] {
        for (int k = 0; k < repeats; ++k) {
          benchmark::DoNotOptimize(complex.plain_loop(gradient));
        }
      });
  for (std::size_t i = 0; i < gradient.size(); ++i) {
    const double ours = room.sums[i / 3].gradient[i % 3];
    if (ours != expected[i / 3].gradient[i % 3] || !(std::abs(ours - gradient[i]) <= 1e-9 * std::abs(ours) + 1e-9)) {
      state.SkipWithError("the derivatives differ");
    }
  }
}

// A whole evaluation on two threads against one, in wall time: both processors must be free.
void two_threads(benchmark::State& state, const Complex& complex) {
  Variables x{};
  Variables gradient{};
  const int repeats = std::max(3, static_cast<int>(1e7 / complex.pairs()));
  const auto seconds = [&](int threads) {
    nxd_set_threads(threads, complex.handle());
    const auto start = std::chrono::steady_clock::now();
    for (int k = 0; k < repeats; ++k) {
      benchmark::DoNotOptimize(nxd_energy_gradient(x.data(), gradient.data(), NXD_VARIABLES, complex.handle()));
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() / repeats;
  };
  std::vector<double> one;
  std::vector<double> two;
  std::vector<double> ratios;
  const auto turn = [&] {
    one.push_back(seconds(1));
    two.push_back(seconds(2));
    ratios.push_back(two.back() / one.back());
    return two.back();
  };
  for (auto _ : state) {
    state.SetIterationTime(turn());
  }
  while (ratios.size() < bench::kLeastTurns) {
    turn();
  }
  state.counters["ours_ns"] = 1e9 * bench::median(two);
  state.counters["yardstick_ns"] = 1e9 * bench::median(one);
  state.counters["ratio"] = bench::median(ratios);
}

std::vector<double> random_poses(const Complex& complex, int n, double size) {
  std::mt19937 random(1);
  std::uniform_real_distribution<double> number(-size, size);
  std::vector<double> poses;
  for (int i = 0; i < n; ++i) {
    Variables x{};
    if (i > 0) {
      std::generate(x.begin(), x.end(), [&] { return number(random); });
    }
    std::array<double, NXD_POSE> pose{};
    nxd_get_pose_at(x.data(), pose.data(), complex.handle());
    poses.insert(poses.end(), pose.begin(), pose.end());
  }
  return poses;
}

// Refines all poses. The yardstick is the same number of evaluations by the plain loop, which has no second
// derivatives.
void refinement(benchmark::State& state, const Complex& complex, int n) {
  const std::vector<double> start = random_poses(complex, n, 3.0);
  std::vector<double> poses;
  std::vector<nxd_refinement> results(static_cast<std::size_t>(n));
  std::vector<double> gradient(3 * static_cast<std::size_t>(nxd_get_ligand_atom_number(complex.handle())));
  const auto refine = [&] {
    poses = start;
    nxd_refine_poses(poses.data(), results.data(), n, complex.handle());
  };
  refine();
  int evaluations = 0;
  for (const nxd_refinement& result : results) {
    evaluations += result.evaluations;
  }
  bench::paired(state, 1, refine, [&] {
    for (int k = 0; k < evaluations; ++k) {
      benchmark::DoNotOptimize(complex.plain_loop(gradient));
    }
  });
  const auto ended = std::count_if(results.begin(), results.end(), [](const nxd_refinement& result) {
    return result.ended == NXD_CONVERGED || result.ended == NXD_JAMMED;
  });
  state.counters["at_minimum"] = static_cast<double>(ended) / n;
  state.counters["evaluations"] = static_cast<double>(evaluations) / n;
}

void add(const std::string& name, const Files& files, const Body& body) {
  benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) { with(state, files, body); })
      ->UseManualTime()
      ->Unit(benchmark::kMillisecond);
}

bool register_all() {
  for (const Files& files : {kBarnase, kAnhydrase}) {
    const nxbriodock::Versions& all = nxbriodock::versions();
    for (int v = 0; v < all.count; ++v) {
      const nxbriodock::Version version = all.version[v];
      for (const Derivatives derivatives : {Derivatives::First, Derivatives::Second}) {
        add(std::string(derivatives == Derivatives::First ? "gradient/" : "hessian/") + files.name + "/" + version.name,
            files,
            [=](benchmark::State& state, const Complex& complex) { sums(state, complex, version, derivatives); });
      }
    }
    add(std::string("two_threads/") + files.name, files, two_threads);
  }
  add("refine/barnase_barstar/1", kBarnase,
      [](benchmark::State& state, const Complex& complex) { refinement(state, complex, 1); });
  add("refine/anhydrase_acetazolamide/200", kAnhydrase,
      [](benchmark::State& state, const Complex& complex) { refinement(state, complex, 200); });
  return true;
}

const bool registered = register_all();

}  // namespace
