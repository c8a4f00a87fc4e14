#include "tests/driver/arguments.h"

#include <nxbriochem/nxbriochem.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace driver {
namespace {

constexpr std::size_t kMostKept = 16;
constexpr std::size_t kArrays = 12;
constexpr std::size_t kFilled = 4096;
constexpr int kMostIndex = 1000;
constexpr std::array kHostileInts = {-1, 0, 1, INT_MIN, INT_MAX, -999999999, -1000000001, 1000000007, 31, 32, 255, 256};

template <typename T>
T* as(void* array) {
  return static_cast<T*>(array);
}

}  // namespace

Arguments::Arguments(unsigned seed, std::string directory)
    : random_(seed), directory_(std::move(directory)), scratch_(std::tmpfile()) {
  for (std::size_t i = 0; i < kArrays; ++i) {
    arrays_.push_back(std::make_unique<double[]>(kRoom));
  }
  rows_.resize(kArrays);
  for (const char* name : {"/a", "/b.pdb", "/no/such/directory", ""}) {
    paths_.push_back(directory_ + name);
  }
}

Arguments::~Arguments() { std::fclose(scratch_); }

int Arguments::one_of(const std::vector<int>& pool) {
  if (pool.empty() || one_in(12)) {
    return one_in(2) ? kHostileInts[random_() % kHostileInts.size()] : static_cast<int>(random_());
  }
  return pool[random_() % pool.size()];
}

int Arguments::molecule(char kind) {
  if (kind != 'x' && one_in(60)) {
    in_child_ = true;
    return one_of({});
  }
  if (molecules_.empty()) {
    molecules_.push_back(nx_make_molecule());
  }
  const std::size_t at = random_() % molecules_.size();
  const int handle = molecules_[at];
  // An array is never longer than the room that the getters are given.
  if (nx_get_molecule_radii_length(handle) > kMostIndex || nx_get_molecule_bonds_length(handle) > kMostIndex) {
    nx_clear_molecule(handle);
  }
  if (kind == 'q' && nx_get_molecule_atom_number(handle) == 0) {
    in_child_ = true;
  }
  if (kind == 'x' && !in_child_) {
    molecules_.erase(molecules_.begin() + static_cast<std::ptrdiff_t>(at));
  }
  return handle;
}

int Arguments::integer(char kind) {
  switch (kind) {
    case 'm':
    case 'q':
    case 'x':
      return molecule(kind);
    case 'l':
      return one_of(lists_);
    case 'f':
      return one_of(function_lists_);
    case 'o':
      return one_of(optimisers_);
    case 'S':
      return static_cast<int>(static_cast<unsigned>(one_of(optimisers_)) - 1U);
    case 'r':
      return one_of(sequences_);
    case 'g': {
      // Not the registry's own table, nor one that is not there: negative handles stand for the plain heap.
      const int handle = one_of(one_in(2) ? lists_ : objects_);
      last_handle_ = handle > 0 ? handle : 1 + below(INT_MAX - 1);
      return last_handle_;
    }
    case 'h': {
      const std::array<const std::vector<int>*, 3> pools = {&molecules_, &lists_, &objects_};
      return one_of(*pools[static_cast<std::size_t>(below(3))]);
    }
    case 'b':
      if (one_in(50)) {
        in_child_ = true;
        return INT_MAX - below(3);
      }
      [[fallthrough]];
    case 'n':
      return one_in(12) ? (one_in(2) ? -1 : INT_MIN) : below(one_in(8) ? kMostCount + 1 : 9);
    case 'u':
      return below(kMostCount + 1);
    case 'c':
      return below(256) - 128;
    default:
      return one_in(8) ? one_of({}) : below(12);
  }
}

double Arguments::number() {
  switch (below(40)) {
    case 0:
      return std::numeric_limits<double>::quiet_NaN();
    case 1:
      return -std::numeric_limits<double>::infinity();
    case 2:
      return 3e38;
    case 3:
      return 1e-40;
    case 4:
    case 5:
      return 0.0;
    default:
      return (static_cast<double>(random_()) / 4294967296.0 - 0.5) * 20.0;
  }
}

const char* Arguments::text(char kind) {
  static const std::string kLong(300, 'x');
  static constexpr std::array kTexts = {"",        "coord", "names", "a",    "ulist", "CA",           "double",
                                        "(1+2)*3", "x = 2", "x",     "%s%n", "full",  "\xff\x80\x01", "A\tB\nC ",
                                        " HA",     "int"};
  static constexpr std::array kWords = {"pdb",        "mol2",         "xyz",   "sdf",    "pqr",
                                        "delphi_pdb", "mol2_charged", "alist", "silent", "standard",
                                        "debug",      "binary_pdb",   "word",  ""};
  if (one_in(40)) {
    return nullptr;
  }
  if (kind == 'p') {
    return one_in(20) ? "" : paths_[random_() % paths_.size()].c_str();
  }
  if (kind == 'w') {
    return kWords[random_() % kWords.size()];
  }
  return one_in(20) ? kLong.c_str() : kTexts[random_() % kTexts.size()];
}

void* Arguments::array(std::size_t element_size, char type) {
  if (one_in(40)) {
    return nullptr;
  }
  void* const array = arrays_[next_array_++ % kArrays].get();
  const bool finite = !one_in(4);
  for (std::size_t i = 0; i < kFilled; ++i) {
    const double x = i < kMostCount * 3 || !finite ? number() : 1.0;
    const double plain = finite && !(std::fabs(x) < 1e6) ? 1.0 : x;
    switch (type) {
      case 'f':
        as<float>(array)[i] = static_cast<float>(plain);
        break;
      case 'd':
        as<double>(array)[i] = plain;
        break;
      case 't':
        as<char>(array)[i] = i % 4 == 3 || i + 1 == kFilled ? '\0' : " CANOH12x\n%"[below(11)];
        break;
      default:
        if (element_size == sizeof(int)) {
          as<int>(array)[i] = i < kMostCount * 3 ? integer('i') : below(9);
        } else {
          std::memset(as<char>(array) + i * element_size, below(3), element_size);
        }
    }
  }
  return array;
}

void* Arguments::rows(std::size_t element_size) {
  auto* const elements = static_cast<char*>(array(element_size, element_size == sizeof(float) ? 'f' : 'd'));
  if (elements == nullptr) {
    return nullptr;
  }
  std::vector<void*>& rows = rows_[next_array_ % kArrays];
  rows.clear();
  for (std::size_t i = 0; i < kMostCount; ++i) {
    rows.push_back(elements + i * kMostCount * element_size);
  }
  return rows.data();
}

void* Arguments::block() {
  static int foreign = 0;
  std::vector<void*> mine;
  for (const Block& block : blocks_) {
    if (block.handle == last_handle_) {
      mine.push_back(block.block);
    }
  }
  if (mine.empty() || one_in(6)) {
    return one_in(2) ? nullptr : &foreign;
  }
  return mine[random_() % mine.size()];
}

void* Arguments::tracked() { return tracked_.empty() || one_in(6) ? nullptr : tracked_[random_() % tracked_.size()]; }

void* Arguments::take_tracked() {
  if (tracked_.empty()) {
    return nullptr;
  }
  std::swap(tracked_[random_() % tracked_.size()], tracked_.back());
  void* const block = tracked_.back();
  tracked_.pop_back();
  return block;
}

std::FILE* Arguments::stream(char kind) {
  if (one_in(10)) {
    return nullptr;
  }
  if (kind == 'F' && !streams_.empty() && !one_in(4)) {
    return streams_[random_() % streams_.size()];
  }
  std::rewind(scratch_);
  if (kind == 'W' && !in_child_) {
    std::fflush(scratch_);
    if (ftruncate(fileno(scratch_), 0) != 0) {
      std::abort();
    }
  }
  return scratch_;
}

void Arguments::run(const std::function<void()>& call) {
  if (!in_child_) {
    call();
    return;
  }
  const pid_t child = fork();
  if (child == 0) {
    // The status is all that is wanted of it: nothing is flushed, and what it holds is no leak.
    on_exit([](int status, void*) { _exit(status); }, nullptr);
    call();
    _exit(0);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status)) {
    std::abort();
  }
  constexpr std::array kStatuses = {0, 1, 3, 4, 7, 107, 108, 208};
  if (std::find(kStatuses.begin(), kStatuses.end(), WEXITSTATUS(status)) == kStatuses.end()) {
    std::abort();
  }
}

void Arguments::keep(char kind, int handle) {
  struct Pool {
    char kind;
    std::vector<int>& handles;
    std::function<void(int)> destroy;
  };
  const std::array<Pool, 6> pools = {Pool{'m', molecules_, [](int mol) { nx_delete_molecule(mol); }},
                                     Pool{'l', lists_, [](int list) { nx_delete_list(list); }},
                                     Pool{'f', function_lists_, [](int list) { nx_delete_function_list(list); }},
                                     Pool{'o', optimisers_, [](int opt) { nx_delete_opt(opt); }},
                                     Pool{'r', sequences_, [](int sequence) { nx_delete_rseq(sequence); }},
                                     Pool{'g', objects_, [](int object) {
                                            nxi_delete_object(object);
                                            nxi_delete_memory_table(object);
                                          }}};
  for (const Pool& pool : pools) {
    if (pool.kind == kind && handle != 0) {
      pool.handles.push_back(handle);
      if (pool.handles.size() > kMostKept) {
        pool.destroy(pool.handles.front());
        pool.handles.erase(pool.handles.begin());
      }
    }
    if (kind == '\0') {
      std::for_each(pool.handles.begin(), pool.handles.end(), pool.destroy);
      pool.handles.clear();
    }
  }
}

void Arguments::delete_all() {
  keep('\0', 0);
  nxi_fclose_all();
}

void Arguments::keep_block(void* block) {
  constexpr std::size_t kMostBlocks = 64;
  if (block == nullptr) {
    return;
  }
  if (blocks_.size() >= kMostBlocks) {
    blocks_.erase(blocks_.begin());
  }
  blocks_.push_back({last_handle_, block});
}

}  // namespace driver
