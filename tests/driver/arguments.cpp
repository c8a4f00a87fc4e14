#include "tests/driver/arguments.h"

#include <nxbriochem/nxbriochem.h>
#include <nxbriodock/nxbriodock.h>
#include <nxbriofiles/nxbriofiles.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>

// A report of a sanitizer must be told from an exit of the library, so it gets its own status. The sanitizers call
// these functions for their options. NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" const char* __asan_default_options();
extern "C" const char* __ubsan_default_options();
extern "C" const char* __asan_default_options() { return "exitcode=99"; }
extern "C" const char* __ubsan_default_options() { return "exitcode=99"; }
// NOLINTEND(bugprone-reserved-identifier)

namespace driver {
namespace {

constexpr std::size_t kFew = 16;
constexpr std::size_t kArrays = 12;
constexpr std::size_t kFilled = 4096;
constexpr int kMostIndex = 1000;
constexpr std::array kHostileInts = {-1, 0, 1, INT_MIN, INT_MAX, -999999999, -1000000001, 1000000007, 31, 32, 255, 256};

// The getters that sizes in brackets refer to; they are called for the molecule drawn last.
struct Getter {
  char letter;
  int (*size)(int mol);
};
constexpr std::array kGetters = {
    Getter{'A', nx_get_molecule_radii_length},       Getter{'B', nx_get_molecule_bonds_length},
    Getter{'C', nx_get_molecule_coordinates_length}, Getter{'N', nx_get_molecule_name_length},
    Getter{'F', nx_get_molecule_file_name_length},   Getter{'P', nx_get_molecule_atom_number},
    Getter{'W', nx_get_molecule_atom_names_length},  Getter{'X', nx_get_molecule_residue_names_length},
    Getter{'Y', nx_get_molecule_chain_names_length},
};

template <typename T>
T* as(void* array) {
  return static_cast<T*>(array);
}

}  // namespace

std::vector<Kind> kinds_of(std::string_view text) {
  std::vector<Kind> kinds;
  while (!text.empty()) {
    const std::size_t end = text.size() > 1 && text[1] == '[' ? text.find(']') : 0;
    kinds.push_back({text[0], end == 0 ? std::string_view() : text.substr(2, end - 2)});
    text.remove_prefix(end + 1);
  }
  return kinds;
}

Arguments::Arguments(unsigned seed, std::string directory)
    : random_(seed), directory_(std::move(directory)), scratch_(std::tmpfile()) {
  for (std::size_t i = 0; i < kArrays; ++i) {
    arrays_.push_back(std::make_unique<double[]>(kRoom));
  }
  for (const char* name : {"/a", "/b.pdb", "/no/such/directory", ""}) {
    paths_.push_back(directory_ + name);
  }
}

Arguments::~Arguments() { std::fclose(scratch_); }

void Arguments::begin(bool in_child) {
  in_child_ = in_child;
  no_molecule_ = false;
  exact_arrays_.clear();
}

int Arguments::one_of(const std::vector<int>& pool) {
  if (pool.empty() || one_in(12)) {
    return one_in(2) ? kHostileInts[random_() % kHostileInts.size()] : static_cast<int>(random_());
  }
  return pool[random_() % pool.size()];
}

int Arguments::molecule(char kind) {
  if (kind != 'x' && one_in(60)) {
    in_child_ = true;
    no_molecule_ = true;
    return one_of({});
  }
  if (molecules_.empty()) {
    molecules_.push_back(nx_make_molecule());
  }
  const std::size_t at = random_() % molecules_.size();
  const int handle = molecules_[at];
  // Indices are never used again, so that the arrays of a molecule only grow.
  if (nx_get_molecule_radii_length(handle) > kMostIndex || nx_get_molecule_bonds_length(handle) > kMostIndex) {
    nx_clear_molecule(handle);
  }
  last_molecule_ = handle;
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
    case 'e':
      return one_of(energies_);
    case 'a':
      return one_of(readers_);
    case 'g': {
      // Never the registry's own table or a missing one: negative handles stand for the plain heap.
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
  last_text_ = one_in(20) ? kLong.c_str() : kTexts[random_() % kTexts.size()];
  return last_text_;
}

std::size_t Arguments::getter(char letter) {
  if (letter == 'U' || letter == 'V') {
    return static_cast<std::size_t>(
        (letter == 'U' ? nx_object_floats_size : nx_object_integers_size)(last_text_, last_handle_));
  }
  // With such a handle the call ends before it reads an array, unless the handle happens to name another molecule.
  const auto* const found =
      std::find_if(kGetters.begin(), kGetters.end(), [letter](const Getter& g) { return g.letter == letter; });
  return no_molecule_ ? kRoom : static_cast<std::size_t>(found->size(last_molecule_));
}

std::size_t Arguments::size_of(std::string_view text) {
  const bool at_least_one = text[0] == '^';
  std::size_t sum = 0;
  std::size_t product = 1;
  for (const char* c = text.data() + (at_least_one ? 1 : 0); c != text.data() + text.size();) {
    std::size_t number = 0;
    if (const auto digits = std::from_chars(c, text.data() + text.size(), number); digits.ec == std::errc()) {
      product *= number;
      c = digits.ptr;
      continue;
    }
    if (*c == '+') {
      sum += std::exchange(product, 1);
    } else if (*c >= 'a' && *c <= 'z') {
      product *= static_cast<std::size_t>(std::max(values_[static_cast<std::size_t>(*c - 'a')], 0L));
    } else {
      product *= getter(*c);
    }
    ++c;
  }
  return std::max<std::size_t>(sum + product, at_least_one ? 1 : 0);
}

void* Arguments::exact(std::size_t bytes) { return exact_arrays_.emplace_back(std::make_unique<char[]>(bytes)).get(); }

void* Arguments::array(std::size_t element_size, char type, std::string_view size) {
  if (one_in(40)) {
    return nullptr;
  }
  const std::size_t count = size.empty() ? kFilled : size_of(size);
  void* const array = size.empty() ? arrays_[next_array_++ % kArrays].get() : exact(count * element_size);
  fill(array, element_size, type, count);
  return array;
}

void Arguments::fill(void* array, std::size_t element_size, char type, std::size_t count) {
  const bool finite = !one_in(4);
  for (std::size_t i = 0; i < count; ++i) {
    const double x = i < kMostCount * 3 || !finite ? number() : 1.0;
    const double plain = finite && !(std::fabs(x) < 1e6) ? 1.0 : x;
    switch (type) {
      case '0':
        return;
      case 'f':
        as<float>(array)[i] = static_cast<float>(plain);
        break;
      case 'd':
        as<double>(array)[i] = plain;
        break;
      case 't':  // names of three characters, or as many of one
        as<char>(array)[i] = count % 4 == 0 && i % 4 == 3 ? '\0' : " CANOH12x\n%"[below(11)];
        break;
      default:
        if (element_size == sizeof(int)) {
          as<int>(array)[i] = i < kMostCount * 3 ? integer('i') : below(9);
        } else {
          std::memset(as<char>(array) + i * element_size, below(3), element_size);
        }
    }
  }
}

void* Arguments::rows(std::size_t element_size, std::string_view size) {
  if (one_in(40)) {
    return nullptr;
  }
  const std::size_t count = size.empty() ? kMostCount : size_of(size);
  auto* const rows = as<void*>(exact(count * sizeof(void*)));
  for (std::size_t i = 0; i < count; ++i) {
    rows[i] = exact(count * element_size);
    fill(rows[i], element_size, element_size == sizeof(float) ? 'f' : 'd', count);
  }
  return rows;
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
    // Only the status matters: the child ends without flushing and without a report of leaks.
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

std::array<Arguments::Pool, 8> Arguments::pools() {
  return {Pool{'m', molecules_, [](int mol) { nx_delete_molecule(mol); }},
          Pool{'l', lists_, [](int list) { nx_delete_list(list); }},
          Pool{'f', function_lists_, [](int list) { nx_delete_function_list(list); }},
          Pool{'o', optimisers_, [](int opt) { nx_delete_opt(opt); }},
          Pool{'r', sequences_, [](int sequence) { nx_delete_rseq(sequence); }},
          Pool{'e', energies_, [](int energy) { nxd_delete_energy(energy); }},
          Pool{'a', readers_, [](int reader) { nxf_close_reader(reader); }},
          Pool{'g', objects_, [](int object) {
                 nxi_delete_object(object);
                 nxi_delete_memory_table(object);
               }}};
}
void Arguments::keep(char kind, int handle) {
  for (const Pool& pool : pools()) {
    if (pool.kind == kind && handle != 0) {
      pool.handles.push_back(handle);
    }
  }
}

void Arguments::thin_out() {
  for (const Pool& pool : pools()) {
    for (int i = 0; i < 2 && pool.handles.size() > kFew; ++i) {
      std::swap(pool.handles[random_() % pool.handles.size()], pool.handles.back());
      const int handle = pool.handles.back();
      pool.handles.pop_back();
      pool.destroy(handle);
    }
  }
  for (int i = 0; i < 2 && tracked_.size() > kFew; ++i) {
    nx_free(take_tracked());
  }
}

void Arguments::delete_all() {
  for (const Pool& pool : pools()) {
    std::for_each(pool.handles.begin(), pool.handles.end(), pool.destroy);
    pool.handles.clear();
  }
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
