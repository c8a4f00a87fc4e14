// The random-call driver: long random sequences of calls to everything that the libraries export, hostile arguments
// included. In the end everything is deleted, and nothing may be left.
//
// usage: call_driver SEED [CALLS]      CALLS calls (20000), the same ones for the same seed; 0: without end
//        call_driver --check EXPORTS...   whether the tables and the lists of exported symbols agree
//
// Phases with more making than deleting alternate with phases of the opposite kind, so that every table grows beyond
// its first size and shrinks again. Each phase of making begins with one of growing_calls().
//
// A failure prints the seed, the call and the function; the same seed reproduces it.
#include <nxbriochem/molecules/memmgr_state.h>
#include <nxbriochem/nxbriochem.h>
#include <nxbriochem/objects/object_memory_state.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <string_view>

#include "tests/driver/calls.h"

namespace driver {
namespace {

// The progress of the calls, shared with the parent process.
struct Progress {
  unsigned long call;
  char name[96];
  bool finished;
};

std::vector<Entry> all_calls() {
  std::vector<Entry> all = table_calls();
  for (const std::vector<Entry>& more : {special_calls(), files_calls(), dock_calls()}) {
    all.insert(all.end(), more.begin(), more.end());
  }
  return all;
}

// Prints each name in the lists that no entry has, and each entry that is not in the lists.
int check_exports(int count, char** paths) {
  const std::set<std::string> variables = {"DFactor2", "DebugFlag", "Roots", "nx_short_nob"};
  std::set<std::string> missing;
  for (int i = 0; i < count; ++i) {
    std::ifstream file(paths[i]);
    for (std::string line; std::getline(file, line);) {
      // Names that begin with _Z are C++, which has tests of its own.
      if (!line.empty() && line[0] != '#' && line.rfind("_Z", 0) != 0 && variables.count(line) == 0) {
        missing.insert(line);
      }
    }
  }
  bool good = !missing.empty();
  for (const Entry& entry : all_calls()) {
    if (missing.erase(entry.name) == 0) {
      std::fprintf(stderr, "twice, or not exported: %s\n", entry.name);
      good = false;
    }
  }
  for (const std::string& name : missing) {
    std::fprintf(stderr, "exported, but not in the driver's tables: %s\n", name.c_str());
    good = false;
  }
  return good ? 0 : 1;
}

void require(bool holds, const char* what, Progress& progress) {
  if (!holds) {
    std::snprintf(progress.name + std::strlen(progress.name), sizeof progress.name - std::strlen(progress.name), ": %s",
                  what);
    std::abort();
  }
}

// Makes the blocks of the queues before blocks are counted.
void make_queues() {
  nxi_err("an error\n");
  nxi_warn("a warning\n");
}

// Calls that change or delete the owner or handle of a table, so that the table outlives its object until all tables
// are deleted. Only even seeds make them.
bool changes_owners(const Entry& entry) {
  static const std::set<std::string> names = {"nxi_read_memory_table", "nxi_copy_memory_table", "nxi_add_memory_table",
                                              "nxi_delete_memory_table", "nxi_delete_all_memory_tables"};
  return names.count(entry.name) != 0;
}

bool takes_away(const Entry& entry) {
  const std::string_view name = entry.name;
  return name.find("delete") != name.npos || name.find("clear") != name.npos || name.find("free") != name.npos ||
         name.find("purge") != name.npos || name.find("close") != name.npos;
}

void finish(Arguments& arguments, bool owners_changed, Progress& progress) {
  std::strcpy(progress.name, "the end");
  arguments.delete_all();
  for (int i = 0; i < memmgr::HandleCount; ++i) {
    require(memmgr::MolHandle[i].object == nullptr, "molecules are left", progress);
  }
  for (int type = 0; type < 256; ++type) {
    require(type == 1 || nxi_get_number_of_objects_of_type(type) == 0, "objects are left", progress);
  }
  for (int i = 0; i < object_memory::MemTabNum; ++i) {
    require(owners_changed || object_memory::memtab[i]->owner == 0, "a table of a deleted object is left", progress);
  }
  nxi_delete_all_memory_tables();

  nx_free_all_memory();
  require(nx_total_memory_allocated() == 0 && nx_total_number_of_active_pointers() == 0, "tracked memory is left",
          progress);
}

void make_calls(unsigned seed, unsigned long calls, const std::string& directory, Progress& progress) {
  // Discards what the library prints. A sanitizer writes to the descriptor itself.
  if (std::freopen("/dev/null", "w", stdout) == nullptr || (stderr = std::fopen("/dev/null", "w")) == nullptr) {
    std::abort();
  }
  constexpr unsigned long kPhase = 750;
  const std::vector<Entry> entries = all_calls();
  const std::vector<Entry> growing = growing_calls();
  Arguments arguments(seed, directory);
  const bool change_owners = seed % 2 == 0;
  for (unsigned long call = 1; calls == 0 || call <= calls; ++call) {
    const bool grows = call / kPhase % 2 == 0;
    const bool begins = grows && call % kPhase == 1;
    const Entry& entry = begins ? growing[(call / kPhase / 2 + seed) % growing.size()]
                                : entries[static_cast<std::size_t>(arguments.below(static_cast<int>(entries.size())))];
    progress.call = call;
    std::strcpy(progress.name, "a deletion");
    if (!grows) {
      arguments.thin_out();
    }
    std::snprintf(progress.name, sizeof progress.name, "%s", entry.name);
    // Calls in a child process are slow, so fewer are made.
    if ((entry.in_child && !arguments.one_in(8)) || (!change_owners && changes_owners(entry)) ||
        (grows && takes_away(entry) && !arguments.one_in(16))) {
      continue;
    }
    make_queues();
    const int before = nx_total_number_of_active_pointers();
    arguments.begin(entry.in_child);
    entry.call(arguments, entry.kinds);
    require(!entry.keeps_nothing || nx_total_number_of_active_pointers() == before, "tracked blocks are left",
            progress);
  }
  finish(arguments, change_owners, progress);
  progress.finished = true;
}

int watch(unsigned seed, unsigned long calls) {
  char directory[] = "/tmp/driver-XXXXXX";
  void* const shared = mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED || mkdtemp(directory) == nullptr) {
    std::perror("call_driver");
    return 1;
  }
  auto& progress = *static_cast<Progress*>(shared);
  const pid_t child = fork();
  if (child == 0) {
    make_calls(seed, calls, directory, progress);
    std::exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  std::filesystem::remove_all(directory);
  if (status == 0 && progress.finished) {
    return 0;
  }
  std::fprintf(stderr, "seed %u, call %lu, %s: ended by %s %d\n", seed, progress.call, progress.name,
               WIFSIGNALED(status) ? "signal" : "status", WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status));
  return 1;
}

}  // namespace
}  // namespace driver

int main(int argc, char** argv) {
  constexpr unsigned long kCalls = 20000;
  if (argc > 2 && std::strcmp(argv[1], "--check") == 0) {
    return driver::check_exports(argc - 2, argv + 2);
  }
  if (argc < 2 || argc > 3) {
    std::fputs("usage: call_driver SEED [CALLS] | call_driver --check EXPORTS...\n", stderr);
    return 2;
  }
  return driver::watch(static_cast<unsigned>(std::strtoul(argv[1], nullptr, 10)),
                       argc == 3 ? std::strtoul(argv[2], nullptr, 10) : kCalls);
}
