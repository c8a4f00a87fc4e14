// Error and warning queues. A function that fails queues a one-line message and returns its failure value; the calling
// program asks afterwards how many messages there are and which are new, and prints them. Messages are never removed.
//
// Message numbers count from 0. A stored message holds at most 200 characters. All printing goes to standard output.
// Kept: programs rely on what each function prints when there is nothing to print, which differs between functions.
#ifndef NXBRIOCHEM_OBJECTS_ERROR_H
#define NXBRIOCHEM_OBJECTS_ERROR_H

#include <stdint.h>

#include <nxbriochem/export.h>

NX_BEGIN_DECLS

// 1 when a message was queued since all or the new ones were last printed, else 0.
NX_API int nx_new_errors(void);
// As nx_new_errors.
NX_API int nx_new_warnings(void);

// Messages queued so far.
NX_API int nx_number_of_errors(void);
// Warnings queued so far.
NX_API int nx_number_of_warnings(void);

// Capacity of the queue's buffer in bytes: 0, 1000, 2000, 4000, ...
NX_API int nx_error_queue_memory(void);
// As nx_error_queue_memory.
NX_API int nx_warning_queue_memory(void);

// How many stored messages contain `tag`; 0 for a null tag.
NX_API int nx_number_of_errors_with_tag(const char* tag);
// As nx_number_of_errors_with_tag.
NX_API int nx_number_of_warnings_with_tag(const char* tag);

// The (k + 1)-th stored message that contains `tag`, k from 0. The queue owns it; it stays valid until the next message
// is queued. With too few such messages the result is the free space behind the last message, an empty string. An empty
// queue prints "No error messages" and gives null. A null tag gives null and prints nothing.
NX_API const char* nx_error_with_tag(const char* tag, int k);
// As nx_error_with_tag; an empty queue prints "No warning messages".
NX_API const char* nx_warning_with_tag(const char* tag, int k);

// Prints every message; afterwards none is new. "No error messages" for an empty queue.
NX_API void nx_print_all_errors(void);
// As nx_print_all_errors; "No warning messages" for an empty queue.
NX_API void nx_print_all_warnings(void);
// All errors, then all warnings.
NX_API void nx_print_all_errors_warnings(void);
// All warnings, then all errors.
NX_API void nx_print_all_warnings_errors(void);

// Prints the errors queued since the last printing of all or new ones; afterwards none is new. "NO NEW ERROR
// MESSAGES" where none is new, and nothing for an empty queue.
NX_API void nx_print_new_errors(void);
// As nx_print_new_errors: "NO NEW WARNINGS MESSAGES", and "No warnings messages" for an empty queue.
NX_API void nx_print_new_warnings(void);

// Prints message n - 1 (message 0 for n = 0) when 0 <= n < count, else nothing. The last message is printed by no n,
// unless it is the only one. Kept: programs rely on n - 1.
NX_API void nx_print_error(int n);
// As nx_print_error, under the heading "Warning MESSAGE:".
NX_API void nx_print_warning(int n);

// Prints the most recent message under the number of messages (not its own number); "NO ERROR MESSAGES" for an empty
// queue.
NX_API void nx_print_last_error(void);
// As nx_print_last_error; "No warnings messages" for an empty queue.
NX_API void nx_print_last_warning(void);

// From now on every message, error or warning, is echoed to standard output as it is queued.
NX_API void nx_error_debug_on(void);
// Stops the echo.
NX_API void nx_error_debug_off(void);

// Silences the extra echo of nxi_error_print and nxi_warning_print for the rest of the process.
NX_API void nx_suppress_error_printing(void);

// Names the log file, which gets a line "ERROR: text" or "WARNING: text" per message. The first message truncates it; a
// file named later is appended to. 0 and no change for an empty or null path, else 1. Never blocks and never reports: a
// line for a log that cannot be opened, or for a full or unread pipe, is dropped.
NX_API int nx_write_errors_to_file(const char* path);

// Prints all warnings, then all errors, and ends the process with exit status 1.
NX_API NX_NORETURN void nx_exit(void);

// The microseconds part of the time of day, 0 to 999999.
NX_API uint32_t nx_time_dependent_seed(void);

// ---- For the library's modules and for programs that extend it ----

// Queues a finished text. Messages end in "\n" where their callers want one. An empty or null text is not stored and
// queues a warning instead. A text over 200 characters queues a warning first and is stored cut; the log and the echo
// get all of it.
NX_API void nxi_err(const char* text);
// As nxi_err, for the warning queue.
NX_API void nxi_warn(const char* text);

// Formats by printf's rules and queues an error; the formatted text is cut at 255 characters.
NX_API void nxi_error(const char* format, ...) NX_PRINTF(1, 2);
// As nxi_error, for the warning queue.
NX_API void nxi_warning(const char* format, ...) NX_PRINTF(1, 2);
// As nxi_error, and prints the text to standard output unless nx_suppress_error_printing was called.
NX_API void nxi_error_print(const char* format, ...) NX_PRINTF(1, 2);
// As nxi_error_print, for the warning queue.
NX_API void nxi_warning_print(const char* format, ...) NX_PRINTF(1, 2);

NX_END_DECLS

#endif
