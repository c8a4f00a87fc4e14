// Object registry: object types, one growing array of objects per type, and the handles of the objects.
//
// A program that owns an object type registers its tag once, makes objects and keeps their handles. It translates a
// handle to an index in the type's array on every use, because making an object may move the array and deleting one
// renumbers those made after it. Molecule handles (-1 to -999999999) and grid handles (below -1000000000) are not in
// the registry; their range tells their type.
//
// The registry and the memory tables (object_memory.h) depend on each other: the registry keeps its arrays in the
// memory table of handle 0, and a table is found by its owner's handle.
#ifndef NXBRIOCHEM_OBJECTS_OBJ_MAN_H
#define NXBRIOCHEM_OBJECTS_OBJ_MAN_H

#include <stdint.h>

#include <nxbriochem/export.h>
#include <nxbriochem/objects/print.h>

NX_BEGIN_DECLS

// Deletes the object and its memory, and sets the variable to 0. 1; 0, variable untouched, when the handle is unknown.
NX_API int nx_delete(int* handle);

// Sets a handle's print status: "silent", "standard" or "debug", matched exactly; any other level changes nothing. 1; 0
// when the handle is unknown.
NX_API int nx_set_print_status(const char* level, int handle);
// 0 silent, 1 standard, 3 debug; 0 when the handle is unknown.
NX_API int nx_get_print_status(int handle);

// ---- For the library's modules and for programs that register object types of their own ----

// Initialises the registry. Its first use does the same, so no call is needed. Later calls do nothing.
NX_API void obj_sys_init(void);

// Registers an object type: a tag of 0 to 255, a name of under 40 characters (a longer one is cut), bytes per object,
// and the number of objects by which the array grows when it is full. 1; 0, with a line through the printing function,
// for a tag out of range or already registered; 0 for a null name, and for a size or a number above INT32_MAX. Tags 1
// and 2 are the library's. Tags above 18 are best for a program's own types, because nxi_object_type_name has names up
// to there.
NX_API int nxi_register_object(int tag, const char* name, unsigned size, unsigned increment);

// Registers the handle records themselves: tag 1, "handles", 20 bytes, increment 1000. Refusal queues a warning.
NX_API void register_handles(void);

// Makes an object of a type and writes its handle. Returns the base of the type's object array; the new object is the
// element at nxi_translate_handle(*handle), its bytes uninitialised. The objects of a type that is not registered have
// no size. Null, and nothing made, for a type outside 0 to 255 or a null handle pointer.
NX_API void* nxi_make_object(int type, uint32_t* handle);

// The object's index in its type's array, or -1 (all bits set) when the handle is unknown. Kept: programs rely on the
// shortcut by which a value that was never handed out, but falls into a slot of the index with exactly one live handle,
// translates as that handle.
NX_API uint32_t nxi_translate_handle(int handle);

// The handle's type code, by the same look-up; 3 (molecule) and 4 (grid) by range; -1 when unknown.
NX_API int nxi_return_type_of_handle(int handle);
// The name of the handle's type, static; "UNKNOWN" for a type without a name or an unknown handle.
NX_API const char* nxi_object_type_name(int handle);

// The handle of the object's memory table, or -1. Only the exact handle is found, without the shortcut.
NX_API int nxi_get_memory_handle(int handle);

// Number of live objects of a type; 0 for a type out of range.
NX_API uint32_t nxi_get_number_of_objects_of_type(int type);
// Number of objects that the type's array has room for; 0 for a type out of range.
NX_API uint32_t nxi_get_allocated_space_for_objects_of_type(int type);

// Deletes an object: closes the gap in its type's array, renumbers the objects behind it, and deletes its memory table.
// 1; 0 with a queued warning when the handle is unknown. A value that only translates by the shortcut is unknown here.
NX_API int nxi_delete_object(int handle);

// From now on every making of an object is printed on standard output.
NX_API void nxi_monitor_make(void);

// Prints position and value of every live handle through the printing function with handle 0.
NX_API void print_handle_list(void);

// A signal handler of last resort, for the calling program to install: checks the bounds of every object's memory,
// prints what is damaged and the new errors and warnings, closes all registered files, and ends the process with exit
// status 1. It prints and allocates, so it is not async-signal-safe.
NX_API NX_NORETURN void nxi_error_handler(int signal_number);

NX_END_DECLS

#endif
