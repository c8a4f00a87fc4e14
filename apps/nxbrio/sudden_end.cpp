#include "sudden_end.h"

#include <nxbriochem/nxbriochem.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>

#include "captured_stderr.h"
#include "nxbriofiles/temporary_file.h"

namespace nxbrio {
namespace {

constexpr int kFailed = 1;

bool in_main = false;
bool heap_refused = false;
std::terminate_handler usual_handler = nullptr;

[[noreturn]] void end_process() {
  remove_temporary_files();
  std::fflush(nullptr);
  _exit(kFailed);
}

// Memory that runs out in a destructor, or before main.
[[noreturn]] void end_out_of_memory() {
  try {
    if (const std::exception_ptr thrown = std::current_exception()) {
      std::rethrow_exception(thrown);
    }
  } catch (const std::bad_alloc&) {
    CapturedStderr::let_out();
    report_out_of_memory();
    end_process();
  } catch (...) {
    // A fault of the program.
  }
  usual_handler();
  std::abort();
}

// What operator new calls when the heap refuses, of every library too.
void note_refusal() {
  heap_refused = true;
  throw std::bad_alloc();
}

// Before the constructors of other static objects, which may allocate.
constexpr int kBeforeOthers = 101;
[[gnu::constructor(kBeforeOthers)]] void set_handlers() {
  usual_handler = std::set_terminate(end_out_of_memory);
  std::set_new_handler(note_refusal);
}

void report_end() {
  if (!in_main) {
    return;
  }
  CapturedStderr::let_out();
  std::fflush(stdout);
  std::fputs("nxbrio: the library ended the process", stderr);
  if (const int errors = nx_number_of_errors(); errors > 0) {
    const char* const text = nx_error_with_tag("", errors - 1);
    std::fprintf(stderr, ": %.*s", static_cast<int>(std::strcspn(text, "\n")), text);
  }
  std::fputs("\n", stderr);
  end_process();
}

}  // namespace

bool memory_ran_out() { return heap_refused || errno == ENOMEM; }
void tell_memory_ran_out() { heap_refused = true; }

int report_out_of_memory() {
  std::fflush(stdout);
  std::fputs("nxbrio: out of memory\n", stderr);
  return kFailed;
}

SuddenEndsReported::SuddenEndsReported() { in_main = std::atexit(report_end) == 0; }

SuddenEndsReported::~SuddenEndsReported() { in_main = false; }

}  // namespace nxbrio
