// Tracked allocation: the library's heap. Every live block is recorded with its size, so that a program can ask how
// much is held, list it, free all of it, and be warned of pointers that were never handed out. Exhausted memory is
// never returned to the caller: it prints a report and ends the process. All operations are O(1) expected, except the
// totals, the listing and the release of everything.
#ifndef NXBRIOCHEM_OBJECTS_MEMORY_H
#define NXBRIOCHEM_OBJECTS_MEMORY_H

#include <stdint.h>

#include <nxbriochem/export.h>

NX_BEGIN_DECLS

// A block of `size` bytes, uninitialised; never null. The caller owns it and frees it with nx_free. A size that the
// heap refuses, such as a negative one, ends in out_of_memory.
NX_API void* nx_malloc(int64_t size);

// A zeroed block of count * element_size bytes; never null. Otherwise as nx_malloc.
NX_API void* nx_calloc(int count, int element_size);

// Returns the block to use instead of `old`, with at least `size` bytes and the contents kept. With a null `old` it is
// nx_malloc. A block never shrinks: when its recorded size suffices, it is returned unchanged and so is its record. A
// block that is not on record queues an error and gives null in strict mode. In lenient mode it queues a warning and is
// reallocated, and the count of records is not raised: the result takes the slot freed last, and the newest record is
// lost to later look-ups; without a freed slot it replaces the newest record. Kept: programs rely on this accounting.
NX_API void* nx_realloc(void* old, int64_t size);

// Frees a block. Null, and a block that is not on record, queue a warning and nothing is freed.
NX_API void nx_free(void* block);

// The block's recorded size in bytes, low 32 bits; 0 with a queued warning for null or a block that is not on record.
NX_API uint32_t nx_memory_allocated_to_pointer(const void* block);

// Sum of all recorded sizes in bytes, in 32-bit arithmetic: it wraps beyond 4 GiB.
NX_API uint32_t nx_total_memory_allocated(void);

// Number of blocks on record.
NX_API int nx_total_number_of_active_pointers(void);

// Prints a line per block on record to standard output. 1, or 0 after saying so when nothing was ever recorded.
NX_API int nx_print_pointers_and_memory(void);

// Frees every block on record, the library's own included: pseudo-random sequences, formula variables, optimisers and
// function lists. Registry objects stay. Queued messages, the log file and the list of files also stay, but their
// blocks are no longer on record. Handles of deleted objects are not given out again. Totals are 0 afterwards.
NX_API void nx_free_all_memory(void);

// As nx_free_all_memory, and frees the records themselves: the allocator is as new.
NX_API void clear_memory_system(void);

// Strict mode: nx_realloc refuses blocks that are not on record. Kept: programs rely on the crossed names of the two
// setters.
NX_API void nx_set_strict_memory_off(void);
// Lenient mode, the default: nx_realloc accepts blocks that are not on record, with a warning.
NX_API void nx_set_strict_memory_on(void);

// Announces on standard output every allocation of exactly `size` bytes from now on (0: none).
NX_API void nx_flag_memory_allocation_by_size(int size);
// Ends the announcements of nx_flag_memory_allocation_by_size.
NX_API void nx_clear_memory_flag(void);

// Reports that `size` bytes could not be allocated: queues and prints an error, prints the memory report, and ends the
// process with exit status 1.
NX_API NX_NORETURN void out_of_memory(int64_t size);

// Prints the memory report to standard output: totals of tracked and object memory in decimal megabytes, and both
// lists.
NX_API void print_memory_summary(void);

NX_END_DECLS

#endif
