// For every function that allocates, and for every k, the k-th allocation fails. Either the process must end with the
// status and the report of the allocator concerned, or the call returns and everything can still be used.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <new>
#include <string>
#include <tuple>
#include <vector>

#include <nxbriochem/nxbriochem.h>
#include <nxbriochem/objects/codes_internal.h>

#include "tests/faults/failing_heap.h"
#include "tests/faults/scenarios.h"
#include "tests/support/run.h"

namespace {

using faults::Heap;
using faults::Scenario;

// The children's own exit statuses, besides those of the library.
enum Status { kSurvived = 42, kGaveFailure, kGaveOther, kThrew, kLeft };
constexpr unsigned kSecondsAtMost = 60;

struct Ended {
  int status;  // -1: by a signal
  std::string printed;
};

class FailingHeap : public testing::Test {
 protected:
  FailingHeap()
      : heap_(static_cast<Heap*>(
            mmap(nullptr, sizeof(Heap), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {
    faults::written_path = scratch_.path("written");
  }
  FailingHeap(const FailingHeap&) = delete;
  FailingHeap& operator=(const FailingHeap&) = delete;
  ~FailingHeap() override { munmap(heap_, sizeof(Heap)); }

  static Status outcome(const Scenario& scenario) {
    try {
      return scenario.call() ? kGaveOther : kGaveFailure;
    } catch (const std::bad_alloc&) {
      return kThrew;
    }
  }

  // The child process: makes the call with its failing allocation. When the call returns, it is repeated: memory that
  // is allocated once and kept is no leak, memory that grows each time is. Then the call is made on a working heap, and
  // the process ends normally.
  [[noreturn]] void child(const Scenario& scenario) {
    if (scenario.set_up != nullptr) {
      scenario.set_up();
    }
    Heap again = *heap_;
    faults::set_heap(heap_);
    heap_->counting = true;
    Status status = outcome(scenario);
    heap_->counting = false;
    if (!heap_->failed) {
      status = kSurvived;
    } else {
      long before = 0;
      for (int i = 0; i < 3; ++i) {
        Heap once = again;
        before = faults::live_blocks();
        once.counting = true;
        faults::set_heap(&once);
        outcome(scenario);
        faults::set_heap(nullptr);
        if (!once.failed) {
          before = faults::live_blocks();
          break;
        }
      }
      status = faults::live_blocks() > before ? kLeft : status;
      faults::set_heap(nullptr);
      scenario.call();
      nx_print_all_errors_warnings();
      nx_free_all_memory();
      nx_free(nx_malloc(8));
    }
    std::fflush(nullptr);
    _exit(status);
  }

  Ended run(const Scenario& scenario, long fail_at, bool and_all_later) {
    *heap_ = {false, and_all_later, fail_at, 0, false, 0};
    std::fflush(nullptr);
    const int output = memfd_create("output", 0);
    const pid_t process = fork();
    if (process == 0) {
      dup2(output, STDOUT_FILENO);
      dup2(output, STDERR_FILENO);
      alarm(kSecondsAtMost);
      child(scenario);
    }
    int status = 0;
    waitpid(process, &status, 0);
    Ended ended{WIFEXITED(status) ? WEXITSTATUS(status) : -1, ""};
    ended.printed.resize(static_cast<std::size_t>(lseek(output, 0, SEEK_END)));
    EXPECT_EQ(pread(output, ended.printed.data(), ended.printed.size(), 0), static_cast<ssize_t>(ended.printed.size()));
    close(output);
    return ended;
  }

  // Whether one of the three texts about object memory is there.
  static bool names_object_memory(const std::string& printed) {
    const std::string start = "out of memory mallocing ";
    const std::size_t at = printed.find(start);
    if (at == std::string::npos) {
      return false;
    }
    const std::string asked = printed.substr(at + start.size(), printed.find('\n', at) - at - start.size());
    return asked == "the memory table!" || asked == "the memory table entries!" ||
           (asked.find(" for ") != std::string::npos && asked.ends_with('!'));
  }

  // The End that matches the status and the report; 0 for none.
  unsigned recognise(const Ended& ended) const {
    const auto says = [&ended](const std::string& text) { return ended.printed.find(text) != std::string::npos; };
    const bool reported =
        ended.printed.ends_with("*******\n") && says("\n*******\nTotal nx_memory currently allocated= ");
    const std::string size = std::to_string(heap_->failed_size);
    if (ended.status == objects::kMemoryExhausted && reported &&
        says("Out of memory trying to allocate " + size + " bytes of memory\n")) {
      return faults::kBlock;
    }
    if (ended.status == objects::kBooksExhausted &&
        ended.printed.ends_with("Out of memory trying to allocate for the nx_memory system\n")) {
      return faults::kBooks;
    }
    if (ended.status == objects::kObjectMemoryExhausted && reported && names_object_memory(ended.printed)) {
      return faults::kTable;
    }
    if (ended.status == 1 && ended.printed.ends_with("Fatal: Out of memory in the molecule layer\n")) {
      return faults::kFatal;
    }
    return ended.status == kGaveFailure ? faults::kFails
           : ended.status == kGaveOther ? faults::kWithout
           : ended.status == kThrew     ? faults::kThrows
           : ended.status == kLeft      ? faults::kLeaves
                                        : 0U;
  }

  // No file that was being written may be left.
  void expect_whole_files() const {
    for (const std::string& name : scratch_.names()) {
      EXPECT_EQ(name, "written");
    }
  }

  Heap* heap_;
  test_support::ScratchDirectory scratch_;
};

std::vector<faults::Family> families() {
  std::vector<faults::Family> all = faults::flat_families();
  all.push_back({"toolkit", faults::toolkit_scenarios()});
  all.push_back({"structure_files", faults::files_scenarios()});
  all.push_back({"dock", faults::dock_scenarios()});
  return all;
}

class AllocationFailure : public FailingHeap, public testing::WithParamInterface<std::tuple<faults::Family, bool>> {
 protected:
  void try_all(const Scenario& scenario, bool and_all_later) {
    unsigned met = 0;
    for (long k = 1;; ++k) {
      const Ended ended = run(scenario, k, and_all_later);
      if (!heap_->failed) {
        EXPECT_EQ(ended.status, kSurvived) << ended.printed;
        EXPECT_GT(k, 1) << "nothing is allocated";
        break;
      }
      const unsigned end = recognise(ended);
      met |= end;
      expect_whole_files();
      ASSERT_NE(end == faults::kLeaves ? end & scenario.ends : end, 0U)
          << "allocation " << k << " of " << heap_->failed_size << " bytes, status " << ended.status
          << (ended.status == kLeft ? ": memory is left\n" : "\n") << ended.printed;
    }
    // When all later allocations fail, too, a call that would have returned may instead end the process.
    EXPECT_EQ(and_all_later ? met & ~scenario.ends : met, and_all_later ? 0 : scenario.ends);
  }
};

TEST_P(AllocationFailure, EndsAsStated) {
  const auto& [family, and_all_later] = GetParam();
  for (const Scenario& scenario : family.scenarios) {
    SCOPED_TRACE(scenario.name);
    try_all(scenario, and_all_later);
  }
}

INSTANTIATE_TEST_SUITE_P(Of, AllocationFailure, testing::Combine(testing::ValuesIn(families()), testing::Bool()),
                         [](const auto& named) {
                           return std::get<0>(named.param).name + (std::get<1>(named.param) ? "_and_all_later" : "");
                         });

// Calls that end the process with status 1, whatever allocation fails on the way.
class AllocationFailureOnTheWayOut : public FailingHeap {
 protected:
  template <class Holds>
  void expect_of_all(const Scenario& scenario, bool and_all_later, Holds holds) {
    long k = 0;
    do {
      const Ended ended = run(scenario, ++k, and_all_later);
      EXPECT_EQ(ended.status, 1);
      EXPECT_TRUE(holds(ended)) << "allocation " << k << "\n" << ended.printed;
    } while (heap_->failed);
    EXPECT_GT(k, 1);
  }
};

// The report must name the block that was asked for, whatever fails while it is printed.
TEST_F(AllocationFailureOnTheWayOut, OutOfMemory) {
  expect_of_all(CALL(out_of_memory, 0, nullptr, (12345)), true, [](const Ended& ended) {
    return ended.printed.find("Out of memory trying to allocate 12345 bytes of memory\n") != std::string::npos &&
           ended.printed.ends_with("\n*******\n");
  });
}

void damage() {
  const int list = nx_make_list();
  nxi_set_memory_padding(list, 1);
  static_cast<char*>(nx_object_calloc_new(list, 4, 4, "damaged"))[16] = 1;
}

// The signal handler lists a damaged block. It must finish, or report the memory that the listing needed.
TEST_F(AllocationFailureOnTheWayOut, SignalHandler) {
  expect_of_all(CALL(nxi_error_handler, 0, damage, (11)), false, [this](const Ended& ended) {
    return heap_->failed ? recognise(ended) == faults::kBlock : ended.printed.ends_with("\nALL DONE\nExit code 11\n");
  });
}

// A call that returns its failure value must have changed nothing.
TEST(AllocationFailureThatReturns, GivesTheFailureValueAndChangesNothing) {
  const int mol = nx_make_molecule();
  nx_set_molecule_atom_number(2, mol);
  const float coordinates[] = {1, 2, 3, 4, 5, 7};
  nx_set_molecule_coordinates(coordinates, mol);
  nx_set_molecule_element("CO", mol);
  nx_set_molecule_atom_names("C\0HO", mol);  // a hydrogen, so that the points to be superposed are copied
  const float radii[] = {3, 3.5F};
  nx_set_molecule_radii(radii, mol);
  float out[3] = {-1, -1, -1};
  const auto fails = [](auto call) {
    Heap heap{true, false, 1, 0, false, 0};
    faults::set_heap(&heap);
    const auto result = call();
    faults::set_heap(nullptr);
    EXPECT_TRUE(heap.failed);
    return result == decltype(result)();
  };
  EXPECT_TRUE(fails([&] { return nx_set_molecule_atom_number(5, mol); }));
  EXPECT_TRUE(fails([&] { return nx_set_molecule_bond_number(5, mol); }));
  EXPECT_TRUE(fails([&] { return nx_set_molecule_conformer_number(5, mol); }));
  EXPECT_TRUE(fails([&] { return nx_assign_radii_by_element(mol); }));
  EXPECT_TRUE(fails([&] { return nx_get_rms(mol, mol, out); }));
  EXPECT_TRUE(fails([&] { return nx_orient_by_moments_of_inertia(mol); }));
  EXPECT_TRUE(fails([] { return nx_object_malloc(-7, 10, 4, "plain", nullptr); }));
  EXPECT_TRUE(fails([] { return nx_object_calloc(-7, 10, 4, "plain", nullptr); }));
  EXPECT_TRUE(fails([] { return nx_object_realloc(-7, 10, 4, "plain", nullptr); }));

  EXPECT_EQ(nx_get_molecule_atom_number(mol), 2);
  EXPECT_EQ(nx_get_molecule_bond_number(mol), 0);
  EXPECT_EQ(nx_get_molecule_conformer_number(mol), 1);
  EXPECT_EQ(nx_is_molecule_transform_set(mol), 0);
  float read[6];
  EXPECT_EQ(nx_get_molecule_coordinates(read, mol), 1);
  EXPECT_TRUE(std::equal(read, read + 6, coordinates));
  EXPECT_EQ(nx_get_molecule_radii(read, mol), 1);
  EXPECT_TRUE(std::equal(read, read + 2, radii));
  EXPECT_EQ(out[0], -1);

  // This function always returns 1; the failure shows in its moments.
  EXPECT_FALSE(fails([&] { return nx_moments_of_inertia(mol, out); }));
  EXPECT_TRUE(std::isnan(out[0]) && std::isnan(out[1]) && std::isnan(out[2]));
  nx_delete_molecule(mol);
}

// When memory has no room for a saved table, the existing table is unchanged.
TEST(AllocationFailureThatReturns, OfASavedTable) {
  const int source = nx_make_list();
  const int target = nx_make_list();
  nx_attach_floats_to_object("values", 20, source);
  std::fill_n(nx_object_floats("values", source), 20, 1.0F);
  auto* const kept = static_cast<int*>(nx_object_calloc_new(target, 3, 4, "kept"));
  std::FILE* stream = std::tmpfile();
  ASSERT_EQ(nxi_write_memory_table(stream, source), 1);
  std::rewind(stream);
  Heap heap{true, false, 2, 0, false, 0};  // the first allocation is for the entries
  faults::set_heap(&heap);
  EXPECT_EQ(nxi_read_memory_table(stream, target), 0);
  faults::set_heap(nullptr);
  EXPECT_TRUE(heap.failed);
  EXPECT_EQ(nxi_get_pointer_by_name("kept", target), kept);
  EXPECT_EQ(nxi_mem_alloc_to(target, kept), 12);
  std::fclose(stream);
  nx_delete_list(source);
  nx_delete_list(target);
}

}  // namespace
