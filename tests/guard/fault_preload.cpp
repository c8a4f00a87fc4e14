// Loaded before a program (LD_PRELOAD): one of its allocations fails, or it gets a signal at one of its steps on the
// way to a file. GUARD_ALLOCATION=N has the Nth allocation fail, GUARD_LATER=1 all later ones too; GUARD_STEP=N sends
// the signal GUARD_SIGNAL before the Nth step. The number of allocations and the steps, a letter each, go to descriptor
// GUARD_COUNTS at the end.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

extern "C" {
// The C library's own.
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* old, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace {

long number(const char* variable) {
  const char* const text = std::getenv(variable);
  return text != nullptr ? std::atol(text) : 0;
}

// Before the program's own constructors nothing is counted and nothing fails.
bool started = false;
long allocation = 0;
bool later = false;
long step = 0;
int signal_sent = 0;
long allocations = 0;
char steps[1000];
long step_count = 0;

bool refuses() {
  if (!started) {
    return false;
  }
  ++allocations;
  const bool fails = allocations == allocation || (later && allocation > 0 && allocations > allocation);
  if (fails) {
    errno = ENOMEM;
  }
  return fails;
}

void take_step(char letter) {
  if (!started || step_count + 1 == static_cast<long>(sizeof steps)) {
    return;
  }
  steps[step_count++] = letter;
  if (step_count == step) {
    raise(signal_sent);
  }
}

template <class Function>
Function next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

[[gnu::constructor]] void start() {
  allocation = number("GUARD_ALLOCATION");
  later = number("GUARD_LATER") != 0;
  step = number("GUARD_STEP");
  signal_sent = static_cast<int>(number("GUARD_SIGNAL"));
  started = true;
}

[[gnu::destructor]] void finish() {
  started = false;
  if (const int counts = static_cast<int>(number("GUARD_COUNTS")); counts > 0) {
    dprintf(counts, "%ld %s\n", allocations, steps);
  }
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) { return refuses() ? nullptr : __libc_malloc(size); }
void* calloc(std::size_t count, std::size_t size) { return refuses() ? nullptr : __libc_calloc(count, size); }
void* realloc(void* old, std::size_t size) { return refuses() ? nullptr : __libc_realloc(old, size); }
void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return refuses() ? nullptr : __libc_memalign(alignment, size);
}

int openat(int directory, const char* name, int flags, ...) {
  take_step('o');
  __builtin_va_list arguments;
  __builtin_va_start(arguments, flags);
  const mode_t mode = __builtin_va_arg(arguments, mode_t);
  __builtin_va_end(arguments);
  return next<int (*)(int, const char*, int, ...)>("openat")(directory, name, flags, mode);
}
ssize_t write(int file, const void* bytes, std::size_t size) {
  take_step('w');
  return next<ssize_t (*)(int, const void*, std::size_t)>("write")(file, bytes, size);
}
int fsync(int file) {
  take_step('s');
  return next<int (*)(int)>("fsync")(file);
}
int fchmod(int file, mode_t mode) {
  take_step('m');
  return next<int (*)(int, mode_t)>("fchmod")(file, mode);
}
int renameat(int from, const char* old, int to, const char* name) {
  take_step('r');
  return next<int (*)(int, const char*, int, const char*)>("renameat")(from, old, to, name);
}
int renameat2(int from, const char* old, int to, const char* name, unsigned flags) {
  take_step('x');
  return next<int (*)(int, const char*, int, const char*, unsigned)>("renameat2")(from, old, to, name, flags);
}
int unlinkat(int directory, const char* name, int flags) {
  take_step('u');
  return next<int (*)(int, const char*, int)>("unlinkat")(directory, name, flags);
}
}
