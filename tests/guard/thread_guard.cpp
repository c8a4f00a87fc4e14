// For ThreadSanitizer, what the documentation calls safe in several threads: molecule and list handles under the
// library's lock, and the numeric functions that share no state, without it. Each result is compared with that of a
// single thread.
#include <nxbriochem/molecules/memmgr.h>
#include <nxbriochem/nxbriochem.h>

#include <array>
#include <cstdio>
#include <mutex>
#include <thread>
#include <vector>

namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 200;

using Numbers = std::vector<double>;

// Makes a call under the lock. Several threads may be the first to ask for it.
template <class Call>
auto locked(Call call) {
  const std::lock_guard lock(NxBrioChem::NxGetBrioChemLock());
  return call();
}

// Each thread has its own molecules. Every call takes the lock separately, so that calls of other threads come between.
Numbers use_handles(int seed) {
  Numbers results;
  for (int round = 0; round < kRounds; ++round) {
    const int atoms = 3 + (seed + round) % 5;
    const int mol = locked(nx_make_molecule);
    std::vector<float> xyz;
    std::vector<float> radii(static_cast<std::size_t>(atoms), 1.5F);
    for (int i = 0; i < 3 * atoms; ++i) {
      xyz.push_back(static_cast<float>((i * 7 + seed + round) % 11));
    }
    locked([&] { return nx_set_molecule_atom_number(atoms, mol); });
    locked([&] { return nx_set_molecule_coordinates(xyz.data(), mol); });
    locked([&] { return nx_set_molecule_radii(radii.data(), mol); });
    const int copy = locked([&] { return nx_copy_molecule(mol); });
    std::vector<float> back(xyz.size());
    locked([&] { return nx_get_molecule_coordinates(back.data(), copy); });
    results.insert(results.end(), back.begin(), back.end());
    results.push_back(locked([&] { return nx_get_molecule_atom_number(mol); }));
    locked([&] { return nx_delete_molecule(copy); });
    locked([&] { return nx_delete_molecule(mol); });
  }
  return results;
}

Numbers solve(int seed) {
  Numbers results;
  for (int round = 0; round < kRounds; ++round) {
    const double c = 1.0 + seed + round;
    std::array<double, 3> roots{};
    results.push_back(nx_SolveLinearRoots(2.0, c, roots.data()));
    results.insert(results.end(), roots.begin(), roots.end());
    results.push_back(nx_SolveQuadraticRoots(1.0, -c, 1.0, roots.data()));
    results.insert(results.end(), roots.begin(), roots.end());
    results.push_back(nx_SolveCubicRoots(1.0, -c, 0.25, 0.0, roots.data()));
    results.insert(results.end(), roots.begin(), roots.end());
    const auto f = static_cast<float>(c);
    const std::array<float, 9> m{f, 1, 2, 1, 3, f, 2, f, 5};
    const std::array<double, 9> md{c, 1, 2, 1, 3, c, 2, c, 5};
    std::array<float, 9> r{};
    results.push_back(nx_make_rmat_alt(m.data(), r.data(), roots.data()));
    results.insert(results.end(), r.begin(), r.end());
    results.push_back(nx_make_rmat_alt_d(md.data(), r.data(), roots.data()));
    results.insert(results.end(), roots.begin(), roots.end());
  }
  return results;
}

bool same_in_threads(const char* what, Numbers (*job)(int)) {
  std::array<Numbers, kThreads> got;
  {
    std::vector<std::thread> threads;
    for (int k = 0; k < kThreads; ++k) {
      threads.emplace_back([&, k] { got[static_cast<std::size_t>(k)] = job(k); });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }
  for (int k = 0; k < kThreads; ++k) {
    if (got[static_cast<std::size_t>(k)] != job(k)) {
      std::printf("%s: thread %d has other results than alone\n", what, k);
      return false;
    }
  }
  return true;
}

}  // namespace

int main() {
  const bool handles = same_in_threads("handles under the lock", use_handles);
  const bool numbers = same_in_threads("numbers", solve);
  return handles && numbers ? 0 : 1;
}
