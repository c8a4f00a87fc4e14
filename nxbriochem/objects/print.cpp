#include <nxbriochem/objects/print.h>

#include <cstdarg>
#include <cstdio>

#include <nxbriochem/objects/obj_man.h>

namespace print {
namespace {

enum Mode { kNothing = -1, kByHandle = 0, kEverything = 1 };

constexpr int kStandardOutput = 1;
constexpr int kStandardError = 2;

Mode mode = kByHandle;
int last_status = 0;

std::FILE* stream_for(int status) {
  if (mode == kNothing) {
    return nullptr;
  }
  if (mode == kEverything || status == kStandardOutput) {
    return stdout;
  }
  return status == kStandardError ? stderr : nullptr;
}

}  // namespace
}  // namespace print

using namespace print;

int nx_printf(int handle, const char* format, ...) {
  if (handle != 0) {
    last_status = nx_get_print_status(handle);
  }
  std::FILE* stream = stream_for(last_status);
  if (stream == nullptr || format == nullptr) {
    return 0;
  }
  va_list arguments;
  va_start(arguments, format);
  const int printed = std::vfprintf(stream, format, arguments);
  va_end(arguments);
  return printed < 0 ? 0 : printed;
}

void nx_print_everything(void) { print::mode = kEverything; }
void nx_print_nothing(void) { print::mode = kNothing; }
void nx_print_by_handle(void) { print::mode = kByHandle; }
