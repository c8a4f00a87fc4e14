// Object memory tables: every registry object owns a table of the named blocks that were allocated for it. The blocks
// are freed with the object. A table can pad its blocks and check the pads for overruns. A strictness level decides
// what it does with pointers that it does not know.
//
// `handle` is an object's handle or a table's own. A negative handle (a molecule or grid) has no table: its blocks are
// plain heap blocks, zeroed where asked. For a handle of 0 or above without a table, the report of nxi_get_memory_table
// is printed and the call gives its failure value (null, 0). `name` is a block's name, of which 40 characters count;
// null is an empty name. Reports are printed on standard output. A block that cannot be allocated, also because its
// size overflows, ends the process with exit status 7 after a report; for a negative handle it gives null. A negative
// count or element size gives null. Blocks and names are found in O(1) expected, however many a table has.
//
// The tables and the registry (obj_man.h) depend on each other: a table is found by its owner's handle, and the
// registry keeps its arrays in the table of handle 0.
#ifndef NXBRIOCHEM_OBJECTS_OBJECT_MEMORY_H
#define NXBRIOCHEM_OBJECTS_OBJECT_MEMORY_H

#include <stdint.h>
#include <stdio.h>

#include <nxbriochem/export.h>

NX_BEGIN_DECLS

// A block of count * element_size bytes, owned by the object until it is freed or the object is deleted. `old` is null
// or the block to replace. An old block that is large enough is returned unchanged, contents kept; else a new block
// takes its place, contents lost. nxi_set_memstrict decides about an old block that the table does not know.
NX_API void* nx_object_malloc(int handle, int count, int element_size, const char* name, void* old);
// As nx_object_malloc, with the requested bytes zeroed in every case.
NX_API void* nx_object_calloc(int handle, int count, int element_size, const char* name, void* old);
// As nx_object_malloc, with the contents kept when the block grows.
NX_API void* nx_object_realloc(int handle, int count, int element_size, const char* name, void* old);
// nx_object_malloc without an old block.
NX_API void* nx_object_malloc_new(int handle, int count, int element_size, const char* name);
// nx_object_calloc without an old block.
NX_API void* nx_object_calloc_new(int handle, int count, int element_size, const char* name);

// Frees one block and returns null. A pointer that the table does not know is not freed, and is returned.
NX_API void* nx_free_object_memory(int handle, void* pointer);

// Named scalars and arrays of 4-byte values of the object; a name means the first block of that name. Kept: programs
// rely on the argument orders, which differ between the float and the integer setters.

// Makes a block for one float, uninitialised. 1 when it was made.
NX_API int nx_attach_float_to_object(const char* name, int handle);
// Makes a block for `count` floats.
NX_API int nx_attach_floats_to_object(const char* name, int count, int handle);
// Makes a block for one integer.
NX_API int nx_attach_integer_to_object(const char* name, int handle);
// Makes a block for `count` integers.
NX_API int nx_attach_integers_to_object(const char* name, int count, int handle);
// Sets the block's first float. 0 when there is no such block or it is too short.
NX_API int nx_set_object_float(const char* name, int handle, float value);
// Sets the block's first integer. 0 when there is no such block or it is too short.
NX_API int nx_set_object_integer(int value, const char* name, int handle);
// Sets the whole block, from nx_object_floats_size floats. 0 when there is no such block.
NX_API int nx_set_object_floats(const char* name, int handle, const float* values);
// Sets the whole block, from nx_object_integers_size integers. 0 when there is no such block.
NX_API int nx_set_object_integers(const int* values, const char* name, int handle);
// The block's first float; 0 when there is none.
NX_API float nx_object_float(const char* name, int handle);
// The block's first integer; 0 when there is none.
NX_API int nx_object_integer(const char* name, int handle);
// The block itself, which the object owns; null when there is none.
NX_API float* nx_object_floats(const char* name, int handle);
// The block itself, which the object owns; null when there is none.
NX_API int* nx_object_integers(const char* name, int handle);
// The floats in use in the block; 0 when there is none.
NX_API int nx_object_floats_size(const char* name, int handle);
// The integers in use in the block; 0 when there is none.
NX_API int nx_object_integers_size(const char* name, int handle);

// From now on every allocation and release made without a table prints a line with its serial number.
NX_API void nx_set_object_memory_warning_on(void);
// Back to the default: no such lines.
NX_API void nx_set_object_memory_warning_off(void);

// ---- For the library's modules and for programs that register object types of their own ----

// nx_object_malloc under its inner name.
NX_API void* nxi_mAlloc(int handle, int count, int element_size, const char* name, void* old);
// nx_object_calloc under its inner name.
NX_API void* nxi_cAlloc(int handle, int count, int element_size, const char* name, void* old);
// nx_object_calloc under another inner name.
NX_API void* nxi_calloc(int handle, int count, int element_size, const char* name, void* old);
// nx_object_realloc under its inner name.
NX_API void* nxi_reAlloc(int handle, int count, int element_size, const char* name, void* old);
// As nx_object_malloc, with the size in bytes.
NX_API void* nxi_malloc(int handle, int bytes, const char* name, void* old);
// As nx_object_realloc, with the size in bytes and the arguments in another order.
NX_API void* nxi_realloc(int handle, void* old, int bytes, const char* name);
// nx_object_malloc_new under its inner name.
NX_API void* nxi_mAlloc_new(int handle, int count, int element_size, const char* name);
// nx_object_calloc_new under its inner name.
NX_API void* nxi_calloc_new(int handle, int count, int element_size, const char* name);
// As nx_object_malloc_new, with the size in bytes.
NX_API void* nxi_malloc_new(int handle, int bytes, const char* name);
// A zeroed block. Kept: programs rely on a null `old` allocating twice; the second block is returned, and the first
// stays in the table until the object is deleted.
NX_API void* nxi_cAlloc_new(int handle, int count, int element_size, const char* name, void* old);
// nx_free_object_memory under its inner name.
NX_API void* nxi_free(int handle, void* pointer);

// Makes a table for an owner and returns the table's handle, a pseudo-random number from 1000000000 up.
NX_API int nxi_add_memory_table(int owner);
// The table's place among the tables, or -1 after printing which tables there are.
NX_API int nxi_get_memory_table(int handle);
// Deletes a table with all its blocks, protected and attached ones too.
NX_API void nxi_delete_memory_table(int owner);
// Deletes all tables, the registry's own included: every registry object is gone; registered types stay.
NX_API void nxi_delete_all_memory_tables(void);
// Frees every block that is neither protected nor attached and prints how many remain.
NX_API void nxi_purge_memory_table(int handle);

// Protects a block from purging; 1, or 0 when the table does not know it.
NX_API int nxi_protect_memory(int handle, void* pointer);
// Ends the protection, and says so; 1, or 0 when the table does not know the block.
NX_API int nxi_unprotect_memory(int handle, void* pointer);

// Gives the table a block that was made elsewhere by malloc. The table owns it from then on; a block of no bytes is
// only listed and never freed. 1, or 0 for a null pointer or bad sizes.
NX_API int nxi_attach_pointer_to_object(int handle, int count, int element_size, const char* name, void* pointer);
// Marks a block of the table as attached; 1, or 0 with a queued error when the table does not know it.
NX_API int nxi_attach_associated_pointer(int handle, void* pointer);
// Marks a block of the table as owned, as if allocated by it. Results as nxi_attach_associated_pointer.
NX_API int nxi_unattach_associated_pointer(int handle, void* pointer);
// The first block of the name, with a queued warning when it is not attached; null with a queued warning when there is
// none.
NX_API void* nxi_get_attached_pointer(int handle, const char* name);

// The first block of the name in table order, or null.
NX_API void* nxi_get_pointer_by_name(const char* name, int handle);
// Renames a block; 1, or 0 after a printed line when the table does not know it.
NX_API int nxi_set_pnt_name(int handle, void* pointer, const char* name);

// Allocated bytes of a block; 0 after a printed line when the table does not know it.
NX_API int nxi_mem_alloc_to(int handle, void* pointer);
// Used bytes of a block; 0 after a printed line when the table does not know it.
NX_API int nxi_mem_used_by(int handle, void* pointer);
// Prints and returns the bytes allocated over the whole table.
NX_API int nxi_mem_total(int handle);
// Bytes allocated over all tables, in 32-bit arithmetic.
NX_API uint32_t nxi_total_object_memory_allocated(void);

// Sets how the table's blocks are padded from now on. A pad has the size of one element: 0 no pads, 1 above and below,
// 2 above, 3 below. The setting is confirmed through nx_printf with the owner's handle. Other values are stored, are
// not confirmed and pad nothing. 1, or 0 without a table.
NX_API int nxi_set_memory_padding(int handle, int mode);
// Sets when the bounds of the whole table are checked: 0 on demand, 1 before allocations, 2 before releases, 3 before
// both; confirmed in the same way. Any other level changes nothing and gives 1; a line then says that there is no such
// level. Kept: programs rely on that line showing the present level. 0 without a table.
NX_API int nxi_set_auto_bndcheck(int handle, int level);
// Sets what an old pointer that the table does not know does: 0 counts as null, 1 counts as null with a warning, 2 is
// returned without allocating, 3 ends the process with exit status 4. Otherwise as nxi_set_auto_bndcheck.
NX_API int nxi_set_memstrict(int handle, int level);
// Sets whether every allocation and release of the table prints a line: 1 on, 0 off. Prints nothing itself. 1, or 0
// without a table.
NX_API int nxi_set_memprn(int handle, int flag);

// 0 when the block's pads are intact, 1 low pad damaged, 2 high pad, 3 both; -1 after a printed line when unknown.
NX_API int nxi_boundscheck_pnt(int handle, void* pointer);
// Checks every block of the table, prints what is damaged and a summary, and returns how many are. 0 without a
// table.
NX_API int nxi_boundscheck_all(int handle);
// As nxi_boundscheck_all, but prints nothing when all blocks are intact.
NX_API int nxi_boundscheck_all_s(int handle);

// Writes a table and its blocks to a binary stream, as 32-bit little-endian words. 1, or 0 for a null stream, a handle
// without a table, or a write that failed.
NX_API int nxi_write_memory_table(FILE* stream, int handle);
// Fills a table from a stream written by nxi_write_memory_table. The blocks that it held before are freed, and its
// table handle becomes the number passed as `handle`. Returns 1. Every word is kept as read and written back, whatever
// its value. An invalid stream (cut short, a negative count or size, sizes beyond its end) gives 0 and leaves the table
// unchanged; one of another revision gives 1 and also leaves it unchanged. Blocks that were read have no pads, whatever
// their pad fields say, and pass every bounds check until they are reallocated. 0 for a null stream, a handle without a
// table, and the registry's own table.
NX_API int nxi_read_memory_table(FILE* stream, int handle);
// Makes `destination` a copy of `source`, blocks duplicated without pads; the blocks that it held are freed. From then
// on its table handle is the number passed as `destination`. 1, or 0 when either has no table or the destination is
// the registry's own.
NX_API int nxi_copy_memory_table(int source, int destination);

// Prints a table's blocks in order.
NX_API void nxi_print_mem_alloc(int handle);
// Prints a table's blocks in order of address.
NX_API void nxi_print_mem_alloc_ordered(int handle);
// Prints a table's blocks whose names contain `filter`, all of them for null.
NX_API void nxi_filter_print_mem_alloc(int handle, const char* filter);
// Prints one block's name and bytes.
NX_API void nxi_print_mem_alloc_to(int handle, void* pointer);
// Prints the old pointer with which a block was first asked for.
NX_API void nxi_print_initial_pnt_status(int handle, void* pointer);
// Prints every table's blocks and totals.
NX_API void nxi_print_all_allocated_memory(void);

// From now on every deletion of a table is traced on standard output.
NX_API void nxi_monitor_delete(void);

NX_END_DECLS

#endif
