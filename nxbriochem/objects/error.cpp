// Each queue is one growing buffer of NUL-terminated messages, which are found by walking it. The two queues differ in
// their variables and in their texts.
//
// Kept: programs rely on the words of each queue, which do not mirror each other. They are spelt out per queue.
#include <nxbriochem/objects/error.h>

#include <fcntl.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <nxbriochem/objects/codes_internal.h>
#include <nxbriochem/objects/error_state.h>
#include <nxbriochem/objects/memory.h>
#include <nxbriochem/objects/memory_owners_internal.h>

namespace error {

char* errors = nullptr;
int32_t err_str_len = 0;
int32_t err_str_pos = 0;
int32_t err_str_last = 0;
int32_t err_num = 0;
int32_t err_new = 0;
int32_t err_last_print = 0;
int NX_Suppress_Errors = 0;

char* warnings = nullptr;
int32_t war_str_len = 0;
int32_t war_str_pos = 0;
int32_t war_str_last = 0;
int32_t war_num = 0;
int32_t war_new = 0;
int32_t war_last_print = 0;
int NX_Suppress_Warnings = 0;

int print_errors = 0;
int error_write = 0;
char* error_file = nullptr;

namespace {

constexpr std::size_t kLongestStored = 200;
constexpr int32_t kFirstCapacity = 1000;
constexpr std::size_t kFormatBuffer = 256;
// Room behind the counted capacity for the NUL of a message that fits exactly.
constexpr int32_t kSpareBytes = 1;

struct Queue {
  char*& text;
  int32_t& capacity;
  int32_t& position;
  int32_t& last;
  int32_t& count;
  int32_t& is_new;
  int32_t& printed;

  const char* empty_message;
  const char* cut_message;
  const char* log_prefix;
  const char* none;
  const char* complete_heading;
  const char* line;
  const char* none_for_new;  // null: nothing is printed
  const char* nothing_new;
  const char* new_heading;
  const char* one_heading;
  const char* one_line;
  const char* none_for_last;
  const char* last_line;
};

Queue error_queue{
    errors,
    err_str_len,
    err_str_pos,
    err_str_last,
    err_num,
    err_new,
    err_last_print,
    "zero length warning sent to error queue",  // Kept: programs rely on "warning" here
    "had to truncate an error message",
    "ERROR: ",
    "No error messages",
    "COMPLETE ERROR MESSAGE LIST:",
    "ERROR #%d: %s\n",
    nullptr,
    "NO NEW ERROR MESSAGES",
    "NEW ERROR MESSAGES:",
    "NEW ERROR MESSAGES:",
    "ERROR #%d: %s\n",
    "NO ERROR MESSAGES",
    "LAST ERROR MESSAGE (#%d): %s\n",
};

Queue warning_queue{
    warnings,
    war_str_len,
    war_str_pos,
    war_str_last,
    war_num,
    war_new,
    war_last_print,
    "zero length warning sent to warning queue",
    "had to truncate an warning message",
    "WARNING: ",
    "No warning messages",
    "COMPLETE WARNING MESSAGE LIST:",
    "WARNING #%d: %s\n",
    "No warnings messages",
    "NO NEW WARNINGS MESSAGES",
    "NEW WARNING MESSAGES:",
    "Warning MESSAGE:",
    "Warning #%d: %s\n",
    "No warnings messages",
    "LAST WARNING MESSAGE (#%d): %s\n",
};

void save_blocks() {
  memory::take_off_record(error_queue.text);
  memory::take_off_record(warning_queue.text);
  memory::take_off_record(error_file);
}

// Makes room once per message, which suffices: a message is at most 200 bytes and the first buffer 1000.
void make_room(Queue& queue, int32_t length) {
  if (queue.text != nullptr && queue.position + length <= queue.capacity) {
    return;
  }
  const int64_t capacity = queue.capacity == 0 ? kFirstCapacity : int64_t{queue.capacity} * 2;
  if (capacity > INT32_MAX) {
    out_of_memory(capacity + kSpareBytes);  // positions are 32-bit
  }
  queue.text = static_cast<char*>(memory::grow_own(queue.text, capacity + kSpareBytes));
  queue.capacity = static_cast<int32_t>(capacity);
  memory::before_all_freed(save_blocks);
}

void write_to_log(const Queue& queue, const char* text) {
  if (error_write == 0 || error_file == nullptr) {
    return;
  }
  constexpr mode_t kAllReadAndWrite = 0666;  // less the caller's mask
  // Never blocks: a line for a full or unread pipe is dropped.
  const int log =
      open(error_file, O_WRONLY | O_CREAT | O_NONBLOCK | (error_write == 1 ? O_TRUNC : O_APPEND), kAllReadAndWrite);
  error_write = std::max(error_write, 2);
  if (log >= 0) {
    dprintf(log, "%s%s\n", queue.log_prefix, text);
    close(log);
  }
}

void add(Queue& queue, const char* text) {
  std::size_t length = text == nullptr ? 0 : std::strlen(text);
  if (length == 0) {
    nxi_warn(queue.empty_message);
    return;
  }
  if (length > kLongestStored) {
    nxi_warn(queue.cut_message);
    length = kLongestStored;
  }
  const auto stored = static_cast<int32_t>(length);
  // A message of the queue may be queued again; it moves with the buffer.
  const bool own = queue.text != nullptr && text >= queue.text && text < queue.text + queue.position;
  const std::ptrdiff_t offset = own ? text - queue.text : 0;
  make_room(queue, stored);
  text = own ? queue.text + offset : text;
  std::memcpy(queue.text + queue.position, text, length);
  queue.text[queue.position + stored] = '\0';
  if (queue.position + stored < queue.capacity) {
    queue.text[queue.position + stored + 1] = '\0';  // the free space reads as an empty string
  }

  write_to_log(queue, text);
  if (print_errors != 0) {
    std::printf("%s", text);
  }
  queue.last = queue.position;
  queue.count += 1;
  queue.is_new = 1;
  queue.position += stored + 1;
}

struct Formatted {
  char text[kFormatBuffer];

  Formatted(const char* format, va_list arguments) {
    // The analyser does not see that the callers have started the list.
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
    if (format == nullptr || std::vsnprintf(text, sizeof text, format, arguments) < 0) {
      text[0] = '\0';
    }
  }
};

const char* next_message(const char* message) { return message + std::strlen(message) + 1; }

void print_range(const Queue& queue, const char* heading, int32_t first) {
  std::printf("\n%s\n", heading);
  const char* message = queue.text;
  for (int32_t k = 0; k < queue.count; ++k, message = next_message(message)) {
    if (k >= first) {
      std::printf(queue.line, k, message);
    }
  }
  std::putchar('\n');
}

void mark_printed(Queue& queue) {
  queue.is_new = 0;
  queue.printed = queue.count;
}

void print_all(Queue& queue) {
  if (queue.count == 0) {
    std::puts(queue.none);
    return;
  }
  print_range(queue, queue.complete_heading, 0);
  mark_printed(queue);
}

void print_new(Queue& queue) {
  if (queue.count == 0) {
    if (queue.none_for_new != nullptr) {
      std::puts(queue.none_for_new);
    }
    return;
  }
  if (queue.printed == queue.count) {
    std::puts(queue.nothing_new);
  } else {
    print_range(queue, queue.new_heading, queue.printed);
  }
  mark_printed(queue);
}

// Kept: programs rely on message n - 1 being printed, and message 0 for n = 0.
void print_one(const Queue& queue, int n) {
  if (n < 0 || n >= queue.count) {
    return;
  }
  const int wanted = std::max(n - 1, 0);
  const char* message = queue.text;
  for (int k = 0; k < wanted; ++k) {
    message = next_message(message);
  }
  std::printf("\n%s\n", queue.one_heading);
  std::printf(queue.one_line, wanted, message);
  std::putchar('\n');
}

void print_last(const Queue& queue) {
  if (queue.count == 0) {
    std::puts(queue.none_for_last);
    return;
  }
  std::printf(queue.last_line, queue.count, queue.text + queue.last);
}

int count_with_tag(const Queue& queue, const char* tag) {
  if (tag == nullptr) {
    return 0;
  }
  int found = 0;
  const char* message = queue.text;
  for (int32_t k = 0; k < queue.count; ++k, message = next_message(message)) {
    found += static_cast<int>(std::strstr(message, tag) != nullptr);
  }
  return found;
}

const char* find_with_tag(const Queue& queue, const char* tag, int wanted) {
  if (queue.count == 0) {
    std::puts(queue.none);
    return nullptr;
  }
  if (tag == nullptr) {
    return nullptr;
  }
  int found = 0;
  const char* message = queue.text;
  for (int32_t k = 0; k < queue.count; ++k, message = next_message(message)) {
    found += static_cast<int>(std::strstr(message, tag) != nullptr);
    if (found > wanted) {
      return message;
    }
  }
  // For n at the end this is the free space, which reads as "". A full buffer has no free space, so the NUL of the last
  // message is returned.
  return queue.position > queue.capacity ? message - 1 : message;
}

}  // namespace
}  // namespace error

using namespace error;

void nxi_err(const char* text) { add(error_queue, text); }
void nxi_warn(const char* text) { add(warning_queue, text); }

void nxi_error(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const Formatted formatted(format, arguments);
  va_end(arguments);
  nxi_err(formatted.text);
}

void nxi_warning(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const Formatted formatted(format, arguments);
  va_end(arguments);
  nxi_warn(formatted.text);
}

void nxi_error_print(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const Formatted formatted(format, arguments);
  va_end(arguments);
  nxi_err(formatted.text);
  if (NX_Suppress_Errors == 0) {
    std::printf("%s", formatted.text);
  }
}

void nxi_warning_print(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const Formatted formatted(format, arguments);
  va_end(arguments);
  nxi_warn(formatted.text);
  if (NX_Suppress_Warnings == 0) {
    std::printf("%s", formatted.text);
  }
}

int nx_new_errors(void) { return err_new; }
int nx_new_warnings(void) { return war_new; }
int nx_number_of_errors(void) { return err_num; }
int nx_number_of_warnings(void) { return war_num; }
int nx_error_queue_memory(void) { return err_str_len; }
int nx_warning_queue_memory(void) { return war_str_len; }
int nx_number_of_errors_with_tag(const char* tag) { return count_with_tag(error_queue, tag); }
int nx_number_of_warnings_with_tag(const char* tag) { return count_with_tag(warning_queue, tag); }
const char* nx_error_with_tag(const char* tag, int k) { return find_with_tag(error_queue, tag, k); }
const char* nx_warning_with_tag(const char* tag, int k) { return find_with_tag(warning_queue, tag, k); }

void nx_print_all_errors(void) { print_all(error_queue); }
void nx_print_all_warnings(void) { print_all(warning_queue); }
void nx_print_new_errors(void) { print_new(error_queue); }
void nx_print_new_warnings(void) { print_new(warning_queue); }
void nx_print_error(int n) { print_one(error_queue, n); }
void nx_print_warning(int n) { print_one(warning_queue, n); }
void nx_print_last_error(void) { print_last(error_queue); }
void nx_print_last_warning(void) { print_last(warning_queue); }

void nx_print_all_errors_warnings(void) {
  nx_print_all_errors();
  nx_print_all_warnings();
}

void nx_print_all_warnings_errors(void) {
  nx_print_all_warnings();
  nx_print_all_errors();
}

void nx_error_debug_on(void) { print_errors = 1; }
void nx_error_debug_off(void) { print_errors = 0; }

void nx_suppress_error_printing(void) {
  NX_Suppress_Errors = 1;
  NX_Suppress_Warnings = 1;
}

int nx_write_errors_to_file(const char* path) {
  if (path == nullptr || path[0] == '\0') {
    return 0;
  }
  const auto size = static_cast<int>(std::strlen(path) + 1);
  // The copy of an earlier name stays in tracked memory, unless nx_free_all_memory has released it.
  char* const name = static_cast<char*>(nx_calloc(size, 1));
  memory::free_if_untracked(error_file);
  error_file = name;
  std::memcpy(error_file, path, static_cast<std::size_t>(size));
  error_write += 1;
  memory::before_all_freed(save_blocks);
  return 1;
}

void nx_exit(void) {
  nx_print_all_warnings_errors();
  std::exit(objects::kEnded);
}

uint32_t nx_time_dependent_seed(void) {
  timeval now{};
  gettimeofday(&now, nullptr);
  return static_cast<uint32_t>(now.tv_usec);
}
