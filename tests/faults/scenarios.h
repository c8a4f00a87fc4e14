// What is called while an allocation fails: tables of calls by family, and how each may end.
#ifndef NXBRIOCHEM_TESTS_FAULTS_SCENARIOS_H
#define NXBRIOCHEM_TESTS_FAULTS_SCENARIOS_H

#include <ostream>
#include <string>
#include <vector>

namespace faults {

// How a call ends when an allocation within it failed.
enum End : unsigned {
  kBlock = 1,      // exit status 1: no memory for a block or an index
  kBooks = 2,      // exit status 0: no memory for the books of the tracked allocator
  kTable = 4,      // exit status 7: no memory for an object's block or its table
  kMolecule = 8,   // exit status 1: fatal report of the molecule layer
  kReturned = 16,  // the call says so with its result, or does without
};

struct Scenario {
  const char* name;
  unsigned ends;     // those that are met, no more and no less
  void (*set_up)();  // null: none
  void (*call)();    // gives back all that it makes, so that it can be made again after one that returned
};

inline void PrintTo(const Scenario& scenario, std::ostream* out) { *out << scenario.name; }

// Where structure files are written to, in a directory of their own.
extern std::string written_path;

// Objects, queues, tracked blocks, memory tables, lists, files; sequences and expressions.
std::vector<Scenario> object_scenarios();
std::vector<Scenario> molecule_scenarios();
// Matrices, eigenvectors, binding, optimisers, function lists.
std::vector<Scenario> numeric_scenarios();

}  // namespace faults

#endif
