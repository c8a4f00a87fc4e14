// Writes the compiler and flags into the record of every run, for the table that scripts/bench makes.
#include <benchmark/benchmark.h>

#include <Eigen/Core>
#include <gemmi/version.hpp>
#include <string>

#ifdef __GLIBC__
#include <gnu/libc-version.h>
#endif
#ifdef NXBRIOCHEM_BENCH_GSL
#include <gsl/gsl_version.h>
#endif
#ifdef NXBRIOCHEM_BENCH_NLOPT
#include <nlopt.h>
#endif

namespace {

bool add_context() {
#if defined(__clang__)
  benchmark::AddCustomContext("compiler", "clang++ " __clang_version__);
#else
  benchmark::AddCustomContext("compiler", "g++ " __VERSION__);
#endif
  benchmark::AddCustomContext("build", NXBRIOCHEM_BENCH_BUILD);
#ifdef __GLIBC__
  benchmark::AddCustomContext("version_glibc", gnu_get_libc_version());
#endif
  benchmark::AddCustomContext("version_Eigen", std::to_string(EIGEN_WORLD_VERSION) + "." +
                                                   std::to_string(EIGEN_MAJOR_VERSION) + "." +
                                                   std::to_string(EIGEN_MINOR_VERSION));
  benchmark::AddCustomContext("version_gemmi", GEMMI_VERSION);
#ifdef NXBRIOCHEM_BENCH_GSL
  benchmark::AddCustomContext("version_GSL", GSL_VERSION);
#endif
#ifdef NXBRIOCHEM_BENCH_NLOPT
  int major = 0;
  int minor = 0;
  int bugfix = 0;
  nlopt_version(&major, &minor, &bugfix);
  benchmark::AddCustomContext("version_NLopt",
                              std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(bugfix));
#endif
  return true;
}

const bool added = add_context();

}  // namespace
